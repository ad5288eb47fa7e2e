#include "queues/LiveQueue.h"

#include <algorithm>
#include <utility>

namespace {

// A cursor's words, low word first, hold a number, which no stream lives long enough to exceed, and a reader's ticket.
constexpr unsigned wordBits = 32;
constexpr unsigned numberBits = 48;

quint64 positionOf(const QueueCursor &cursor)
{
    const quint64 words = quint64(cursor.word1) << wordBits | cursor.word0;
    return words & ((quint64(1) << numberBits) - 1);
}

quint16 ticketOf(const QueueCursor &cursor)
{
    return static_cast<quint16>(cursor.word1 >> (numberBits - wordBits));
}

QueueCursor cursorAt(quint64 position, quint16 ticket)
{
    const quint64 words = quint64(ticket) << numberBits | position;
    return {static_cast<quint32>(words), static_cast<quint32>(words >> wordBits), false};
}

bool endsStream(const LiveQueue::Block &block)
{
    return block.data.isEmpty();
}

qint64 milliseconds(std::chrono::steady_clock::duration duration)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
}

} // namespace

LiveQueue::LiveQueue(Limits limits, Clock clock, std::shared_ptr<ChangeNote> changes)
    : _limits(limits)
    , _clock(std::move(clock))
    , _changes(std::move(changes))
{
}

bool LiveQueue::readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                          QueueCursor *cursor, void * /*reserved1*/, void * /*reserved2*/, quint32 *lost,
                          qint64 *latency) noexcept
{
    Gone gone;
    Entry entry;
    quint64 position = 0;
    {
        std::unique_lock<std::mutex> lock(_mutex);
        if (_closed)
            return false;
        const quint16 ticket = ticketOf(*cursor);
        const bool isNew = cursor->flag || ticket == 0 || positionOf(*cursor) > _nextNumber;
        if (!isNew && ticket != _lastTicket) {
            const bool isReported = std::exchange(_isSecondReaderReported, true);
            lock.unlock();
            if (!isReported)
                qWarning("Two decoders read one queue of a live stream. The first gets nothing more: "
                         "each needs a queue of its own.");
            return false;
        }
        position = isNew ? _takenUpTo : positionOf(*cursor);
        if (!isNew)
            takeUpToLocked(position, gone);
        if (!giveOutLocked(isNew, position, gone))
            return false;
        _given->latencyMs = milliseconds(_clock() - _given->appended);
        entry = *_given;
        if (isNew && ++_lastTicket == 0)
            ++_lastTicket;
        *cursor = cursorAt(entry.number + 1, _lastTicket);
    }
    *data = std::move(entry.block.data);
    *streamId = entry.block.streamId;
    *keyBlock = entry.block.keyBlock;
    *timestamp = entry.block.timestamp;
    *blockTime = entry.block.blockTimeMs;
    *lost = static_cast<quint32>(entry.number - position);
    *latency = entry.latencyMs;
    return true;
}

bool LiveQueue::append(const Block &block)
{
    Gone gone;
    const std::lock_guard<std::mutex> lock(_mutex);
    const bool saysNothing = endsStream(block) && (_unread.empty() ? _streamEnded : endsStream(_unread.back().block));
    if (_closed || _ended || saysNothing)
        return false;

    const Instant now = _clock();
    const quint64 number = _nextNumber + block.lostBefore;
    _nextNumber = number + 1;
    if (!endsStream(block)) {
        if (!makeRoomLocked(block, now, gone)) {
            _figures.late += _restIsLate ? 1 : 0;
            return false;
        }
        ++_unreadBlocks;
        _unreadBytes += block.data.size();
        _figures.bytes += static_cast<quint64>(block.data.size());
    }
    _keyBlockWanted = endsStream(block);
    _restIsLate = false;
    _streamEnded = endsStream(block);
    _unread.push_back({block, number, now, 0});
    notePeaksLocked();
    ChangeNote::set(_changes);
    return true;
}

void LiveQueue::end()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _ended = true;
    ChangeNote::set(_changes);
}

void LiveQueue::close()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _closed = true;
}

bool LiveQueue::isDrained() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _ended && !_given && _unread.empty();
}

LiveQueue::Figures LiveQueue::figures() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    Figures figures = _figures;
    figures.blocks = _nextNumber;
    figures.heldBlocks = static_cast<int>(_unread.size()) + (_given ? 1 : 0);
    figures.heldBytes = _unreadBytes + (_given ? _given->block.data.size() : 0);
    figures.lost = figures.blocks - figures.taken - static_cast<quint64>(figures.heldBlocks);
    const auto oldest = oldestWithDataLocked();
    figures.waitingMs = oldest == _unread.end() ? 0 : milliseconds(_clock() - oldest->appended);
    return figures;
}

