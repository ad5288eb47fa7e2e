#ifndef DECODING_SESSION_H
#define DECODING_SESSION_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <decoding/Error.h>
#include <decoding/Export.h>
#include <decoding/Input.h>
#include <decoding/Mode.h>
#include <decoding/Snapshot.h>

namespace decoding {

/// The measured CPU loads between which the governor leaves everything as it is; 1.0 is every usable core busy.
struct LoadLimits {
    double low = 0.6;  // below it there is room to decode every block; above 0
    double high = 0.9; // above it there is too much to do; greater than low
};

struct SessionOptions {
    /// Decoder threads, up to 1024; 0: as the environment variable DECODING_THREADS or the file `settings` says, else
    /// one for each processor core. Where the system refuses one of them, there is no session.
    int threads = 0;
    /// Threads of libavcodec that decode the video of one file, up to 16, where it can be decoded in several; 0: the
    /// processor cores that the decoder threads can use, over the inputs with video at that time, or one beside a
    /// governor. Live and paced inputs always have one. What comes out is the same, as long as the library hears what
    /// libavcodec says: a callback that the program sets with av_log_set_callback must pass messages on.
    int codecThreads = 0;
    /// The component's library. Empty: as the environment variable DECODING_COMPONENT says, else the one that was built
    /// or installed with this library.
    std::string component;
    /// An INI file with settings of the component. Empty: none.
    std::string settings;
    /// Files that are decoded at the same time, of those that are not paced; 0: as many as keep the decoder threads
    /// busy. The others wait until it is their turn, which comes in the order of opening, and hold no descriptor,
    /// thread or output until then. A file whose frames nobody takes, or of which nothing comes, for half a second does
    /// not count, so inputs can be read one after the other; nor does one that no reader has asked for frames yet.
    /// Those whose servers have not answered yet are counted by themselves.
    int filesAtOnce = 0;
    Mode mode = Mode::Performance;
    /// With limits, the session switches to time-saving mode and back by the CPU load.
    std::optional<LoadLimits> governor;
    /// Whether the decoders show their lights in snapshots, which costs some instructions for each block.
    bool lights = false;
    /// Given each message for people: what goes wrong and gets better again, mode switches, and the component's
    /// warnings. These come over Qt's message channel: in a program with a Qt application object of its own they go
    /// where its other messages go, and not here; and where there are several sessions, each is given those of all.
    /// Called on the event thread, which all sessions of the process share: must neither wait nor call a session, nor
    /// what belongs to one. What it throws is dropped.
    std::function<void(const Snapshot::Message &message)> onMessage;
};

/// Decodes any number of inputs on one pool of decoder threads. Thread-safe: every call from any thread at any time,
/// except for the destructor and calls from SessionOptions::onMessage. Each file that is open has a descriptor, two
/// where both of its streams are read. A program may call std::exit while there are sessions.
///
/// The library runs Qt's event loop on a thread of its own, one for all sessions of the process. Where there is no Qt
/// application object, it makes one there, and takes Qt's messages as its own; so a program that uses Qt itself makes
/// its application object before its first session, and keeps it longer than its last. Without one, the library also
/// sets QT_NO_GLIB in the environment, unless it is set. It silences FFmpeg's log in the whole process. Texts are
/// UTF-8, except for the names of files, which are what the system has.
class DECODING_EXPORT Session {
public:
    /// Loads and starts the component.
    /// @throws Error when it finds no component, or cannot start it.
    explicit Session(SessionOptions options = {});
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
    /// Closes all inputs, waits for what they write and for callbacks that are running, and stops the component.
    ~Session();

    /// Opens @p url, a file or an address as docs/live.md lists them, without waiting for a turn (see
    /// SessionOptions::filesAtOnce), and waits until its streams are known: for 10 seconds at most
    /// where a server or a sender answers nothing, and as long as it takes where the file system or a pipe does not.
    /// @throws Error when that cannot be: no such file, nothing to decode, no connection, a name that is taken, an
    ///         option that is out of its range, an address that others call, for which openLater waits; or when `end`
    ///         is called meanwhile.
    std::shared_ptr<Input> open(const std::string &url, InputOptions options = {});

    /// Opens @p url when it is its turn (see SessionOptions::filesAtOnce), for what is live or paced now, and does not
    /// wait: for live inputs that may come at any time, and for many files. What goes wrong becomes the input's error.
    /// @throws Error when the name is taken, or an option is out of its range.
    std::shared_ptr<Input> openLater(const std::string &url, InputOptions options = {});

    /// @return the present state of everything. Takes about a microsecond for each stream, and holds up no decoder.
    Snapshot snapshot() const;

    /// Switches all decoders that are tuned; with a governor, for its dwell time at least.
    void setMode(Mode mode);

    /// Has the governor switch modes again, or pauses it.
    /// @throws Error when the session has none.
    void setGovernor(bool on);

    /// What the component left behind. All of it is empty unless the component or a program's use of it has a fault.
    struct Remains {
        std::vector<std::string> published; // identifiers in the object registry
        std::vector<int> threads;           // ids
    };

    /// Does what the destructor does, once. Calls of `open` that wait throw Error then. Afterwards a snapshot shows no
    /// inputs, and every other call throws Error. Another call of it meanwhile returns at once, with nothing.
    Remains end();

private:
    class Core;
    const std::unique_ptr<Core> _core;
};

} // namespace decoding

#endif
