#ifndef HOST_SESSION_INPUTRUN_H
#define HOST_SESSION_INPUTRUN_H

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "session/DecodedStream.h"
#include "session/FeedRun.h"
#include "session/FutileDecoding.h"
#include "session/InputCore.h"
#include "session/JobThreads.h"
#include "session/Report.h"
#include "session/TroubleWatch.h"
#include "sources/InputNames.h"

/// One input of a session, from its opening until all that came of it is complete.
///
/// A live input has one feed. So has a file whose frames the library writes: its video and audio go on together. But
/// where they go to readers, each stream of a file has a feed of its own, so that a stream that nobody reads on holds
/// up no other, and each begins at its beginning whenever it is asked for. Thread-bound.
class InputRun final {
public:
    /// What the inputs of a session share. Outlives them.
    struct Environment {
        DecodedStream::Environment streams;
        FeedRun::Environment feeds;
        JobThreads &openers; // of files, which may stall
    };

    /// Begins to open @p url.
    InputRun(const std::string &url, InputNames::Name name, std::shared_ptr<decoding::Input::Core> core,
             const Environment &environment);
    InputRun(const InputRun &) = delete;
    InputRun &operator=(const InputRun &) = delete;
    /// Closes it, and completes its outputs.
    ~InputRun();

    // What its handle asks for.

    /// A reader wants frames: from now on the stream of @p kind is decoded while it has readers.
    void start(StreamKind kind) { at(kind).isStarted = true; }
    void addReader(StreamKind kind, const ReaderBuffer &buffer);
    void removeReader(StreamKind kind, const ReaderBuffer &buffer);
    /// Ends it, with what is decoded so far.
    void close();
    /// Ends it with an error that @p what describes.
    void fail(const std::string &what);

    /// Takes whatever next steps there are to take, and tells its handle.
    /// @param inputFiles that no output may be written to.
    void poll(const std::shared_ptr<const FileSet> &inputFiles);

    const InputNames::Name &name() const { return _name; }
    const decoding::Input::Core &core() const { return *_core; }
    /// The file that is read, as it was at the beginning; nothing for other inputs.
    const FileSet &files() const { return _files; }
    bool isLive() const { return _core->isLive(); }
    /// Whether its blocks are to be decoded when they are due, each by itself.
    bool isPunctual() const { return isLive() || _options.paced; }
    /// Whether there is, or may be, more of it to decode.
    bool isRunning() const;
    bool isFinished() const;
    /// Whether its handle has gone: nobody sees it any more.
    bool isAbandoned() const { return _core->isAbandoned(); }

    /// What it is about, and what is wrong with it now, or ended it too early.
    struct Condition {
        decoding::State state = decoding::State::Ended;
        std::optional<std::string> error;
    };
    /// @param statuses of its feeds, in their order, so that each is asked for once only.
    Condition condition(const std::vector<InputFeed::Status> &statuses) const;
    std::vector<InputFeed::Status> statuses() const;
    /// The first one opened the input.
    const std::vector<std::unique_ptr<FeedRun>> &feeds() const { return _feeds; }

    /// A stream that is or was decoded, or would be if there were a decoder for it.
    struct ShownStream {
        const MediaSource::Stream &description;
        const DecodedStream *stream; // null while nobody reads it
        const FeedRun &run;
        qint64 framesBefore; // what came until all readers had left it
        qint64 damagedBefore;
        const TroubleWatch &troubles;
    };
    /// Video first.
    std::vector<ShownStream> streams() const;
    /// Of feeds that are there no more.
    qint64 packetsBefore() const { return _packetsOfDropped; }
    qint64 bytesBefore() const { return _bytesOfDropped; }
    /// What went wrong with it last, as Snapshot::Input::lastError.
    const std::optional<decoding::Snapshot::Trouble> &lastError() const { return _lastError; }

    /// @return what is new for people since the last call.
    std::vector<Report> takeReports();
    /// Looks for trouble in its streams, which `takeReports` tells then. To be called a few times a second.
    void watch(const TroubleWatch::Moment &moment);
    /// The same once it has finished: reports those of its errors, too, that it has not reported yet.
    void watchEnd(const TroubleWatch::Moment &moment, const std::vector<std::string> &errors);
    /// Has the rates of its streams take in what has come.
    void updateRates(RecentRate::Instant now, std::chrono::milliseconds longestPause);

private:
    /// One kind of stream.
    struct Kind {
        bool isStarted = false; // a reader has asked for frames
        std::vector<ReaderBuffer> readers;
        FeedRun *feed = nullptr; // that gives its blocks; null before there is one
        std::optional<InputFeed::Stream> known;
        FutileDecoding decoding;
        std::unique_ptr<DecodedStream> opening;         // until its outputs are open
        DecodedStream *stream = nullptr;                // while it is, or was, decoded
        std::optional<MediaSource::Stream> undecodable; // that there is no decoder for at present
        TroubleWatch troubles;
        // Of the streams that all readers have left.
        std::optional<MediaSource::Stream> description;
        qint64 frames = 0;
        qint64 damaged = 0;
    };

    Kind &at(StreamKind kind) { return _kinds[indexOf(kind)]; }
    std::unique_ptr<FeedRun> makeFeed(bool video, bool audio) const;
    void takeStreams(FeedRun &feed);
    bool isWanted(StreamKind kind) const;
    bool isWritten(StreamKind kind) const;
    void chooseFeeds();
    void openOutputs(const std::vector<StreamKind> &kinds, const std::shared_ptr<const FileSet> &inputFiles);
    std::optional<std::string> openOutputs(StreamKind kind, const std::shared_ptr<const FileSet> &inputFiles);
    bool areOutputsOpening() const;
    void decodeOnceOutputsAreOpen(std::chrono::steady_clock::time_point now);
    std::optional<std::string> decode(Kind &kind);
    void giveUp(const std::string &error);
    void followChanges();
    void endReadersInVain();
    void leave(Kind &kind);
    void dropLeftFeeds();
    bool areAllLeft() const;
    void noteUndecodable();
    void noteFirstFrames();
    TroubleWatch::Figures figuresOf(StreamKind kind) const;
    void report(std::vector<Report> reports);
    void tellHandle();

    // Constant after construction.
    const std::string _url;
    const InputNames::Name _name;
    const std::shared_ptr<decoding::Input::Core> _core;
    const decoding::InputOptions &_options; // of _core
    const Environment _environment;
    FileSet _files;

    std::vector<std::unique_ptr<FeedRun>> _feeds; // never empty
    std::array<Kind, streamKinds.size()> _kinds;
    std::array<bool, streamKinds.size()> _present = {}; // among the streams that are known
    bool _isKnown = false;                              // which streams there are
    qint64 _packetsOfDropped = 0;                       // feeds, and the bytes
    qint64 _bytesOfDropped = 0;
    std::chrono::steady_clock::time_point _openingSince; // while outputs are opening
    bool _closed = false;
    std::optional<std::string> _error; // of the outputs, the component or a callback
    std::vector<Report> _reports;
    std::set<std::string> _reportedErrors;
    std::optional<decoding::Snapshot::Trouble> _lastError;
};

#endif