/// The reader is done with all blocks before @p position.
void LiveQueue::takeUpToLocked(quint64 position, Gone &gone)
{
    const std::size_t goneBefore = gone.size();
    if (_given && _given->number < position) {
        ++_figures.taken;
        _figures.latencyMs = _given->latencyMs;
        _figures.latencySumMs += _given->latencyMs;
        _figures.worstLatencyMs = std::max(_figures.worstLatencyMs, _given->latencyMs);
        gone.push_back(*std::exchange(_given, std::nullopt));
    }
    // Only where another reader is ahead of this one.
    while (!_unread.empty() && _unread.front().number < position)
        gone.push_back(takeFirstUnreadLocked());
    _takenUpTo = std::max(_takenUpTo, position);
    if (gone.size() > goneBefore && _ended && !_given && _unread.empty())
        ChangeNote::set(_changes);
}

/// @return whether a reader at @p position may go on with @p entry, which it has not read yet; one that @p isNew begins
///         with it.
bool LiveQueue::suits(const Entry &entry, bool isNew, quint64 position)
{
    const bool follows = !isNew && entry.number - entry.block.lostBefore <= position;
    return follows || entry.block.keyBlock || endsStream(entry.block);
}

/// Sees to it that the block for a reader at @p position is the given one. @return false when it finds none.
bool LiveQueue::giveOutLocked(bool isNew, quint64 position, Gone &gone)
{
    if (_given && suits(*_given, isNew, position))
        return true;
    const auto next =
        std::find_if(_unread.begin(), _unread.end(), [&](const Entry &entry) { return suits(entry, isNew, position); });
    if (next == _unread.end())
        return false;

    if (_given)
        gone.push_back(*std::exchange(_given, std::nullopt));
    for (auto skipped = next - _unread.begin(); skipped > 0; --skipped)
        gone.push_back(takeFirstUnreadLocked());
    _given = takeFirstUnreadLocked();
    return true;
}

/// @return whether there is room for @p block now; otherwise it is to be refused.
bool LiveQueue::makeRoomLocked(const Block &block, Instant now, Gone &gone)
{
    while (isFullLocked(block, now)) {
        dropOldestGroupLocked(gone);
        _keyBlockWanted = _keyBlockWanted || _unreadBlocks == 0;
        _restIsLate = _restIsLate || _unreadBlocks == 0;
    }
    return block.keyBlock || !_keyBlockWanted;
}

bool LiveQueue::isFullLocked(const Block &block, Instant now) const
{
    const auto oldest = oldestWithDataLocked();
    return oldest != _unread.end() &&
           (_unreadBlocks >= _limits.blocks || _unreadBytes + block.data.size() > _limits.bytes ||
            now - oldest->appended > _limits.age);
}

/// Drops everything before the key block that follows the oldest block with data, but the last empty block among it.
void LiveQueue::dropOldestGroupLocked(Gone &gone)
{
    const auto next = std::find_if(oldestWithDataLocked() + 1, _unread.cend(),
                                   [](const Entry &entry) { return entry.block.keyBlock; });
    std::optional<Entry> end;
    for (auto left = next - _unread.cbegin(); left > 0; --left) {
        Entry entry = takeFirstUnreadLocked();
        if (endsStream(entry.block)) {
            end = std::move(entry);
        } else {
            gone.push_back(std::move(entry));
            ++_figures.late;
        }
    }
    if (end)
        _unread.push_front(std::move(*end));
}

LiveQueue::Entry LiveQueue::takeFirstUnreadLocked()
{
    Entry entry = std::move(_unread.front());
    _unread.pop_front();
    if (!endsStream(entry.block)) {
        --_unreadBlocks;
        _unreadBytes -= entry.block.data.size();
    }
    return entry;
}

void LiveQueue::notePeaksLocked()
{
    const int given = _given ? 1 : 0;
    _figures.peakBlocks = std::max(_figures.peakBlocks, static_cast<int>(_unread.size()) + given);
    _figures.peakBytes = std::max(_figures.peakBytes, _unreadBytes + (_given ? _given->block.data.size() : 0));
}

LiveQueue::Entries::const_iterator LiveQueue::oldestWithDataLocked() const
{
    return std::find_if(_unread.begin(), _unread.end(), [](const Entry &entry) { return !endsStream(entry.block); });
}
