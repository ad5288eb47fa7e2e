#ifndef HOST_QUEUES_BURSTQUEUE_H
#define HOST_QUEUES_BURSTQUEUE_H

#include <chrono>
#include <functional>
#include <mutex>
#include <vector>

#include "format/MediaBlock.h"
#include "interfaces/IInputQueue.h"

/// Another input queue, as a stream decoder sees it that decodes several blocks in one cycle: those that are there are
/// joined to bursts (see MediaBlock), so that a decoder takes no cycle for each of them, and the processor's caches do
/// not forget a stream from picture to picture.
///
/// A burst has the first block's times, and the longest latency, which is that block's. Key blocks are joined with key
/// blocks alone, of the same fourcc, and others with others, so that a decoder that leaves out what is no key block
/// leaves out the same as without bursts. Empty blocks stay alone, and what comes after a loss begins a new burst, so
/// that the loss is told with it. What goes into no burst is read again.
///
/// With patience, a burst is held back until it is full, until something comes that begins another one, or until its
/// first block has waited for so long. Its blocks are taken from the other queue meanwhile, so that they are not late
/// there.
///
/// Made for one decoder, or for several one after the other, that decline no block: not for paced ones. Shared by
/// ModkitPtr; all operations are thread-safe.
class BurstQueue final : public IInputQueue {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    /// @return how many blocks the next burst may hold, of key blocks or of others. Thread-safe; must not throw.
    using Length = std::function<int(bool keyBlocks)>;

    /// What a burst holds at most. A larger block stays alone, and is not copied.
    static constexpr int maxBytes = 1 << 20;

    /// @param queue never null. @param streamId of the decoder: other streams' blocks are in no burst.
    /// @param patience 0: nothing is held back. @param clock thread-safe; called under a lock.
    BurstQueue(const ModkitPtr<IInputQueue> &queue, quint32 streamId, Length length,
               std::chrono::milliseconds patience = std::chrono::milliseconds(0),
               Clock clock = std::chrono::steady_clock::now);

    /// Reads the other queue, several times in a row. Waits only for another call of it. Running out of memory
    /// ends the process, because the interface allows no exception.
    bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                   QueueCursor *cursor, void *reserved1, void *reserved2, quint32 *lost,
                   qint64 *latency) noexcept override;

private:
    /// What one read of the other queue yields.
    struct Block {
        QByteArray data;
        quint32 streamId = 0;
        bool keyBlock = false;
        qint64 timestamp = 0;
        qint64 blockTimeMs = 0;
        QueueCursor behind;
        quint32 lost = 0;
        qint64 latencyMs = 0;
    };

    bool readLocked(const QueueCursor &from, Block &block) const;
    bool isJoinableLocked(const Block &next) const;
    bool beginLocked(const QueueCursor &from);
    bool fillLocked();
    std::chrono::milliseconds heldForLocked() const;

    const ModkitPtr<IInputQueue> _queue;
    const quint32 _streamId;
    const Length _length;
    const std::chrono::milliseconds _patience;
    const Clock _clock;

    std::mutex _mutex; // guards all that follows
    /// A burst that is held back, for the decoder whose cursor is _from; nothing while _parts is empty.
    std::vector<MediaBlock::Part> _parts;
    Block _first; // its cursor stands behind all of them
    QueueCursor _from;
    int _longest = 1;
    int _bytes = 0;
    std::chrono::steady_clock::time_point _since;
};

#endif
