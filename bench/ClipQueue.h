#ifndef BENCH_CLIPQUEUE_H
#define BENCH_CLIPQUEUE_H

#include <optional>

#include "Clip.h"
#include "Schedule.h"
#include "interfaces/IInputQueue.h"

/// Gives one reader all blocks of a clip, and then an empty block. Read by the decoder thread only;
/// the clip outlives it.
class ClipQueue final : public IInputQueue {
public:
    /// @param schedule when the blocks come, as stream @p stream of it; without one all of them are there at once.
    ClipQueue(const Clip &clip, std::optional<Schedule> schedule, int stream)
        : _blocks(clip.blocks())
        , _count(static_cast<quint32>(clip.blocks().size()))
        , _schedule(schedule)
        , _stream(stream)
    {
    }

    bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                   QueueCursor *cursor, void * /*reserved1*/, void * /*reserved2*/, quint32 *lost,
                   qint64 *latency) override
    {
        const quint32 index = cursor->word0;
        if (index > _count || (_schedule && !hasArrived(index)))
            return false;
        cursor->word0 = index + 1;
        *streamId = 0;
        *blockTime = index * Schedule::frameTime.count();
        *lost = 0;
        *latency = 0;
        if (index == _count) {
            data->clear();
            *keyBlock = false;
            *timestamp = 0;
            return true;
        }
        const Clip::Block &block = _blocks[index];
        *data = block.data;
        *keyBlock = block.keyBlock;
        *timestamp = block.timestamp;
        return true;
    }

private:
    bool hasArrived(quint32 index) const
    {
        return Schedule::Clock::now() >= _schedule->arrival(_stream, static_cast<int>(index));
    }

    const std::vector<Clip::Block> &_blocks;
    const quint32 _count;
    const std::optional<Schedule> _schedule;
    const int _stream;
};

#endif
