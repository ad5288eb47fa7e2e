#include "session/LoadMeter.h"

#include <limits>
#include <optional>

#include <sys/types.h>

namespace {

/// @return the processor clock of a thread that was begun elsewhere, as the C library makes it up of the thread's id:
///         the kernel keeps to this form.
clockid_t clockOfThread(int thread)
{
    constexpr unsigned int ofOneThread = 4;
    constexpr unsigned int asScheduled = 2; // in nanoseconds, rather than in ticks
    return static_cast<clockid_t>(~static_cast<unsigned int>(thread) << 3 | ofOneThread | asScheduled);
}

/// @return nothing when the thread has ended.
std::optional<std::chrono::nanoseconds> timeOf(clockid_t clock)
{
    timespec time = {};
    if (clock_gettime(clock, &time) != 0)
        return std::nullopt;
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

} // namespace

LoadMeter::LoadMeter(const std::vector<int> &threads, int cores, Instant now)
    : _cores(cores)
    , _sampledAt(now)
{
    for (const int thread : threads)
        _threads.push_back({clockOfThread(thread), std::chrono::nanoseconds(0)});
    usedSinceLastSample();
}

double LoadMeter::sample(Instant now)
{
    const std::chrono::duration<double> used = usedSinceLastSample();
    const std::chrono::duration<double> elapsed = now - _sampledAt;
    _sampledAt = now;
    if (elapsed.count() <= 0)
        return std::numeric_limits<double>::quiet_NaN();
    return used / elapsed / _cores;
}

std::chrono::nanoseconds LoadMeter::usedSinceLastSample()
{
    std::chrono::nanoseconds sum(0);
    for (Thread &thread : _threads) {
        if (const auto used = timeOf(thread.clock)) {
            sum += *used - thread.used;
            thread.used = *used;
        }
    }
    return sum;
}
