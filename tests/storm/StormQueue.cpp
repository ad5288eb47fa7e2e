#include "StormQueue.h"

#include "StormBlock.h"

StormQueue::StormQueue(quint32 number)
    : _number(number)
    , _intervalMs(2 + static_cast<quint32>(StormBlock::mixed(number, 1) % 12))
{
    for (quint32 position = 0; position < StormBlock::scriptLength; ++position)
        _blocks.append(StormBlock::bytes(number, position));
    _age.start();
}

StormQueue::~StormQueue()
{
    for (const QByteArray &block : qAsConst(_blocks)) {
        if (!block.isEmpty() && !block.isDetached())
            StormLedger::violation("a block outlives its queue");
    }
}

bool StormQueue::readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                           QueueCursor *cursor, void *reserved1, void *reserved2, quint32 *lost, qint64 *latency)
{
    if (reserved1 || reserved2)
        StormLedger::violation("a reserved argument is used");
    // The first blocks are there at once.
    const quint32 newest = static_cast<quint32>(_age.elapsed()) / _intervalMs + 4;
    const quint32 index = cursor->flag ? newest - newest % StormBlock::scriptLength : cursor->word0;
    if (index > newest)
        return false;

    const StormBlock::Description block = StormBlock::at(_number, index);
    *data = _blocks.at(static_cast<int>(index % StormBlock::scriptLength));
    *streamId = block.streamId;
    *keyBlock = block.keyBlock;
    *timestamp = index;
    *blockTime = static_cast<qint64>(index) * _intervalMs;
    cursor->word0 = index + 1;
    cursor->flag = false;
    *lost = block.lost;
    *latency = newest - index;
    return true;
}
