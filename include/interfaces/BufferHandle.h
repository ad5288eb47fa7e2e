#ifndef INTERFACES_BUFFERHANDLE_H
#define INTERFACES_BUFFERHANDLE_H

#include <utility>

/// Owning handle to a decoded record that carries its own reference count: one pointer wide, so that a record goes to
/// any number of consumers without a copy. The last handle gives the record's data back and deletes the record.
/// Different handles to one record may be used from different threads at once; one handle object is reentrant only.
template <class Buffer>
class BufferHandle {
public:
    /// A null handle.
    BufferHandle() noexcept = default;

    /// One more reference to @p record, which is null, freshly made with `new` (its count is 0), or held by other
    /// handles.
    explicit BufferHandle(Buffer *record) noexcept
        : _record(record)
    {
        if (_record)
            _record->refCount.fetch_add(1);
    }

    BufferHandle(const BufferHandle &other) noexcept
        : BufferHandle(other._record)
    {
    }

    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the copy keeps the record
    BufferHandle &operator=(const BufferHandle &other) noexcept
    {
        BufferHandle copy(other);
        std::swap(_record, copy._record);
        return *this;
    }

    ~BufferHandle()
    {
        if (!_record || _record->refCount.fetch_sub(1) != 1)
            return;
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): the analyzer does not count with atomic numbers
        _record->giveBackData();
        delete _record;
    }

    bool isNull() const noexcept { return !_record; }
    Buffer *operator->() const noexcept { return _record; }
    Buffer &operator*() const noexcept { return *_record; }
    /// The record without a reference of its own; null for a null handle.
    Buffer *data() const noexcept { return _record; }

private:
    Buffer *_record = nullptr;
};

#endif
