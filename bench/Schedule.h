#ifndef BENCH_SCHEDULE_H
#define BENCH_SCHEDULE_H

#include <chrono>

/// When the blocks of many streams of 25 frames a second arrive, their beginnings spread evenly over one frame's time.
/// Constant, so thread-safe.
class Schedule final {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds frameTime{40};

    Schedule(Clock::time_point begin, int streamCount)
        : _begin(begin)
        , _offset(std::chrono::nanoseconds(frameTime) / streamCount)
    {
    }

    Clock::time_point arrival(int stream, int block) const { return _begin + stream * _offset + block * frameTime; }

private:
    Clock::time_point _begin;
    std::chrono::nanoseconds _offset;
};

#endif
