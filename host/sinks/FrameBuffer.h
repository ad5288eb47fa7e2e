#ifndef HOST_SINKS_FRAMEBUFFER_H
#define HOST_SINKS_FRAMEBUFFER_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>

#include "interfaces/AudioSampleHandle.h"
#include "interfaces/VideoFrameHandle.h"
#include "queues/Gate.h"

/// What becomes of a frame that finds a buffer full.
enum class Overflow {
    CloseGate, // it is taken, because a packet may yield several frames; a closed gate keeps more from being decoded
    DropOldest // it takes the place of the oldest one, which is counted
};

/// The frames of a stream that wait for one reader. Shared by the sink that fills it and whoever reads it. Thread-safe;
/// each frame is given out once. Its lock is held for moments only, and never while a frame's memory is given back.
///
/// It lives in three steps: frames come and go; it has ended, and what is there can still be read; it is empty for
/// good.
template <class Handle>
class FrameBuffer final {
public:
    using Instant = std::chrono::steady_clock::time_point;

    /// @param capacity at least 1. @param gate of the stream's decoder; may be null with Overflow::DropOldest.
    FrameBuffer(int capacity, Overflow overflow, std::shared_ptr<Gate> gate);
    /// Lets go of the gate.
    ~FrameBuffer();
    FrameBuffer(const FrameBuffer &) = delete;
    FrameBuffer &operator=(const FrameBuffer &) = delete;

    /// Adds @p frame, which is not null, behind the others; does nothing once the buffer has ended. Never waits.
    /// Running out of memory ends the process, because output queues must not throw.
    void push(const Handle &frame) noexcept;

    /// Waits for a frame, no longer than @p until, if given. @return the oldest frame; nothing when none came in time
    /// or none will come, which hasEnded() tells.
    std::optional<Handle> take(std::optional<Instant> until = std::nullopt);
    /// Does not wait.
    std::optional<Handle> tryTake();

    /// @return whether take() would not wait: a frame is there, or none will come.
    [[nodiscard]] bool isReadable() const;
    /// Has @p call called whenever the buffer becomes readable, and now if it is. It is called without the lock, by
    /// push(), end() and close(), so it must neither wait nor throw. To be called once.
    void callWhenReadable(std::function<void()> call);

    /// No more frames will come. Those that are there can still be taken.
    void end();
    /// Ends it and drops all frames, so that the gate is not held closed, and nobody waits any more.
    void close();
    /// Whether nothing can be taken from now on.
    [[nodiscard]] bool hasEnded() const;

    /// @return how many frames were pushed before the end. Wait-free.
    [[nodiscard]] std::int64_t frames() const { return _frames.load(std::memory_order_relaxed); }
    /// @return how many of them had to make room for others. Wait-free.
    [[nodiscard]] std::int64_t dropped() const { return _dropped.load(std::memory_order_relaxed); }

    /// @return a file descriptor that is readable whenever take() would not wait, or one line that says why there is
    ///         none. It belongs to the buffer, and is for waiting only. Made at the first call; a buffer that is never
    ///         asked makes no system calls.
    [[nodiscard]] std::variant<int, std::string> descriptor();

private:
    std::optional<Handle> takeLocked();
    bool isReadableLocked() const { return _hasEnded || !_waiting.empty(); }
    void adjustGateLocked();
    void showLocked();
    const std::function<void()> *callOfLocked(bool wasReadable) const;

    const std::size_t _capacity;
    const Overflow _overflow;
    Gate::Output _gateOutput; // set under _mutex

    std::atomic<std::int64_t> _frames{0};
    std::atomic<std::int64_t> _dropped{0};

    mutable std::mutex _mutex; // guards all that follows
    std::condition_variable _readable;
    std::function<void()> _whenReadable; // constant once it is not empty, so that it can be called without the lock
    std::deque<Handle> _waiting;
    bool _hasEnded = false;
    int _descriptor = -1;          // -1: nobody has asked for it
    bool _descriptorShows = false; // it is readable
};

using PictureBuffer = FrameBuffer<VideoFrameHandle>;
using SamplesBuffer = FrameBuffer<AudioSampleHandle>;

#endif
