#ifndef HOST_QUEUES_LIVEQUEUE_H
#define HOST_QUEUES_LIVEQUEUE_H

#include <QByteArray>

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "interfaces/IInputQueue.h"
#include "media/ChangeNote.h"

/// The queue between one stream of a live source and the stream decoder that reads it. The writer never waits: when the
/// queue is full the oldest group of pictures goes, which `lost` tells the reader. Shared by ModkitPtr; all operations
/// are thread-safe.
///
/// The queue is full while it holds as many blocks as it may, while the new block's bytes would be too many and others
/// are there, or while the oldest block has waited too long, so that a slow reader does not fall further and further
/// behind. Then everything before the next key block goes, group by group, until there is room. Where every block is a
/// key block, as with sound, a group is one block. Where no key block follows, everything goes, and what comes is
/// refused until a key block comes. So the first block after a gap that the queue has made is a key block, or an empty
/// block with a key block behind it. `lost` counts what the source reports lost, too, but what follows it is passed on.
///
/// Each block has a number, in the order of their appending, and so has each lost one. A cursor holds the number that
/// it stands before, and `lost` is the distance from there to the block that is read: it counts what was dropped,
/// refused and lost before its arrival, to the block. The last block that was given out stays until its reader comes
/// back for the next one, and does not count for the limits: a reader that declines it reads the same again.
///
/// Empty blocks, which end the life of a codec decoder, take no room and are never dropped, except that of several with
/// nothing left between them the last one does for all: a decoder is drained although the pictures before the break are
/// gone, and does not hold back its last ones while the connection is down. Behind an empty block, as at the beginning,
/// only a key block is taken.
///
/// It serves one reader at a time: for several decoders of a live stream, append each block to as many queues; they
/// share its bytes. A reader that follows another one begins at the oldest key or empty block that is held, and `lost`
/// counts what went since the other one's last block. Should the other one come back, it is given nothing more, and a
/// Qt warning says why, once.
class LiveQueue final : public IInputQueue {
public:
    using Instant = std::chrono::steady_clock::time_point;
    using Clock = std::function<Instant()>;

    struct Block {
        QByteArray data; // empty: ends the stream
        quint32 streamId = 0;
        bool keyBlock = false;
        qint64 timestamp = 0;
        qint64 blockTimeMs = 0;
        quint32 lostBefore = 0; // blocks that the source knows to be missing between the one before and this one
    };

    /// Of the blocks that were not given out yet. One block is taken whatever its size.
    struct Limits {
        int blocks = 256; // at least 1
        qint64 bytes = qint64(32) << 20;
        std::chrono::milliseconds age{400};
    };

    /// `blocks` is at all times the sum of the taken, the lost and the held ones.
    struct Figures {
        quint64 blocks = 0; // that were appended or lost before, and the bytes of those appended
        quint64 bytes = 0;
        quint64 taken = 0; // by the reader, which has come back for another one
        quint64 lost = 0;  // dropped, refused, or lost before they came
        quint64 late = 0;  // of them: dropped because the reader was too slow, or refused as what follows those
        int heldBlocks = 0;
        qint64 heldBytes = 0;
        int peakBlocks = 0; // that were held at one time
        qint64 peakBytes = 0;
        qint64 latencyMs = 0;      // of the block taken last
        qint64 latencySumMs = 0;   // of all blocks taken
        qint64 worstLatencyMs = 0; // of them
        qint64 waitingMs = 0;      // how long the oldest block that was not given out has waited
    };

    /// @param clock answers the present; thread-safe, and called under the queue's lock.
    /// @param changes set when a block came, when it has ended and when it is drained; may be null.
    explicit LiveQueue(Limits limits, Clock clock = std::chrono::steady_clock::now,
                       std::shared_ptr<ChangeNote> changes = {});

    /// Never waits for the writer, except while it holds the lock for a moment. Running out of memory ends the
    /// process, because the interface allows no exception. A cursor that stands nowhere in the queue goes on at the
    /// next key block.
    /// @param cursor a fresh one that is given a block begins a new reader, who follows the one before.
    /// @param latency milliseconds since the block was appended.
    bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                   QueueCursor *cursor, void *reserved1, void *reserved2, quint32 *lost,
                   qint64 *latency) noexcept override;

    /// Adds @p block behind the others; never waits. An empty block where nothing came since another one changes
    /// nothing and is not counted.
    /// @return whether it was added; otherwise it was refused and is lost, or the queue has ended or is closed.
    bool append(const Block &block);

    /// No more blocks will come.
    void end();

    /// Takes no more blocks and gives none out. The blocks go with the queue.
    void close();

    /// @return whether the queue has ended and its reader has come back for more after the last block.
    [[nodiscard]] bool isDrained() const;

    [[nodiscard]] Figures figures() const;

private:
    struct Entry {
        Block block;
        quint64 number = 0;
        Instant appended;
        qint64 latencyMs = 0; // of its last read
    };
    using Entries = std::deque<Entry>;
    /// What a call has taken out, to be freed after the lock is given back.
    using Gone = std::vector<Entry>;

    void takeUpToLocked(quint64 position, Gone &gone);
    static bool suits(const Entry &entry, bool isNew, quint64 position);
    bool giveOutLocked(bool isNew, quint64 position, Gone &gone);
    bool makeRoomLocked(const Block &block, Instant now, Gone &gone);
    bool isFullLocked(const Block &block, Instant now) const;
    void dropOldestGroupLocked(Gone &gone);
    Entry takeFirstUnreadLocked();
    void notePeaksLocked();
    Entries::const_iterator oldestWithDataLocked() const;

    const Limits _limits;
    const Clock _clock;
    const std::shared_ptr<ChangeNote> _changes;

    mutable std::mutex _mutex;   // guards all that follows
    std::optional<Entry> _given; // out to the reader, which has not come back for what follows
    Entries _unread;             // not given out; their numbers rise
    int _unreadBlocks = 0;       // of those, the ones with data, and their bytes
    qint64 _unreadBytes = 0;
    quint64 _nextNumber = 0;
    quint16 _lastTicket = 0; // in the cursors of the reader that began last
    bool _isSecondReaderReported = false;
    quint64 _takenUpTo = 0;      // the reader is done with all numbers before this one
    bool _keyBlockWanted = true; // until one comes, all other blocks with data are refused
    bool _restIsLate = false;    // and those are refused as the rest of a group that was dropped
    bool _streamEnded = true;    // the block that was added last is empty, or none was
    bool _ended = false;
    bool _closed = false;
    Figures _figures; // without those that figures() works out
};

#endif
