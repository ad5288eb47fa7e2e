#ifndef STORM_STORMCODEC_H
#define STORM_STORMCODEC_H

#include <QThread>

#include <optional>
#include <string>
#include <utility>

#include "StormBlock.h"
#include "StormLedger.h"
#include "StormOutput.h"
#include "StormRecord.h"

/// Makes one record for each block, and holds it back until the next one or the drain. Checks that it gets the blocks
/// of one stream and one fourcc, beginning with a key block, of which none but those between key blocks may be missing;
/// that after a drain nothing comes; and that all happens on one thread.
template <class Media>
class StormCodec final : public Media::CodecDecoder, private Counted<StormCodec<Media>> {
public:
    static constexpr const char *kindName = Media::codecName;
    using Counted<StormCodec<Media>>::count;

    /// @param legacy a handle that is dropped when this codec decoder is destroyed.
    StormCodec(quint32 fourcc, std::optional<StormHandle> legacy)
        : _fourcc(fourcc)
        , _legacy(std::move(legacy))
    {
    }

    ~StormCodec() override
    {
        checkThread();
        if (_legacy)
            _legacy->drop();
    }

    void decode(const QByteArray &data, bool keyBlock, qint64 timestamp, qint64 blockTime,
                const ModkitPtr<typename Media::OutputQueue> *outputs, int outputCount) override
    {
        checkThread();
        if (_isDrained)
            StormLedger::violation("a block after the drain");
        if (!outputs)
            StormLedger::violation("no vector of outputs");
        for (int i = 0; i < outputCount && !_held.isNull(); ++i)
            outputs[i]->push(_held, _heldTimestamp, _heldBlockTime);
        _held = typename Media::Handle();

        if (data.isEmpty()) {
            _isDrained = true;
            // A drain before a change of codec stands in no queue.
            if (timestamp != 0)
                checkOrder(data, keyBlock, timestamp);
            return;
        }
        if (_last < 0)
            _queue = StormBlock::queueOf(data);
        checkOrder(data, keyBlock, timestamp);
        _kept = data;
        if (outputCount == 0)
            return;
        _held = makeRecord<Media>(_queue, timestamp);
        _heldTimestamp = timestamp;
        _heldBlockTime = blockTime;
    }

private:
    void checkThread() const
    {
        if (QThread::currentThread() != _thread)
            StormLedger::violation("a codec decoder on two threads");
    }

    void checkOrder(const QByteArray &data, bool keyBlock, qint64 timestamp)
    {
        const quint32 index = static_cast<quint32>(timestamp);
        const StormBlock::Description block = StormBlock::at(_queue, index);
        if (block.streamId != Media::streamId || block.keyBlock != keyBlock || !StormBlock::isAt(data, _queue, index))
            StormLedger::violation("not the block at " + std::to_string(index) + " of queue " + std::to_string(_queue));
        if (block.size != 0 && block.fourcc != _fourcc)
            StormLedger::violation("a block of another fourcc");
        if (_last < 0 ? !keyBlock : timestamp <= _last)
            StormLedger::violation("block " + std::to_string(timestamp) + " after " + std::to_string(_last));
        for (qint64 between = _last + 1; _last >= 0 && between < timestamp; ++between) {
            const StormBlock::Description left = StormBlock::at(_queue, static_cast<quint32>(between));
            if (left.streamId == Media::streamId && (left.keyBlock || left.size == 0))
                StormLedger::violation("the key or empty block " + std::to_string(between) + " was left out");
        }
        _last = timestamp;
    }

    const quint32 _fourcc;
    std::optional<StormHandle> _legacy;
    QThread *const _thread = QThread::currentThread();
    quint32 _queue = 0;
    qint64 _last = -1; // place of the last block
    bool _isDrained = false;
    QByteArray _kept; // the last block's bytes, shared with the queue
    typename Media::Handle _held;
    qint64 _heldTimestamp = 0;
    qint64 _heldBlockTime = 0;
};

#endif
