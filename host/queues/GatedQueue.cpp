#include "queues/GatedQueue.h"

#include <utility>

namespace {

bool isSame(const QueueCursor &left, const QueueCursor &right)
{
    return left.word0 == right.word0 && left.word1 == right.word1 && left.flag == right.flag;
}

} // namespace

/// What one read of the other queue yields.
struct GatedQueue::Block {
    QByteArray data;
    quint32 streamId = 0;
    bool keyBlock = false;
    qint64 timestamp = 0;
    qint64 blockTime = 0; // ms
    QueueCursor cursor;   // behind this block
    quint32 lost = 0;
    qint64 latency = 0; // ms
};

GatedQueue::GatedQueue(const ModkitPtr<IInputQueue> &queue, std::shared_ptr<const Gate> gate, bool keyBlocksOnly)
    : _queue(queue)
    , _gate(std::move(gate))
    , _keyBlocksOnly(keyBlocksOnly)
{
}

bool GatedQueue::readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                           QueueCursor *cursor, void *reserved1, void *reserved2, quint32 *lost,
                           qint64 *latency) noexcept
{
    bool isFound = false;
    if (_gate->isOpen()) {
        Block block;
        if (!_keyBlocksOnly) {
            isFound = _queue->readBlock(data, streamId, keyBlock, timestamp, blockTime, cursor, reserved1, reserved2,
                                        lost, latency);
        } else if (readKeyBlock(*cursor, block)) {
            isFound = true;
            *data = std::move(block.data);
            *streamId = block.streamId;
            *keyBlock = block.keyBlock;
            *timestamp = block.timestamp;
            *blockTime = block.blockTime;
            *cursor = block.cursor;
            *lost = block.lost;
            *latency = block.latency;
        }
    }
    // Written once only: all idle cycles read it.
    if (!_wasRead.load(std::memory_order_relaxed))
        _wasRead.store(true);
    return isFound;
}

/// Reads the next block that is a key block, or empty. @return false when it finds none; then @p block holds anything.
bool GatedQueue::readKeyBlock(const QueueCursor &from, Block &block)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (_passage && !isSame(_passage->from, from))
        _passage.reset();
    block.cursor = _passage ? _passage->to : from;
    while (_queue->readBlock(&block.data, &block.streamId, &block.keyBlock, &block.timestamp, &block.blockTime,
                             &block.cursor, nullptr, nullptr, &block.lost, &block.latency)) {
        const quint32 lostBefore = _passage ? _passage->lost : 0;
        block.lost += lostBefore;
        if (block.keyBlock || block.data.isEmpty())
            return true;
        _passage = {from, block.cursor, block.lost};
    }
    return false;
}
