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
    /// The component's library. Empty: as the environment variable DECODING_COMPONENT says, else the one that was built
    /// or installed with this library.
    std::string component;
    /// An INI file with settings of the component. Empty: none.
    std::string settings;
    Mode mode = Mode::Performance;
    /// With limits, the session switches to time-saving mode and back by the CPU load.
    std::optional<LoadLimits> governor;
    /// Whether the decoders show their lights in snapshots, which costs some instructions for each block.
    bool lights = false;
    /// Given each message for people: what goes wrong and gets better again, mode switches, warnings. Called on the
    /// session's own thread; must neither wait nor call the session.
    std::function<void(const Snapshot::Message &message)> onMessage;
};

/// Decodes any number of inputs on one pool of decoder threads. Thread-safe: every call from any thread at any time,
/// except for the destructor, `end` and calls from SessionOptions::onMessage.
///
/// The library runs Qt's event loop on a thread of its own, one for all sessions of the process. Where there is no Qt
/// application object, it makes one there, and takes Qt's messages as its own; so a program that uses Qt itself makes
/// its application object before its first session, and keeps it
/// longer than its last. Without one, the library also sets QT_NO_GLIB in the environment, unless it is set. It
/// silences FFmpeg's log in the whole process. File names are UTF-8.
class DECODING_EXPORT Session {
public:
    /// Loads and starts the component.
    /// @throws Error when it finds no component, or cannot start it.
    explicit Session(SessionOptions options = {});
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
    /// Closes all inputs, waits for what they write and for callbacks that are running, and stops the component.
    ~Session();

    /// Opens @p url, a file or an address as docs/live.md lists them, and waits until its streams are known.
    /// @throws Error when that cannot be: no such file, nothing to decode, no connection, a name that is taken ...
    std::shared_ptr<Input> open(const std::string &url, InputOptions options = {});

    /// Begins to open @p url, and does not wait: for live inputs that may come at any time, and for many at once. What
    /// goes wrong becomes the input's error.
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

    /// Does what the destructor does, once. Afterwards a snapshot shows no inputs, and every other call throws Error.
    Remains end();

private:
    class Core;
    const std::unique_ptr<Core> _core;
};

} // namespace decoding

#endif
