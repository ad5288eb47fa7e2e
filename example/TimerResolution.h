#ifndef EXAMPLE_TIMERRESOLUTION_H
#define EXAMPLE_TIMERRESOLUTION_H

#if defined(_WIN32)
// The second header needs the first.
// clang-format off
#include <windows.h>
#include <timeapi.h>
// clang-format on
#endif

/// While it lives, the system's timers tick often enough for decoders, whose cycle takes 1 ms. Windows has to be asked
/// for that, by the host, for the whole process; Linux has it always.
class TimerResolution {
public:
#if defined(_WIN32)
    TimerResolution()
    {
        timeBeginPeriod(periodMs);
    }
    ~TimerResolution()
    {
        timeEndPeriod(periodMs);
    }
    TimerResolution(const TimerResolution &) = delete;
    TimerResolution &operator=(const TimerResolution &) = delete;

private:
    static constexpr unsigned int periodMs = 1;
#endif
};

#endif
