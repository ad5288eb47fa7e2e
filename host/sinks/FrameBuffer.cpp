#include "sinks/FrameBuffer.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <unistd.h>
#include <utility>

#include <sys/eventfd.h>

template <class Handle>
FrameBuffer<Handle>::FrameBuffer(int capacity, Overflow overflow, std::shared_ptr<Gate> gate)
    : _capacity(static_cast<std::size_t>(capacity))
    , _overflow(overflow)
    , _gateOutput(overflow == Overflow::CloseGate ? std::move(gate) : nullptr, capacity)
{
}

template <class Handle>
FrameBuffer<Handle>::~FrameBuffer()
{
    if (_descriptor >= 0)
        ::close(_descriptor);
}

template <class Handle>
void FrameBuffer<Handle>::push(const Handle &frame) noexcept
{
    Handle oldest; // freed after the lock is given back
    const std::function<void()> *call = nullptr;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (_hasEnded)
            return;
        const bool wasReadable = isReadableLocked();
        _frames.fetch_add(1, std::memory_order_relaxed);
        if (_overflow == Overflow::DropOldest && _waiting.size() >= _capacity) {
            oldest = _waiting.front();
            _waiting.pop_front();
            _dropped.fetch_add(1, std::memory_order_relaxed);
        }
        _waiting.push_back(frame);
        adjustGateLocked();
        showLocked();
        call = callOfLocked(wasReadable);
    }
    _readable.notify_one();
    if (call)
        (*call)();
}

template <class Handle>
std::optional<Handle> FrameBuffer<Handle>::take(std::optional<Instant> until)
{
    std::unique_lock<std::mutex> lock(_mutex);
    const auto isReadable = [this] { return isReadableLocked(); };
    if (until)
        _readable.wait_until(lock, *until, isReadable);
    else
        _readable.wait(lock, isReadable);
    return takeLocked();
}

template <class Handle>
std::optional<Handle> FrameBuffer<Handle>::tryTake()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return takeLocked();
}

template <class Handle>
std::optional<Handle> FrameBuffer<Handle>::takeLocked()
{
    if (_waiting.empty())
        return std::nullopt;
    std::optional<Handle> oldest = _waiting.front();
    _waiting.pop_front();
    adjustGateLocked();
    showLocked();
    return oldest;
}

template <class Handle>
bool FrameBuffer<Handle>::isReadable() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return isReadableLocked();
}

template <class Handle>
void FrameBuffer<Handle>::callWhenReadable(std::function<void()> call)
{
    bool isReadable = false;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _whenReadable = std::move(call);
        isReadable = isReadableLocked();
    }
    if (isReadable)
        _whenReadable();
}

template <class Handle>
void FrameBuffer<Handle>::end()
{
    const std::function<void()> *call = nullptr;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        const bool wasReadable = isReadableLocked();
        _hasEnded = true;
        showLocked();
        call = callOfLocked(wasReadable);
    }
    _readable.notify_all();
    if (call)
        (*call)();
}

template <class Handle>
void FrameBuffer<Handle>::close()
{
    std::deque<Handle> unread; // freed after the lock is given back
    const std::function<void()> *call = nullptr;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        const bool wasReadable = isReadableLocked();
        _hasEnded = true;
        unread.swap(_waiting);
        adjustGateLocked();
        showLocked();
        call = callOfLocked(wasReadable);
    }
    _readable.notify_all();
    if (call)
        (*call)();
}

template <class Handle>
bool FrameBuffer<Handle>::hasEnded() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _hasEnded && _waiting.empty();
}

template <class Handle>
std::variant<int, std::string> FrameBuffer<Handle>::descriptor()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (_descriptor < 0) {
        _descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        if (_descriptor < 0)
            return "no descriptor to wait for: " + std::generic_category().message(errno);
        showLocked();
    }
    return _descriptor;
}

/// Tells the stream's decoder how many frames there is room for.
template <class Handle>
void FrameBuffer<Handle>::adjustGateLocked()
{
    _gateOutput.setRoom(static_cast<int>(_capacity - std::min(_capacity, _waiting.size())));
}

/// Has the descriptor show whether there is something to take.
template <class Handle>
void FrameBuffer<Handle>::showLocked()
{
    if (_descriptor < 0 || _descriptorShows == isReadableLocked())
        return;
    _descriptorShows = !_descriptorShows;
    // Neither can fail: the count goes from 0 to 1 and back.
    eventfd_t count = 1;
    if (_descriptorShows)
        ::eventfd_write(_descriptor, count);
    else
        ::eventfd_read(_descriptor, &count);
}

/// @return what is to be called without the lock, after a change of a buffer that @p wasReadable or was not; may be
/// null.
template <class Handle>
const std::function<void()> *FrameBuffer<Handle>::callOfLocked(bool wasReadable) const
{
    return !wasReadable && isReadableLocked() && _whenReadable ? &_whenReadable : nullptr;
}

template class FrameBuffer<VideoFrameHandle>;
template class FrameBuffer<AudioSampleHandle>;
