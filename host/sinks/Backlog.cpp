#include "sinks/Backlog.h"

#include <algorithm>
#include <utility>
#include <variant>

namespace {

constexpr std::chrono::milliseconds completionInterval(20);

std::string counted(int records, const PictureHeader * /*kind*/)
{
    return records == 1 ? "frame" : std::to_string(records) + " frames";
}

std::string counted(int records, const SamplesHeader * /*kind*/)
{
    return records == 1 ? "run of samples" : std::to_string(records) + " runs of samples";
}

} // namespace

template <class Handle, class Header>
Backlog<Handle, Header>::Backlog(std::unique_ptr<Writer> writer, SinkLimits limits, std::shared_ptr<WriteWatch> watch,
                                 std::shared_ptr<SinkWorkers::Pool> workers, std::shared_ptr<ChangeNote> changes)
    : _writer(std::move(writer))
    , _target(_writer->target())
    , _limits(std::move(limits))
    , _watch(std::move(watch))
    , _workers(std::move(workers))
    , _changes(std::move(changes))
    , _gateOutput(_limits.gate, _limits.records)
{
}

template <class Handle, class Header>
Backlog<Handle, Header>::~Backlog() = default;

template <class Handle, class Header>
void Backlog<Handle, Header>::begin()
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _isScheduled = true;
    }
    schedule();
}

template <class Handle, class Header>
void Backlog<Handle, Header>::push(const Handle &record, quint64 size, qint64 blockTimeMs)
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (_hasFailed || _isLeftBehind) {
            if (!record.isNull())
                ++(_hasFailed ? _failed : _dropped);
            return;
        }
        if (_isEnding) {
            if (!_error)
                _error = _target + ": a record came after the end, so it was not written";
            return;
        }
        if (!_limits.gate && !record.isNull() && !hasRoomLocked(size)) {
            ++_dropped;
            return;
        }
        _waiting.push_back({record, size, blockTimeMs});
        ++_pendingRecords;
        _pendingBytes += size;
        _lastSize = size > 0 ? size : _lastSize;
        adjustGateLocked();
        if (std::exchange(_isScheduled, true))
            return;
    }
    schedule();
}

template <class Handle, class Header>
bool Backlog<Handle, Header>::hasRoomLocked(quint64 size) const
{
    return _pendingRecords == 0 || (_pendingRecords < _limits.records && _pendingBytes + size <= _limits.bytes);
}

/// @return how many more records are taken, however small the first one.
template <class Handle, class Header>
int Backlog<Handle, Header>::roomLocked() const
{
    if (!hasRoomLocked(1))
        return 0;
    const int records = std::max(_limits.records - _pendingRecords, 1);
    if (_lastSize == 0)
        return records;
    const quint64 bytes = _limits.bytes - std::min(_limits.bytes, _pendingBytes);
    return static_cast<int>(std::clamp<quint64>(bytes / _lastSize, 1, static_cast<quint64>(records)));
}

/// Tells the decoder how many records there is room for. The gate is closed while there is no room for one more.
template <class Handle, class Header>
void Backlog<Handle, Header>::adjustGateLocked()
{
    if (!_limits.gate)
        return;
    const int room = roomLocked();
    _gateOutput.setRoom(room);
    if ((room > 0) == !_closedSince)
        return;
    const Instant now = std::chrono::steady_clock::now();
    if (_closedSince) {
        _closedFor += now - *_closedSince;
        _closedSince.reset();
    } else {
        ++_closings;
        _closedSince = now;
    }
}

/// Has the workers do the steps that there are. @return false once they have ended.
template <class Handle, class Header>
bool Backlog<Handle, Header>::schedule()
{
    return SinkWorkers::schedule(*_workers, this->shared_from_this());
}

template <class Handle, class Header>
void Backlog<Handle, Header>::end()
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (std::exchange(_isEnding, true) || std::exchange(_isScheduled, true))
            return;
    }
    if (schedule())
        return;
    while (step()) {
    }
}

template <class Handle, class Header>
bool Backlog<Handle, Header>::step()
{
    std::deque<Record> unwritten; // freed after the lock is given back
    std::unique_lock<std::mutex> lock(_mutex);
    if (!_hasBegun) {
        lock.unlock();
        const std::optional<std::string> error = _writer->create();
        lock.lock();
        _hasBegun = true;
        if (error)
            failLocked(*error, unwritten);
        ChangeNote::set(_changes);
    } else if (!_waiting.empty()) {
        Record record = std::move(_waiting.front());
        _waiting.pop_front();
        write(std::move(record), lock, unwritten);
    } else if (_isEnding && !_hasEnded) {
        lock.unlock();
        const std::optional<std::string> error = _writer->finish();
        lock.lock();
        _hasEnded = true;
        if (error)
            _failed += _writer->leftOut();
        if (error && !_error)
            _error = *error;
        _completed.notify_all();
        ChangeNote::set(_changes);
    }
    _isScheduled = !_isLeftBehind && (!_waiting.empty() || (_isEnding && !_hasEnded));
    return _isScheduled;
}

