#ifndef HOST_QUEUES_BURSTQUEUE_H
#define HOST_QUEUES_BURSTQUEUE_H

#include <functional>

#include "interfaces/IInputQueue.h"

/// Another input queue, as a stream decoder sees it that decodes several blocks in one cycle: those that are there are
/// joined to bursts (see MediaBlock), so that a decoder takes no cycle for each of them, and the processor's caches do
/// not forget a stream from picture to picture.
///
/// A burst has the first block's times, and the longest latency, which is that block's. Key blocks are joined with key
/// blocks alone, of the same fourcc, and others with others, so that a decoder that leaves out what is no key block
/// leaves out the same as without bursts. Empty blocks stay alone, and what comes after a loss begins a new burst, so
/// that the loss is told with it. Nothing is waited for, and nothing kept here: what goes into no burst is read again.
///
/// Made for one decoder, or for several one after the other, that decline no block: not for paced ones. Shared by
/// ModkitPtr; thread-safe.
class BurstQueue final : public IInputQueue {
public:
    /// @return how many blocks the next burst may hold, of key blocks or of others. Thread-safe; must not throw.
    using Length = std::function<int(bool keyBlocks)>;

    /// What a burst holds at most. A larger block stays alone, and is not copied.
    static constexpr int maxBytes = 1 << 20;

    /// @param queue never null. @param streamId of the decoder: other streams' blocks are in no burst.
    BurstQueue(const ModkitPtr<IInputQueue> &queue, quint32 streamId, Length length);

    /// Reads the other queue, several times in a row. Running out of memory ends the process, because the interface
    /// allows no exception.
    bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                   QueueCursor *cursor, void *reserved1, void *reserved2, quint32 *lost,
                   qint64 *latency) noexcept override;

private:
    void addFollowing(QByteArray &data, bool keyBlocks, qint64 blockTimeMs, int longest, QueueCursor &cursor);

    const ModkitPtr<IInputQueue> _queue;
    const quint32 _streamId;
    const Length _length;
};

#endif
