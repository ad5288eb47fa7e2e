#ifndef HOST_SESSION_FEEDRUN_H
#define HOST_SESSION_FEEDRUN_H

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/ChangeNote.h"
#include "queues/BurstTime.h"
#include "session/DecodedStream.h"
#include "session/InputFeed.h"
#include "session/JobThreads.h"

/// One feed on its way through the component to the outputs of its streams, from its opening until everything is
/// complete. Thread-bound; the feed, the decoders and the writers run on threads of their own, and nothing here waits
/// for them but the destructor.
///
/// `poll` is to be called when a part has set the note of changes, which it also sets itself while it waits for
/// something that nobody tells.
///
/// The outputs of a file that comes to its end by itself have all the time they need. Those of what is cancelled, and
/// of a live feed, are not waited for while they take nothing.
class FeedRun final {
public:
    /// What the feeds of a session share. Outlives them.
    struct Environment {
        JobThreads &enders; // of feeds and decoders, which may be at work for a while
    };

    FeedRun(std::unique_ptr<InputFeed> feed, const Environment &environment, std::shared_ptr<ChangeNote> changes);
    FeedRun(const FeedRun &) = delete;
    FeedRun &operator=(const FeedRun &) = delete;
    /// Cancels what is still running, and completes its outputs.
    ~FeedRun();

    InputFeed &feed() { return *_feed; }
    const InputFeed &feed() const { return *_feed; }

    /// Opens the feed. To be called once, unless it is cancelled. @param burstShare is given back when the feed ends.
    void open(std::unique_ptr<BurstTime::Share> burstShare);
    /// Takes a stream of the feed that is decoded from now on. While it runs.
    DecodedStream &add(std::unique_ptr<DecodedStream> stream);
    /// Drops the decoder of @p stream, which nobody wants any more, while it runs.
    void remove(const DecodedStream &stream);

    /// Takes whatever next step there is to take: starts the feed once its decoders wait for it, ends what is decoded.
    void poll();
    /// Has reading and decoding stop at once, with what is decoded so far, and the outputs hurry.
    void cancel();

    /// As cancel, because nobody reads it any more, rather than for good.
    void leave();
    bool isLeft() const { return _isLeft; }

    const std::vector<std::unique_ptr<DecodedStream>> &streams() const { return _streams; }
    /// Whether its streams may get other outputs: from its beginning until it ends.
    bool isOpenForOutputs() const { return _phase == Phase::Running && !_cancelled; }
    /// Whether there is, or may be, more of it to decode. The outputs are complete only later.
    bool isRunning() const { return _phase == Phase::Running && !_feed->isDrained(); }
    /// Whether there is nothing to decode now, though its decoders have looked for it.
    bool isStarved() const { return _feed->isStarved() && !waitsForDecoders(); }
    /// Whether its outputs are complete, or it could not be opened.
    bool isFinished() const { return _phase == Phase::Finished; }

    /// What is wrong now, or ended it too early.
    std::optional<std::string> error() const { return _error ? _error : _feed->error(); }
    /// As the feed's, until everything is complete.
    InputFeed::Status status() const;
    /// Since the decoders began, or for as long as they worked.
    std::chrono::milliseconds runningTime() const;
    /// The part of that after @p instant.
    std::chrono::milliseconds timeSince(std::chrono::steady_clock::time_point instant) const;

private:
    enum class Phase {
        Running,
        Ending,     // of feed and decoders
        Completing, // the outputs
        Finished
    };

    bool waitsForDecoders() const { return _phase == Phase::Running && !_startedAt && !_streams.empty(); }
    void startOnceDecodersAreAwake();
    void beginEnding();
    void end();
    void completeOutputs();

    const std::unique_ptr<InputFeed> _feed;
    const Environment _environment;
    const std::shared_ptr<ChangeNote> _changes;
    std::unique_ptr<BurstTime::Share> _burstShare;        // from its opening until it ends
    std::vector<std::unique_ptr<DecodedStream>> _streams; // constant while it is ending
    std::optional<std::string> _error;                    // it could not begin
    std::optional<std::chrono::steady_clock::time_point> _decodersSince;
    std::optional<std::chrono::steady_clock::time_point> _startedAt;
    std::optional<std::chrono::steady_clock::time_point> _endedAt;
    Phase _phase = Phase::Running;
    bool _cancelled = false;
    bool _hurries = false;
    bool _isLeft = false;
    std::future<void> _ending; // valid while feed and decoders end
};

#endif