/// Writes @p record without the lock, and lets go of it.
template <class Handle, class Header>
void Backlog<Handle, Header>::write(Record record, std::unique_lock<std::mutex> &lock, std::deque<Record> &unwritten)
{
    lock.unlock();
    typename Writer::Result result = quint64(0);
    if (record.handle.isNull())
        _writer->noteBreak();
    else
        result = _writer->write(*Header::of(*record.handle), record.blockTimeMs);
    record.handle = Handle();
    lock.lock();
    if (_isLeftBehind)
        return;
    if (const std::string *const error = std::get_if<std::string>(&result)) {
        const quint64 leftOut = _writer->leftOut();
        if (leftOut == 0)
            return failLocked(*error, unwritten);
        _failed += leftOut;
        if (!_error)
            _error = *error;
        _isFailing = true;
        ChangeNote::set(_changes);
    } else {
        const quint64 size = std::get<quint64>(result);
        _bytesWritten += size;
        if (_isFailing && size > 0) {
            _isFailing = false;
            ChangeNote::set(_changes);
        }
    }
    --_pendingRecords;
    _pendingBytes -= record.size;
    adjustGateLocked();
}

/// From now on nothing is written any more.
template <class Handle, class Header>
void Backlog<Handle, Header>::failLocked(const std::string &error, std::deque<Record> &unwritten)
{
    if (_isLeftBehind)
        return;
    const bool isGivenUp = _watch->hasGivenUp();
    if (!_error)
        _error = isGivenUp ? lossLocked() : error;
    _hasFailed = _isFailing = true;
    dropAllLocked(unwritten, isGivenUp ? _dropped : _failed);
    ChangeNote::set(_changes);
}

/// @param count of those that are not written for the same reason.
template <class Handle, class Header>
void Backlog<Handle, Header>::dropAllLocked(std::deque<Record> &unwritten, quint64 &count)
{
    unwritten.swap(_waiting);
    count += static_cast<quint64>(_pendingRecords);
    _pendingRecords = 0;
    _pendingBytes = 0;
    adjustGateLocked();
}

/// @return what is wrong when the rest was given up.
template <class Handle, class Header>
std::string Backlog<Handle, Header>::lossLocked() const
{
    return _target + " did not take its last " +
           (_pendingRecords == 0 ? "bytes" : counted(_pendingRecords, static_cast<const Header *>(nullptr)));
}

template <class Handle, class Header>
bool Backlog<Handle, Header>::hasBegun() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _hasBegun;
}

template <class Handle, class Header>
bool Backlog<Handle, Header>::isComplete(Instant now)
{
    std::deque<Record> unwritten; // freed after the lock is given back
    const std::lock_guard<std::mutex> lock(_mutex);
    if (!_hasEnded && !_isLeftBehind && _watch->isStuck(now)) {
        if (!_error)
            _error = lossLocked();
        dropAllLocked(unwritten, _dropped);
        _isLeftBehind = true;
        _completed.notify_all();
    }
    return _hasEnded || _isLeftBehind;
}

template <class Handle, class Header>
bool Backlog<Handle, Header>::isLeftBehind(Instant now)
{
    static_cast<void>(isComplete(now));
    const std::lock_guard<std::mutex> lock(_mutex);
    return _isLeftBehind;
}

template <class Handle, class Header>
void Backlog<Handle, Header>::waitUntilComplete()
{
    while (!isComplete(std::chrono::steady_clock::now())) {
        std::unique_lock<std::mutex> lock(_mutex);
        _completed.wait_for(lock, completionInterval, [this] { return _hasEnded || _isLeftBehind; });
    }
}

template <class Handle, class Header>
void Backlog<Handle, Header>::describe(ISink::Status &status) const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    status.dropped = _dropped;
    status.bytesWritten = _bytesWritten;
    status.failed = _failed;
    status.failing = _isFailing;
    status.waits = _closings;
    std::chrono::nanoseconds waited = _closedFor;
    if (_closedSince)
        waited += std::chrono::steady_clock::now() - *_closedSince;
    status.waitedMs = std::chrono::duration<double, std::milli>(waited).count();
    if (!status.error)
        status.error = _error;
}

template class Backlog<VideoFrameHandle, PictureHeader>;
template class Backlog<AudioSampleHandle, SamplesHeader>;
