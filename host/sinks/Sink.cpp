#include "sinks/Sink.h"

#include <utility>

#include "sinks/RecordSize.h"

template <class Queue, class Handle, class Header>
Sink<Queue, Handle, Header>::Sink(std::string name, std::shared_ptr<Backlog<Handle, Header>> backlog,
                                  std::shared_ptr<ChangeNote> changes)
    : _name(std::move(name))
    , _backlog(std::move(backlog))
    , _changes(std::move(changes))
{
    if (_backlog)
        _backlog->begin();
}

template <class Queue, class Handle, class Header>
Sink<Queue, Handle, Header>::~Sink()
{
    end();
    hurry();
}

template <class Queue, class Handle, class Header>
void Sink<Queue, Handle, Header>::push(const Handle &record, qint64 /*timestamp*/, qint64 blockTime)
{
    const Header *const header = record.isNull() ? nullptr : Header::of(*record);
    count(record, header);
    if (_backlog && (header || record.isNull()))
        _backlog->push(record, header ? recordSize(*record, *header) : 0, blockTime);
}

template <class Queue, class Handle, class Header>
void Sink<Queue, Handle, Header>::count(const Handle &record, const Header *header)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (record.isNull()) {
        ++_status.nullBlocks;
        return;
    }
    if (++_status.records == 1 || !header)
        ChangeNote::set(_changes);
    if (!header) {
        ++_status.foreign;
        if (!_status.error)
            _status.error = _name + ": a record is not of this host's codec decoders, so it cannot be written";
        return;
    }
    _status.bytes += recordSize(*record, *header);
    if (header->flags & Header::Damaged)
        ++_status.damaged;
}

template <class Queue, class Handle, class Header>
ISink::Status Sink<Queue, Handle, Header>::status() const
{
    Status status;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        status = _status;
    }
    if (_backlog)
        _backlog->describe(status);
    return status;
}

template <class Queue, class Handle, class Header>
void Sink<Queue, Handle, Header>::end()
{
    if (_backlog)
        _backlog->end();
}

template <class Queue, class Handle, class Header>
void Sink<Queue, Handle, Header>::hurry()
{
    if (_backlog)
        _backlog->hurry();
}

template <class Queue, class Handle, class Header>
bool Sink<Queue, Handle, Header>::isComplete(std::chrono::steady_clock::time_point now)
{
    return !_backlog || _backlog->isComplete(now);
}

template <class Queue, class Handle, class Header>
void Sink<Queue, Handle, Header>::finish()
{
    end();
    if (_backlog)
        _backlog->waitUntilComplete();
}

template class Sink<IVideoOutputQueue, VideoFrameHandle, PictureHeader>;
template class Sink<IAudioOutputQueue, AudioSampleHandle, SamplesHeader>;
