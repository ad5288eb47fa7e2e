#ifndef HOST_QUEUES_BLOCKQUEUE_H
#define HOST_QUEUES_BLOCKQUEUE_H

#include <QByteArray>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "interfaces/IInputQueue.h"
#include "media/ChangeNote.h"

/// A bounded queue of blocks between one writer, a source, and the stream decoders that read it. It loses nothing: each
/// block is kept until every reader has read on past it, and the writer waits while the queue is full. Shared by
/// ModkitPtr; all operations are thread-safe.
///
/// A cursor's first word is the sequence number of the block that it stands before, its second word the ticket that its
/// first read was given. A ticket becomes one of the counted readers only when its cursor comes back: a decoder may
/// decline the very first block, and read it again with the fresh cursor, or be disposed of after it. Until all the
/// readers that were announced have come back, every block is kept. A reader that came back and is then disposed of is
/// still waited for: close the queue then.
class BlockQueue final : public IInputQueue {
public:
    struct Block {
        QByteArray data; // empty: ends the stream
        quint32 streamId = 0;
        bool keyBlock = false;
        qint64 timestamp = 0;
        qint64 blockTimeMs = 0;
    };

    struct Limits {
        int blocks = 256;
        qint64 bytes = qint64(32) << 20;
    };

    struct Figures {
        quint64 blocks = 0; // that went in, and their bytes
        quint64 bytes = 0;
        int peakBlocks = 0; // that were held at one time
        qint64 peakBytes = 0;
        quint64 reads = 0; // that a counted reader has kept; the sum, the last and the largest of their latencies
        qint64 latencySumMs = 0;
        qint64 lastLatencyMs = 0;
        qint64 maxLatencyMs = 0;
    };

    /// @param readerCount decoders that will read the queue, at least 1. Any more are served too, beginning with the
    ///        oldest block, but hold nothing back: they may lose blocks, which `lost` counts.
    /// @param changes set when a block came, when it has ended and when it is drained; may be null.
    /// @param blocksBefore as if so many had gone through it already: for tests of what happens after very many.
    BlockQueue(int readerCount, Limits limits, std::shared_ptr<ChangeNote> changes = {}, quint64 blocksBefore = 0);

    /// Never waits for a reader or the writer, except while one of them holds the lock for a moment. Running out of
    /// memory ends the process, because the interface allows no exception.
    /// A cursor whose block is gone already goes on at the oldest block, and so does one that stands nowhere in the
    /// queue.
    /// @param lost how many blocks went that were still before the cursor, be they of this stream or of another one of
    ///        the queue; 0 for a counted reader. @param latency milliseconds since the block was appended.
    bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                   QueueCursor *cursor, void *reserved1, void *reserved2, quint32 *lost,
                   qint64 *latency) noexcept override;

    /// Adds @p block behind the others; called by the writer alone. Waits while the queue is full: while it holds as
    /// many blocks as it may, or while the block's bytes would be too many and others are there; once it waits, until a
    /// quarter is free, too. Empty blocks do not wait, so that a stream can always be ended.
    /// @return false, nothing added, when the queue is closed, cut short or ended.
    [[nodiscard]] bool append(const Block &block);

    /// Takes nothing but empty blocks from now on, and wakes a waiting append. For a writer that is to stop early.
    void cutShort();

    /// No more blocks will come.
    void end();

    /// Takes no more blocks and gives none out, and wakes a waiting append. The blocks go with the queue.
    void close();

    /// @return whether the queue has ended and every reader has come back for more after the last block, so that it is
    ///         decoded.
    [[nodiscard]] bool isDrained() const;

    /// @return whether no block is there that a reader may still need.
    [[nodiscard]] bool isEmpty() const;

    [[nodiscard]] Figures figures() const;

private:
    struct Entry {
        Block block;
        std::chrono::steady_clock::time_point appended;
        qint64 latencyMs = 0; // of its last read
    };

    /// One of the counted readers.
    struct Reader {
        quint32 ticket = 0;   // 0: has not come back yet
        quint32 position = 0; // it has read on past all blocks before this sequence number
    };

    bool hasRoomLocked(const Block &block) const;
    bool hasMuchRoomLocked() const;
    quint32 heldBlocksLocked() const { return static_cast<quint32>(_entries.size()); }
    Reader *readerLocked(quint32 ticket);
    quint32 advanceLocked(const QueueCursor &cursor);
    quint32 lostLocked(const QueueCursor &cursor) const;
    void noteLatencyLocked(qint64 latencyMs);
    std::vector<Entry> takePassedLocked();

    const Limits _limits;
    const std::shared_ptr<ChangeNote> _changes;

    mutable std::mutex _mutex; // guards all that follows
    std::condition_variable _room;
    std::deque<Entry> _entries;
    std::vector<Reader> _readers;
    /// Of the oldest block. Sequence numbers wrap; they begin shortly before, so that any longer run meets it.
    quint32 _firstSequence = static_cast<quint32>(-100);
    quint32 _ticketsIssued = 0;
    qint64 _bytes = 0; // of the blocks in _entries
    Figures _figures;
    bool _cutShort = false;
    bool _ended = false;
    bool _closed = false;
};

#endif
