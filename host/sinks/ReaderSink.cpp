#include "sinks/ReaderSink.h"

#include <utility>

#include "sinks/RecordSize.h"

namespace {

/// Adds to a count that decoders write and others read: nothing else depends on it.
void add(std::atomic<quint64> &count, quint64 number)
{
    count.fetch_add(number, std::memory_order_relaxed);
}

} // namespace

template <class Queue, class Handle, class Header>
ReaderSink<Queue, Handle, Header>::ReaderSink(std::string name, std::shared_ptr<FrameBuffer<Handle>> buffer,
                                              std::shared_ptr<ChangeNote> changes)
    : _name(std::move(name))
    , _buffer(std::move(buffer))
    , _changes(std::move(changes))
{
}

template <class Queue, class Handle, class Header>
ReaderSink<Queue, Handle, Header>::~ReaderSink()
{
    _buffer->end();
}

template <class Queue, class Handle, class Header>
void ReaderSink<Queue, Handle, Header>::push(const Handle &record, qint64 /*timestamp*/, qint64 /*blockTime*/)
{
    if (record.isNull()) {
        add(_nullBlocks, 1);
        return;
    }
    if (_records.fetch_add(1, std::memory_order_relaxed) == 0)
        ChangeNote::set(_changes);
    const Header *const header = Header::of(*record);
    if (!header) {
        noteForeign();
        return;
    }
    add(_bytes, recordSize(*record, *header));
    if (header->flags & Header::Damaged)
        add(_damaged, 1);
    _buffer->push(record);
}

template <class Queue, class Handle, class Header>
ISink::Status ReaderSink<Queue, Handle, Header>::status() const
{
    Status status;
    status.records = _records.load(std::memory_order_relaxed);
    status.damaged = _damaged.load(std::memory_order_relaxed);
    status.foreign = _foreign.load(std::memory_order_relaxed);
    status.nullBlocks = _nullBlocks.load(std::memory_order_relaxed);
    status.bytes = _bytes.load(std::memory_order_relaxed);
    status.dropped = static_cast<quint64>(_buffer->dropped());
    const std::lock_guard<std::mutex> lock(_mutex);
    status.error = _error;
    return status;
}

template <class Queue, class Handle, class Header>
void ReaderSink<Queue, Handle, Header>::end()
{
    _buffer->end();
}

template <class Queue, class Handle, class Header>
void ReaderSink<Queue, Handle, Header>::noteForeign()
{
    if (_foreign.fetch_add(1, std::memory_order_relaxed) > 0)
        return;
    const std::lock_guard<std::mutex> lock(_mutex);
    _error = _name + ": a record is not of this host's codec decoders, so it cannot be read";
}

template class ReaderSink<IVideoOutputQueue, VideoFrameHandle, PictureHeader>;
template class ReaderSink<IAudioOutputQueue, AudioSampleHandle, SamplesHeader>;
