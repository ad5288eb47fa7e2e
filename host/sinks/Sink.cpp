#include "sinks/Sink.h"

#include <chrono>
#include <optional>
#include <utility>
#include <variant>

#include "sinks/RecordSize.h"

template <class Queue, class Handle, class Header>
Sink<Queue, Handle, Header>::Sink(std::string name, std::unique_ptr<Writer> writer,
                                  std::shared_ptr<SinkWorkers::Worker> worker, SinkLimits limits)
    : _name(std::move(name))
    , _worker(std::move(worker))
    , _limits(limits)
    , _writer(std::move(writer))
{
}

template <class Queue, class Handle, class Header>
Sink<Queue, Handle, Header>::~Sink()
{
    finish();
}

template <class Queue, class Handle, class Header>
void Sink<Queue, Handle, Header>::push(const Handle &record, qint64 /*timestamp*/, qint64 blockTime)
{
    const Header *const header = record.isNull() ? nullptr : Header::of(*record);
    if (count(record, header))
        enqueue(header ? recordSize(*record, *header) : 0, [this, record, blockTime] { write(record, blockTime); });
}

/// @return whether the record, or null block, is one to write.
template <class Queue, class Handle, class Header>
bool Sink<Queue, Handle, Header>::count(const Handle &record, const Header *header)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (record.isNull()) {
        ++_status.nullBlocks;
    } else {
        ++_status.records;
        if (!header) {
            ++_status.foreign;
            noteErrorLocked(_name + ": a record is not of this host's codec decoders, so it cannot be written");
            return false;
        }
        _status.bytes += recordSize(*record, *header);
        if (header->flags & Header::Damaged)
            ++_status.damaged;
    }
    if (_failed && !record.isNull())
        ++_status.failed;
    return _writer && !_failed;
}

/// Posts @p job, which takes @p size bytes of memory, once there is room.
template <class Queue, class Handle, class Header>
void Sink<Queue, Handle, Header>::enqueue(quint64 size, std::function<void()> job)
{
    const auto hasRoom = [this, size] {
        return _waitsNoMore || _pendingRecords == 0 ||
               (_pendingRecords < _limits.records && _pendingBytes + size <= _limits.bytes);
    };
    {
        std::unique_lock<std::mutex> lock(_mutex);
        if (!hasRoom()) {
            const auto before = std::chrono::steady_clock::now();
            _changed.wait(lock, hasRoom);
            ++_status.waits;
            _status.waitedMs +=
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - before).count();
        }
        ++_pendingRecords;
        _pendingBytes += size;
        if (_finishing)
            noteErrorLocked(_name + ": a record came after the end, so it was not written");
    }
    const bool posted = _worker->post([this, size, job = std::move(job)] {
        job();
        const std::lock_guard<std::mutex> lock(_mutex);
        --_pendingRecords;
        _pendingBytes -= size;
        _changed.notify_all();
    });
    if (!posted) {
        const std::lock_guard<std::mutex> lock(_mutex);
        --_pendingRecords;
        _pendingBytes -= size;
        noteErrorLocked(_name + ": a record came after the end, so it was not written");
        _changed.notify_all();
    }
}

template <class Queue, class Handle, class Header>
void Sink<Queue, Handle, Header>::write(const Handle &record, qint64 blockTimeMs)
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (_failed || _ended) {
            if (!record.isNull())
                ++_status.failed;
            return;
        }
    }
    if (record.isNull()) {
        _writer->noteBreak();
        return;
    }
    const typename Writer::Result result = _writer->write(*Header::of(*record), blockTimeMs);
    const std::lock_guard<std::mutex> lock(_mutex);
    if (const quint64 *const bytes = std::get_if<quint64>(&result)) {
        _status.bytesWritten += *bytes;
        _status.failing = false;
    } else {
        ++_status.failed;
        _status.failing = true;
        _failed = !_writer->mayGoOn();
        noteErrorLocked(std::get<std::string>(result));
    }
}

template <class Queue, class Handle, class Header>
ISink::Status Sink<Queue, Handle, Header>::status() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _status;
}

template <class Queue, class Handle, class Header>
void Sink<Queue, Handle, Header>::waitNoMore()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _waitsNoMore = true;
    _changed.notify_all();
}

template <class Queue, class Handle, class Header>
void Sink<Queue, Handle, Header>::finish()
{
    if (!_writer)
        return;
    std::unique_lock<std::mutex> lock(_mutex);
    if (!std::exchange(_finishing, true)) {
        lock.unlock();
        const bool posted = _worker->post([this] { end(); });
        lock.lock();
        if (!posted) {
            // The worker has ended, or runs its last jobs.
            _changed.wait(lock, [this] { return _pendingRecords == 0; });
            lock.unlock();
            end();
            lock.lock();
        }
    }
    _changed.wait(lock, [this] { return _ended; });
}

template <class Queue, class Handle, class Header>
void Sink<Queue, Handle, Header>::end()
{
    const std::optional<std::string> error = _writer->finish();
    const std::lock_guard<std::mutex> lock(_mutex);
    if (error)
        noteErrorLocked(*error);
    _ended = true;
    _changed.notify_all();
}

template <class Queue, class Handle, class Header>
void Sink<Queue, Handle, Header>::noteErrorLocked(const std::string &error)
{
    if (!_status.error)
        _status.error = error;
}

template class Sink<IVideoOutputQueue, VideoFrameHandle, PictureHeader>;
template class Sink<IAudioOutputQueue, AudioSampleHandle, SamplesHeader>;
