#include "queues/PacedQueue.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

using Instant = std::chrono::steady_clock::time_point;

constexpr std::chrono::milliseconds tolerance(50);

qint64 wholeMs(std::chrono::nanoseconds duration)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
}

} // namespace

PacedQueue::PacedQueue(const ModkitPtr<IInputQueue> &queue, quint32 streamId, SteadyClock steadyClock,
                       WallClock wallClock)
    : _queue(queue)
    , _streamId(streamId)
    , _steadyClock(std::move(steadyClock))
    , _wallClock(std::move(wallClock))
{
}

bool PacedQueue::readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                           QueueCursor *cursor, void *reserved1, void *reserved2, quint32 *lost,
                           qint64 *latency) noexcept
{
    if (!_queue->readBlock(data, streamId, keyBlock, timestamp, blockTime, cursor, reserved1, reserved2, lost, latency))
        return false;
    if (*streamId == _streamId) {
        const std::lock_guard<std::mutex> lock(_mutex);
        *blockTime = adaptedLocked(*blockTime, *keyBlock, *latency);
    }
    return true;
}

qint64 PacedQueue::adaptedLocked(qint64 blockTimeMs, bool keyBlock, qint64 latencyMs)
{
    const Instant now = lookAtClocksLocked();
    if (!_beginning)
        _beginning = {blockTimeMs, now - std::chrono::milliseconds(latencyMs)};
    if (!keyBlock)
        return blockTimeMs + std::min(_stepMs, _keyBlockStepMs);

    _keyBlockStepMs = _stepMs;
    const qint64 lateMs = wholeMs(now - _beginning->instant) - (blockTimeMs - _beginning->blockTimeMs);
    return blockTimeMs + _stepMs + (lateMs > tolerance.count() ? lateMs : 0);
}

/// Sees whether the wall clock was set. @return the present.
Instant PacedQueue::lookAtClocksLocked()
{
    const Instant before = _steadyClock();
    const auto wall = _wallClock();
    const Instant now = _steadyClock();
    // Whoever is interrupted here compares two different moments, and can tell nothing.
    if (now - before > tolerance / 2)
        return now;
    const std::chrono::nanoseconds ahead = wall.time_since_epoch() - now.time_since_epoch();
    _wallAhead = _wallAhead.value_or(ahead);
    const qint64 stepMs = wholeMs(ahead - *_wallAhead);
    if (std::abs(stepMs - _stepMs) > tolerance.count())
        _stepMs = stepMs;
    return now;
}
