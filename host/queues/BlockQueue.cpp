#include "queues/BlockQueue.h"

#include <algorithm>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;

constexpr quint32 maxBehind = quint32(1) << 31;

qint64 millisecondsSince(Clock::time_point instant)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - instant).count();
}

} // namespace

BlockQueue::BlockQueue(int readerCount, Limits limits, std::shared_ptr<ChangeNote> changes, quint64 blocksBefore)
    : _limits(limits)
    , _changes(std::move(changes))
    , _readers(static_cast<std::size_t>(readerCount))
{
    _figures.blocks = blocksBefore;
}

bool BlockQueue::readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                           QueueCursor *cursor, void * /*reserved1*/, void * /*reserved2*/, quint32 *lost,
                           qint64 *latency) noexcept
{
    // What the caller held before and what every reader has passed is freed after the lock is given back.
    std::vector<Entry> passed;
    Entry entry;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (_closed)
            return false;
        const quint32 sequence = advanceLocked(*cursor);
        passed = takePassedLocked();
        if (!passed.empty() && _ended && _entries.empty())
            ChangeNote::set(_changes);
        const quint32 index = sequence - _firstSequence;
        if (index == heldBlocksLocked())
            return false;

        _entries[index].latencyMs = millisecondsSince(_entries[index].appended);
        entry = _entries[index];
        *lost = lostLocked(*cursor);
        cursor->word0 = sequence + 1;
        cursor->word1 = cursor->flag ? ++_ticketsIssued : cursor->word1;
        cursor->flag = false;
    }
    *data = std::move(entry.block.data);
    *streamId = entry.block.streamId;
    *keyBlock = entry.block.keyBlock;
    *timestamp = entry.block.timestamp;
    *blockTime = entry.block.blockTimeMs;
    *latency = entry.latencyMs;
    return true;
}

bool BlockQueue::append(const Block &block)
{
    const bool endsStream = block.data.isEmpty();
    std::unique_lock<std::mutex> lock(_mutex);
    const auto refused = [this, endsStream] { return _closed || _ended || (_cutShort && !endsStream); };
    _room.wait(lock, [&] { return refused() || endsStream || hasRoomLocked(block); });
    if (refused())
        return false;

    _entries.push_back({block, Clock::now(), 0});
    _bytes += block.data.size();
    ++_figures.blocks;
    _figures.bytes += static_cast<quint64>(block.data.size());
    _figures.peakBlocks = std::max(_figures.peakBlocks, static_cast<int>(_entries.size()));
    _figures.peakBytes = std::max(_figures.peakBytes, _bytes);
    lock.unlock();
    ChangeNote::set(_changes);
    return true;
}

void BlockQueue::cutShort()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _cutShort = true;
    _room.notify_one();
}

void BlockQueue::end()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _ended = true;
    ChangeNote::set(_changes);
}

void BlockQueue::close()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _closed = true;
    _room.notify_one();
}

bool BlockQueue::isDrained() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _ended && _entries.empty();
}

bool BlockQueue::isEmpty() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _entries.empty();
}

BlockQueue::Figures BlockQueue::figures() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _figures;
}

bool BlockQueue::hasRoomLocked(const Block &block) const
{
    return _entries.empty() ||
           (static_cast<int>(_entries.size()) < _limits.blocks && _bytes + block.data.size() <= _limits.bytes);
}

/// Whether it is worth waking a writer that waits, instead of once for each block.
bool BlockQueue::hasMuchRoomLocked() const
{
    return 4 * qint64(_entries.size()) <= 3 * qint64(_limits.blocks) && 4 * _bytes <= 3 * _limits.bytes;
}

/// @return the counted reader that holds @p ticket; null when nobody was given it, or when it came too late to be
///         counted.
BlockQueue::Reader *BlockQueue::readerLocked(quint32 ticket)
{
    if (ticket == 0 || ticket > _ticketsIssued)
        return nullptr;
    const auto withTicket = [this](quint32 wanted) {
        const auto found = std::find_if(_readers.begin(), _readers.end(),
                                        [wanted](const Reader &reader) { return reader.ticket == wanted; });
        return found == _readers.end() ? nullptr : &*found;
    };
    if (Reader *const known = withTicket(ticket))
        return known;
    Reader *const free = withTicket(0);
    if (free)
        *free = {ticket, _firstSequence};
    return free;
}

void BlockQueue::noteLatencyLocked(qint64 latencyMs)
{
    ++_figures.reads;
    _figures.latencySumMs += latencyMs;
    _figures.lastLatencyMs = latencyMs;
    _figures.maxLatencyMs = std::max(_figures.maxLatencyMs, latencyMs);
}

/// Notes how far the reader with @p cursor has come. @return the sequence number that it is to be served.
quint32 BlockQueue::advanceLocked(const QueueCursor &cursor)
{
    const quint32 index = cursor.word0 - _firstSequence;
    if (cursor.flag || index > heldBlocksLocked())
        return _firstSequence;
    Reader *const reader = readerLocked(cursor.word1);
    // An old copy of the cursor reads again, but does not bring back what was passed.
    if (!reader || index <= reader->position - _firstSequence)
        return cursor.word0;
    for (; reader->position != cursor.word0; ++reader->position)
        noteLatencyLocked(_entries[reader->position - _firstSequence].latencyMs);
    return cursor.word0;
}

/// @return how many blocks that are gone @p cursor stands before.
quint32 BlockQueue::lostLocked(const QueueCursor &cursor) const
{
    // Numbers wrap: a cursor before a later block than the oldest seems to be far behind.
    const quint32 behind = _firstSequence - cursor.word0;
    const bool wasThere = behind < maxBehind && behind <= _figures.blocks - heldBlocksLocked();
    return !cursor.flag && wasThere ? behind : 0;
}

/// Takes the blocks out that every reader has read on past, and makes room for others.
std::vector<BlockQueue::Entry> BlockQueue::takePassedLocked()
{
    quint32 count = heldBlocksLocked();
    for (const Reader &reader : _readers)
        count = reader.ticket == 0 ? 0 : std::min(count, reader.position - _firstSequence);
    std::vector<Entry> passed;
    if (count == 0)
        return passed;

    const auto end = _entries.begin() + count;
    passed.assign(std::make_move_iterator(_entries.begin()), std::make_move_iterator(end));
    _entries.erase(_entries.begin(), end);
    _firstSequence += count;
    for (const Entry &entry : passed)
        _bytes -= entry.block.data.size();
    if (hasMuchRoomLocked())
        _room.notify_one();
    return passed;
}
