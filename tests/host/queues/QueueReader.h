#ifndef TESTS_HOST_QUEUES_QUEUEREADER_H
#define TESTS_HOST_QUEUES_QUEUEREADER_H

#include <optional>

#include "interfaces/IInputQueue.h"

/// Reads a queue as a stream decoder does, with a cursor of its own.
struct QueueReader {
    struct Block {
        QByteArray data;
        quint32 streamId = 0;
        bool keyBlock = false;
        qint64 timestamp = 0;
        qint64 blockTimeMs = 0;
        quint32 lost = 0;
        qint64 latencyMs = 0;
        QueueCursor cursor; // behind the block
    };

    IInputQueue &queue;
    QueueCursor cursor = {};

    /// Reads the next block without keeping the cursor.
    std::optional<Block> look() const
    {
        Block block;
        block.cursor = cursor;
        if (!queue.readBlock(&block.data, &block.streamId, &block.keyBlock, &block.timestamp, &block.blockTimeMs,
                             &block.cursor, nullptr, nullptr, &block.lost, &block.latencyMs))
            return std::nullopt;
        return block;
    }

    /// Reads the next block and takes it.
    std::optional<Block> take()
    {
        std::optional<Block> block = look();
        if (block)
            cursor = block->cursor;
        return block;
    }

    /// The time stamp of the block that take() yields; -1 when the queue has none.
    qint64 takeStamp()
    {
        const std::optional<Block> block = take();
        return block ? block->timestamp : -1;
    }
};

#endif
