#ifndef HOST_QUEUES_PACEDQUEUE_H
#define HOST_QUEUES_PACEDQUEUE_H

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>

#include "interfaces/IInputQueue.h"

/// Another input queue, which holds each block from the moment that it is due, as a paced stream decoder sees it. The
/// decoder takes a key block at once, and a block behind it when as much time has passed on the wall clock as there is
/// between their block times. So one whose clock is set back would wait for the clock, and one that gets a key block
/// late would stay late. Here the block times follow what happens to the clocks:
/// - that of a late key block is raised to the moment at which it is read, so that what follows is due when it was;
/// - those of all blocks follow a step of the wall clock against the steady one, also while the decoder waits: it reads
///   a block that it waits for again and again. Those behind a key block follow a step forward only from the next key
///   block on: they are due already, and a step that comes between this queue's look at the clock and the decoder's
///   would be counted twice.
/// Up to a twentieth of a second, a key block is not late, and a difference of the clocks no step: without any, block
/// times are the other queue's.
///
/// Made for one decoder, or for several one after the other. Shared by ModkitPtr; all operations are thread-safe.
class PacedQueue final : public IInputQueue {
public:
    using SteadyClock = std::function<std::chrono::steady_clock::time_point()>;
    using WallClock = std::function<std::chrono::system_clock::time_point()>;

    /// @param queue never null; it gives out no block before it is due. @param streamId of the decoder: the blocks of
    ///        other streams stay as they are. @param steadyClock, @param wallClock thread-safe; called under a lock.
    PacedQueue(const ModkitPtr<IInputQueue> &queue, quint32 streamId,
               SteadyClock steadyClock = std::chrono::steady_clock::now,
               WallClock wallClock = std::chrono::system_clock::now);

    /// Reads the other queue. Waits only for another call of it.
    bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                   QueueCursor *cursor, void *reserved1, void *reserved2, quint32 *lost,
                   qint64 *latency) noexcept override;

private:
    /// The first block, at the moment of its arrival.
    struct Beginning {
        qint64 blockTimeMs;
        std::chrono::steady_clock::time_point instant;
    };

    qint64 adaptedLocked(qint64 blockTimeMs, bool keyBlock, qint64 latencyMs);
    std::chrono::steady_clock::time_point lookAtClocksLocked();

    const ModkitPtr<IInputQueue> _queue;
    const quint32 _streamId;
    const SteadyClock _steadyClock;
    const WallClock _wallClock;

    std::mutex _mutex; // guards all that follows
    std::optional<Beginning> _beginning;
    std::optional<std::chrono::nanoseconds> _wallAhead; // of the steady clock, at the beginning
    qint64 _stepMs = 0;                                 // by which the wall clock is further ahead since
    qint64 _keyBlockStepMs = 0;                         // the same when the last key block was read
};

#endif
