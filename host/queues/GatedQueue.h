#ifndef HOST_QUEUES_GATEDQUEUE_H
#define HOST_QUEUES_GATEDQUEUE_H

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

#include "interfaces/IInputQueue.h"
#include "queues/Gate.h"

/// Another input queue as one stream decoder sees it: empty while the decoder's outputs have no room, so that the
/// blocks stay where they are, and without the blocks that are not to be decoded. Made for one decoder, or for several
/// one after the other. Shared by ModkitPtr; all operations are thread-safe.
///
/// Cursors are those of the other queue. A decoder does not keep a cursor that a fruitless read has moved, so where
/// such a read has passed over blocks, this queue remembers for the decoder's cursor how far it has come: the other
/// queue can let go of what is passed, and no read begins anew with it. A decoder that comes with another cursor has
/// moved on.
class GatedQueue final : public IInputQueue {
public:
    /// @param queue never null. @param gate never null.
    /// @param keyBlocksOnly whether to pass over all blocks that are neither key blocks nor empty.
    GatedQueue(const ModkitPtr<IInputQueue> &queue, std::shared_ptr<const Gate> gate, bool keyBlocksOnly);

    /// Reads the other queue, unless the gate is closed. Waits only for another call of it.
    /// @param lost what the other queue reports of this block and of those passed over since the previous block. The
    ///        passed ones themselves do not count.
    bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                   QueueCursor *cursor, void *reserved1, void *reserved2, quint32 *lost,
                   qint64 *latency) noexcept override;

    /// @return whether a call of readBlock has returned, whatever it found. A paced decoder releases blocks at once
    ///         until it has found nothing for the first time, so its source is to begin after that.
    [[nodiscard]] bool wasRead() const { return _wasRead.load(); }

private:
    struct Block;

    /// From a decoder's cursor over blocks that are not for it.
    struct Passage {
        QueueCursor from;
        QueueCursor to;
        quint32 lost = 0; // on the way
    };

    bool readKeyBlock(const QueueCursor &from, Block &block);

    const ModkitPtr<IInputQueue> _queue;
    const std::shared_ptr<const Gate> _gate;
    const bool _keyBlocksOnly;

    std::atomic<bool> _wasRead{false};

    std::mutex _mutex;
    std::optional<Passage> _passage; // guarded by _mutex
};

#endif
