#ifndef HOST_SESSION_INPUTRUN_H
#define HOST_SESSION_INPUTRUN_H

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "session/DecodedStream.h"
#include "session/InputFeed.h"
#include "session/JobThreads.h"
#include "terminal/ProgressDisplay.h"

/// One input on its way from its feed through the component to its outputs. Thread-bound; the feed, the decoders and the
/// writers run on threads of their own, and nothing here waits for them but the destructor, and `poll` where the system has
/// no thread left that could wait.
class InputRun final {
public:
    /// What the inputs of a run share. Outlives them.
    struct Environment {
        DecodedStream::Environment streams;
        JobThreads &openers; // of files, which may stall
        JobThreads &enders;  // of outputs, which may have much to write still
    };

    /// A stream as an operator wants to see it at this moment.
    struct StreamView {
        std::string origin; // the name of its decoder
        std::string kind;   // "video" or "audio"
        qint64 frames = 0;
        qint64 damaged = 0;
        InputFeed::Figures figures;
    };

    /// Begins to open @p url.
    InputRun(const std::string &url, InputNames::Name name, const Environment &environment);
    InputRun(const InputRun &) = delete;
    InputRun &operator=(const InputRun &) = delete;
    /// Cancels what is still running, and completes its outputs.
    ~InputRun();

    /// Takes whatever next step there is to take: makes decoders for new streams, ends what is decoded.
    /// @param inputFiles that no output may be written to.
    void poll(const std::shared_ptr<const FileSet> &inputFiles);
    /// Has reading and decoding stop at once, with what is decoded so far. Does nothing unless it is running.
    void cancel();

    const InputNames::Name &name() const { return _name; }
    /// The file that is read, as it was at the beginning; nothing for other inputs.
    const FileSet &files() const { return _files; }
    bool isLive() const { return _feed->isLive(); }
    /// Whether something is or was decoded, or it was cancelled.
    bool isOpen() const { return !_streams.empty(); }
    /// Whether there is, or may be, more of it to decode. The outputs are complete only later.
    bool isRunning() const { return _phase == Phase::Running && !_feed->isDrained(); }
    /// Whether its outputs are complete, or it could not be opened.
    bool isFinished() const { return _phase == Phase::Finished; }

    InputFeed::Status status() const;
    /// What an operator should be told of, since the last call, each in a line that names the input.
    std::vector<std::string> takeReports();
    /// What went wrong with the input and its outputs so far.
    std::vector<std::string> errors() const;
    ProgressDisplay::Input progress() const;
    std::vector<StreamView> streams() const;
    /// Blocks that were lost because their decoders were too slow.
    qint64 lateBlocks() const { return _feed->figures().late; }
    DecodeReport::Input report() const;

private:
    enum class Phase { Running, Ending, Finished };

    void addStreams(const std::shared_ptr<const FileSet> &inputFiles);
    void startOnceDecodersAreAwake();
    void beginEnding();
    void end();
    std::chrono::milliseconds runningTime() const;

    const InputNames::Name _name;
    const Environment _environment;
    FileSet _files; // constant after construction
    const std::unique_ptr<InputFeed> _feed;
    std::vector<std::unique_ptr<DecodedStream>> _streams;
    std::optional<std::string> _error; // a stream's decoder or outputs could not be made
    std::optional<std::chrono::steady_clock::time_point> _startedAt;
    std::optional<std::chrono::steady_clock::time_point> _endedAt;
    Phase _phase = Phase::Running;
    bool _cancelled = false;
    std::future<void> _ending; // valid while the outputs are being completed
};

#endif
