#ifndef HOST_SINKS_WRITEWATCH_H
#define HOST_SINKS_WRITEWATCH_H

#include <atomic>
#include <chrono>

/// What a sink knows of its writer while that waits for the system: a disk that hangs, a pipe that nobody reads. Shared
/// by both; thread-safe except for what is the writer's alone.
///
/// A writer may wait for as long as its input lives. Once whoever ended the input waits for the output, that has
/// `patience`: a pipe's writer then stops waiting by itself, and isStuck() reports a call that a disk does not return
/// from, so that the writer can be left behind in it.
class WriteWatch final {
public:
    using Clock = std::chrono::steady_clock;

    /// Enough for a disk that is busy, and less than people notice.
    static constexpr std::chrono::milliseconds patience{600};

    /// A call, of the writer, that may not return: as long as this object lives. They do not nest.
    class Call final {
    public:
        explicit Call(WriteWatch &watch)
            : _watch(watch)
        {
            _watch._callSince = Clock::now().time_since_epoch().count();
        }
        ~Call() { _watch._callSince = none; }
        Call(const Call &) = delete;
        Call &operator=(const Call &) = delete;

    private:
        WriteWatch &_watch;
    };

    /// From now on the writer has its patience, and no more.
    void hurry();
    /// @return whether the writer has been in one call for longer than it may.
    [[nodiscard]] bool isStuck(Clock::time_point now) const;

    /// For the writer: it has waited @p time for a reader. @return whether it may wait on.
    [[nodiscard]] bool mayWaitOn(std::chrono::nanoseconds time);
    /// Whether mayWaitOn() has refused.
    [[nodiscard]] bool hasGivenUp() const { return _hasGivenUp; }

private:
    using Ticks = Clock::rep; // since the clock's beginning
    static constexpr Ticks none = 0;

    std::atomic<Ticks> _callSince{none};
    std::atomic<Ticks> _hurriedSince{none};
    std::atomic<bool> _hasGivenUp{false};
    std::chrono::nanoseconds _waited{0}; // of the writer, since hurry()
};

#endif
