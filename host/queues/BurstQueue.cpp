#include "queues/BurstQueue.h"

#include <utility>
#include <vector>

#include "format/MediaBlock.h"

BurstQueue::BurstQueue(const ModkitPtr<IInputQueue> &queue, quint32 streamId, Length length)
    : _queue(queue)
    , _streamId(streamId)
    , _length(std::move(length))
{
}

bool BurstQueue::readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                           QueueCursor *cursor, void *reserved1, void *reserved2, quint32 *lost,
                           qint64 *latency) noexcept
{
    if (!_queue->readBlock(data, streamId, keyBlock, timestamp, blockTime, cursor, reserved1, reserved2, lost, latency))
        return false;
    if (*streamId != _streamId || data->isEmpty())
        return true;
    const int longest = _length(*keyBlock);
    if (longest > 1)
        addFollowing(*data, *keyBlock, *blockTime, longest, *cursor);
    return true;
}

/// Joins to @p data, which is of key blocks or of others, what comes behind @p cursor, and moves that past it.
void BurstQueue::addFollowing(QByteArray &data, bool keyBlocks, qint64 blockTimeMs, int longest, QueueCursor &cursor)
{
    std::vector<MediaBlock::Part> parts{{data, blockTimeMs}};
    int bytes = data.size();
    MediaBlock::Part next;
    while (static_cast<int>(parts.size()) < longest && bytes < maxBytes) {
        QueueCursor behind = cursor;
        quint32 streamId = 0;
        quint32 lost = 0;
        qint64 timestamp = 0;
        qint64 latencyMs = 0;
        bool keyBlock = false;
        if (!_queue->readBlock(&next.block, &streamId, &keyBlock, &timestamp, &next.blockTimeMs, &behind, nullptr,
                               nullptr, &lost, &latencyMs) ||
            lost > 0)
            break;
        if (streamId == _streamId) {
            if (next.block.isEmpty() || keyBlock != keyBlocks || next.block.size() > maxBytes - bytes ||
                !MediaBlock::canJoin(data, next.block, keyBlock))
                break;
            bytes += next.block.size();
            parts.push_back(std::move(next));
        }
        cursor = behind;
    }
    if (parts.size() > 1)
        data = MediaBlock::join(parts, keyBlocks);
}
