#ifndef FAKES_FAKEINPUTQUEUE_H
#define FAKES_FAKEINPUTQUEUE_H

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "fakes/CallLog.h"
#include "interfaces/IInputQueue.h"

/// An input queue over a list of blocks: a cursor's first word is the index of the block it stands before. Logs each
/// read as "read 3" (index) or "read none". Thread-safe.
class FakeInputQueue : public IInputQueue {
public:
    struct Block {
        QByteArray data;
        bool keyBlock = false;
        qint64 timestamp = 0;
        qint64 blockTime = 0;
        quint32 streamId = 0;
        quint32 lost = 0;
        qint64 latency = 0;
    };

    explicit FakeInputQueue(CallLog *log = nullptr)
        : _log(log)
    {
    }

    void append(const Block &block)
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _blocks.push_back(block);
    }

    /// Called within each read, before it returns; for what happens "meanwhile". Set before the first read.
    std::function<void()> duringRead;

    /// Nothing but reads of the first block, again and again. Set before the first read.
    bool endless = false;

    bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                   QueueCursor *cursor, void *reserved1, void *reserved2, quint32 *lost, qint64 *latency) override
    {
        Block block;
        {
            const std::lock_guard<std::mutex> lock(_mutex);
            const quint32 index = endless ? 0 : cursor->word0;
            if (reserved1 || reserved2 || index >= _blocks.size()) {
                note("read none");
                block.streamId = static_cast<quint32>(-1);
            } else {
                note("read " + std::to_string(index));
                block = _blocks[index];
            }
        }
        if (duringRead)
            duringRead();
        if (block.streamId == static_cast<quint32>(-1))
            return false;
        *data = block.data;
        *streamId = block.streamId;
        *keyBlock = block.keyBlock;
        *timestamp = block.timestamp;
        *blockTime = block.blockTime;
        *lost = block.lost;
        *latency = block.latency;
        ++cursor->word0;
        return true;
    }

private:
    void note(const std::string &call)
    {
        if (_log)
            _log->add(call);
    }

    CallLog *_log;
    std::mutex _mutex;
    std::vector<Block> _blocks;
};

#endif
