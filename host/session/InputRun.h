#ifndef HOST_SESSION_INPUTRUN_H
#define HOST_SESSION_INPUTRUN_H

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "session/Admission.h"
#include "session/CodecThreads.h"
#include "session/DecodedStream.h"
#include "session/InputCore.h"
#include "session/InputFeeds.h"
#include "session/InputTroubles.h"
#include "session/StreamRun.h"
#include "sources/InputNames.h"

/// One input of a session, from its opening until all that came of it is complete.
///
/// A live input has one feed. So has a file whose frames the library writes: its video and audio go on together. But
/// where they go to readers, each stream of a file has a feed of its own, so that a stream that nobody reads on holds
/// up no other, and each begins at its beginning whenever it is asked for.
///
/// A file may have to wait for its turn to be opened; until then nothing of it or of its outputs is touched.
/// Thread-bound.
class InputRun final {
public:
    /// What the inputs of a session share. Outlives them.
    struct Environment {
        DecodedStream::Environment streams;
        InputFeeds::Environment feeds;
        std::shared_ptr<const InputFiles> inputFiles; // that no output may be written to
        std::shared_ptr<quint64> pairs;               // of decoders of both kinds that were made together
        std::shared_ptr<CodecThreads> codecThreads;
    };

    /// @param number that no other input of the session has.
    InputRun(quint64 number, const std::string &url, InputNames::Name name, std::shared_ptr<decoding::Input::Core> core,
             const Environment &environment);
    InputRun(const InputRun &) = delete;
    InputRun &operator=(const InputRun &) = delete;
    /// Closes it, and completes its outputs.
    ~InputRun();

    /// Begins to open it, where that is not begun yet.
    void open();
    /// Whether it is still to be opened.
    bool isQueued() const { return !_isOpened && !_closed; }
    /// Whether reading it waits for the network.
    bool isRemote() const { return _feeds.isRemote(); }
    /// What it is about: None for what is never held back, too. To be called a few times a second.
    Admission::Occupation occupation(Admission::Instant now);

    // What its handle asks for.

    /// A reader wants frames: from now on the stream of @p kind is decoded while it has readers.
    void start(StreamKind kind);
    void addReader(StreamKind kind, const ReaderBuffer &buffer);
    void removeReader(StreamKind kind, const ReaderBuffer &buffer);
    /// Ends it, with what is decoded so far.
    void close();
    /// Ends it with an error that @p what describes.
    void fail(const std::string &what);

    /// Takes whatever next steps there are to take, and tells its handle. To be called once its note of changes was
    /// set; it sets that itself while it waits for something that nobody tells.
    void poll();

    quint64 number() const { return _number; }
    const InputNames::Name &name() const { return _name; }
    const decoding::Input::Core &core() const { return *_core; }
    bool isLive() const { return _core->isLive(); }
    /// Whether there is, or may be, more of it to decode.
    bool isRunning() const;
    bool isFinished() const;
    /// Whether it is a file that waits for a thread or a descriptor of the system's.
    bool isShort() const { return _feeds.isAnyShort(); }
    /// Ends such a file.
    void giveUpShortage() { _feeds.giveUp(); }
    /// Whether its handle has gone: nobody sees it any more.
    bool isAbandoned() const { return _core->isAbandoned(); }

    /// What it is about, and what is wrong with it now, or ended it too early.
    struct Condition {
        decoding::State state = decoding::State::Ended;
        std::optional<std::string> error;
    };
    /// @param statuses of its feeds, in their order, so that each is asked for once only.
    Condition condition(const std::vector<InputFeed::Status> &statuses) const;
    std::vector<InputFeed::Status> statuses() const { return _feeds.statuses(); }
    /// The first one opened the input.
    const std::vector<std::unique_ptr<FeedRun>> &feeds() const { return _feeds.all(); }

    using ShownStream = StreamRun::Shown;
    /// Video first.
    std::vector<ShownStream> streams() const;
    /// What feeds counted that are there no more.
    const InputFeeds::Dropped &dropped() const { return _feeds.dropped(); }
    /// What went wrong with it last, as Snapshot::Input::lastError.
    const std::optional<decoding::Snapshot::Trouble> &lastError() const { return _troubles.last(); }

    /// @return what is new for people since the last call.
    std::vector<Report> takeReports();
    /// Looks for trouble in its streams, which `takeReports` tells then. To be called a few times a second.
    void watch(const TroubleWatch::Moment &moment);
    /// The same once it has finished: reports those of its errors, too, that it has not reported yet.
    void watchEnd(const TroubleWatch::Moment &moment, const std::vector<std::string> &errors);
    /// Has the rates of its streams take in what has come.
    void updateRates(RecentRate::Instant now, std::chrono::milliseconds longestPause);

private:
    StreamRun &at(StreamKind kind) { return _streams[indexOf(kind)]; }
    const StreamRun &at(StreamKind kind) const { return _streams[indexOf(kind)]; }
    void takeStreams(FeedRun &feed);
    bool isWanted(StreamKind kind) const;
    bool isAnyWanted() const;
    bool isWritten(StreamKind kind) const;
    void chooseFeeds();
    void openOutputs(const std::vector<StreamKind> &kinds);
    std::optional<std::string> openOutputs(StreamKind kind);
    bool areOutputsOpening() const;
    void decodeOnceOutputsAreOpen(std::chrono::steady_clock::time_point now);
    bool isSoundFirst() const;
    void giveUp(const std::string &error);
    void followChanges();
    void endReadersInVain();
    void giveBackCodecThreads();
    void noteUndecodable();
    void noteFirstFrames();
    void tellHandle();

    // Constant after construction.
    const quint64 _number;
    const InputNames::Name _name;
    const std::shared_ptr<decoding::Input::Core> _core;
    const decoding::InputOptions &_options; // of _core
    const Environment _environment;

    InputFeeds _feeds; // one at least
    std::array<StreamRun, streamKinds.size()> _streams = {StreamRun(StreamKind::Video), StreamRun(StreamKind::Audio)};
    std::array<bool, streamKinds.size()> _present = {};  // among the streams that are known
    bool _isKnown = false;                               // which streams there are
    std::chrono::steady_clock::time_point _openingSince; // while outputs are opening
    bool _isOpened = false;
    bool _closed = false;
    qint64 _reads = 0;                          // when it was last asked for its occupation
    std::optional<Admission::Instant> _movedAt; // it was seen to come on
    std::optional<std::string> _error;          // of the outputs, the component or a callback
    InputTroubles _troubles;
    bool _takesVideo = false;                         // if there is any
    std::unique_ptr<CodecThreads::Share> _codecShare; // once it is opened, while it may have video to decode
};

#endif
