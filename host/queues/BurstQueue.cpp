#include "queues/BurstQueue.h"

#include <utility>

namespace {

bool standTogether(const QueueCursor &left, const QueueCursor &right)
{
    return left.word0 == right.word0 && left.word1 == right.word1 && left.flag == right.flag;
}

} // namespace

BurstQueue::BurstQueue(const ModkitPtr<IInputQueue> &queue, quint32 streamId, Length length,
                       std::chrono::milliseconds patience, Clock clock)
    : _queue(queue)
    , _streamId(streamId)
    , _length(std::move(length))
    , _patience(patience)
    , _clock(std::move(clock))
{
}

bool BurstQueue::readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                           QueueCursor *cursor, void * /*reserved1*/, void * /*reserved2*/, quint32 *lost,
                           qint64 *latency) noexcept
{
    const std::lock_guard<std::mutex> lock(_mutex);
    // A decoder that comes with another cursor has moved on, or is another one.
    const bool isHeld = !_parts.empty() && standTogether(_from, *cursor);
    if (!isHeld && !beginLocked(*cursor))
        return false;
    const bool isWhole = fillLocked();
    if (!isWhole && heldForLocked() < _patience)
        return false;

    const std::vector<MediaBlock::Part> parts = std::exchange(_parts, {});
    *data = parts.size() == 1 ? parts.front().block : MediaBlock::join(parts, _first.keyBlock);
    *streamId = _first.streamId;
    *keyBlock = _first.keyBlock;
    *timestamp = _first.timestamp;
    *blockTime = _first.blockTimeMs;
    *cursor = _first.behind;
    *lost = _first.lost;
    *latency = _first.latencyMs + heldForLocked().count();
    return true;
}

bool BurstQueue::readLocked(const QueueCursor &from, Block &block) const
{
    block.behind = from;
    return _queue->readBlock(&block.data, &block.streamId, &block.keyBlock, &block.timestamp, &block.blockTimeMs,
                             &block.behind, nullptr, nullptr, &block.lost, &block.latencyMs);
}

/// Begins a burst behind @p from. @return false when there is no block.
bool BurstQueue::beginLocked(const QueueCursor &from)
{
    _parts.clear();
    if (!readLocked(from, _first))
        return false;
    const bool mayGrow = _first.streamId == _streamId && !_first.data.isEmpty();
    _from = from;
    _longest = mayGrow ? _length(_first.keyBlock) : 1;
    _bytes = _first.data.size();
    _since = _patience.count() > 0 ? _clock() : _since;
    _parts.push_back({std::move(_first.data), _first.blockTimeMs});
    return true;
}

/// Adds what is there. @return whether nothing that may come belongs to the burst.
bool BurstQueue::fillLocked()
{
    Block next;
    while (static_cast<int>(_parts.size()) < _longest && _bytes < maxBytes) {
        if (!readLocked(_first.behind, next))
            return false;
        if (next.lost > 0 || (next.streamId == _streamId && !isJoinableLocked(next)))
            return true;
        _first.behind = next.behind;
        if (next.streamId != _streamId)
            continue;
        _bytes += next.data.size();
        _parts.push_back({std::move(next.data), next.blockTimeMs});
    }
    return true;
}

bool BurstQueue::isJoinableLocked(const Block &next) const
{
    return !next.data.isEmpty() && next.keyBlock == _first.keyBlock && next.data.size() <= maxBytes - _bytes &&
           MediaBlock::canJoin(_parts.front().block, next.data, next.keyBlock);
}

std::chrono::milliseconds BurstQueue::heldForLocked() const
{
    if (_patience.count() == 0)
        return _patience;
    return std::chrono::duration_cast<std::chrono::milliseconds>(_clock() - _since);
}
