#ifndef HOST_SESSION_INPUTFEED_H
#define HOST_SESSION_INPUTFEED_H

#include <QtGlobal>

#include <optional>
#include <string>
#include <vector>

#include "interfaces/IInputQueue.h"
#include "media/StreamKind.h"
#include "sources/MediaSource.h"
#include "strata/base/modkit/modkit"

/// The source of one input together with the block queues that it fills, one of its own for each stream or one for all.
/// It sets a ChangeNote when there is something new in what its operations give, except in figures. Thread-bound except
/// for `wait`.
class InputFeed {
public:
    enum class State {
        Opening,    // nothing is known of its streams yet
        Delivering, // blocks come
        Waiting,    // a live source has lost its connection, and tries again
        Ended       // no more blocks will come
    };

    struct Status {
        State state = State::Opening;
        std::optional<std::string> error; // what is wrong now, or ended it too early: one line that names the input
        std::optional<double> progress;   // part of the work that is done, 0 to 1; nothing where it has no end
        qint64 packets = 0;               // read
        qint64 bytes = 0;                 // read
        qint64 connections = 0;           // that were made; 0 for a file
        qint64 peakQueuedBlocks = 0;      // in its fullest queue
        qint64 peakQueuedBytes = 0;
    };

    struct Stream {
        MediaSource::Stream description;
        qint64 startTimeUs = 0; // of the container

        StreamKind kind() const { return kindOf(description.streamId); }
    };

    /// What one stream's decoder, or all that share a queue, met so far. Latency is the time from a block's arrival in
    /// its queue to its reading.
    struct Figures {
        qint64 lost = 0; // blocks that the queue reported to the decoder as missed
        qint64 late = 0; // of them: because it was too slow
        qint64 reads = 0;
        qint64 latencySumMs = 0;
        qint64 lastLatencyMs = 0;
        qint64 maxLatencyMs = 0;
    };

    virtual ~InputFeed() = default;

    /// Begins to open a file, of which nothing is touched before. To be called once. What is live opens by itself.
    virtual void open() {}

    /// @return the streams that have become known, or others than they were, since the last call.
    virtual std::vector<Stream> takeStreams() = 0;
    /// @return what it cannot deliver for want of decoders: at most one stream of each kind, video first.
    [[nodiscard]] virtual std::vector<MediaSource::Stream> undecodable() const = 0;
    /// A decoder will read the stream of @p kind, which is known. A file delivers those streams alone that are to be
    /// decoded: ask for all of them before the first call of `queue`.
    virtual void decode(StreamKind kind) = 0;
    /// Nobody reads the stream of @p kind any more.
    virtual void leave(StreamKind kind) = 0;
    /// @return what the decoder of @p kind reads; after `decode`.
    [[nodiscard]] virtual ModkitPtr<IInputQueue> queue(StreamKind kind) const = 0;
    /// The decoders of all the streams that a file is to deliver are there: reads on.
    virtual void start() = 0;
    /// What comes cannot be decoded as it was described: a live source finds out anew.
    virtual void describeAnew() {}
    /// Tries again what the system had no thread or no descriptor for, if there is such a thing. To be called now and
    /// then until it is cancelled.
    virtual void retry() = 0;
    /// Whether a file waits for one of these. It may be given up, and so ends.
    [[nodiscard]] virtual bool isShort() const { return false; }
    virtual void giveUp() {}
    /// Has everything stop at once, and the queues give out no more blocks. Does not wait.
    virtual void cancel() = 0;
    /// Waits until nothing reads any more. Thread-safe; call it once the feed has ended or was cancelled.
    virtual void wait() = 0;

    /// Whether all blocks there will ever be were decoded, of the streams that are.
    [[nodiscard]] virtual bool isDrained() const = 0;
    /// Whether nothing is there to be decoded now.
    [[nodiscard]] virtual bool isStarved() const { return false; }
    [[nodiscard]] virtual Status status() const = 0;
    /// @return the status' error alone.
    [[nodiscard]] virtual std::optional<std::string> error() const = 0;
    /// Of the stream of @p kind; where streams share a queue, of all of them.
    [[nodiscard]] virtual Figures figures(StreamKind kind) const = 0;
    /// Of all streams.
    [[nodiscard]] virtual Figures figures() const = 0;
    /// @return what an operator should know, since the last call: each a line that names the input.
    virtual std::vector<std::string> takeReports() = 0;
    [[nodiscard]] virtual bool isLive() const = 0;
};

#endif
