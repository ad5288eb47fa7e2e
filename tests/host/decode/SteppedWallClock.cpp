// Linked into a copy of the host: its wall clock is the system's and as much more as a test says while it runs. The
// steady clock stays the system's.

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>

namespace {

using StepMs = std::atomic<std::int64_t>;

constexpr std::int64_t nsPerMs = 1'000'000;
constexpr std::int64_t nsPerSecond = 1'000'000'000;

/// @return what the file that STEPPED_WALL_CLOCK names holds; the test writes to it.
const StepMs &mappedStep()
{
    const char *const fileName = std::getenv("STEPPED_WALL_CLOCK");
    const int descriptor = fileName ? open(fileName, O_RDONLY | O_CLOEXEC) : -1;
    void *const mapped = mmap(nullptr, sizeof(StepMs), PROT_READ, MAP_SHARED, descriptor, 0);
    if (mapped == MAP_FAILED)
        std::abort();
    close(descriptor);
    return *static_cast<const StepMs *>(mapped);
}

} // namespace

// The program's own definitions go before those in the C library, for all libraries of the process.

extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    static const StepMs &step = mappedStep();
    const long result = syscall(SYS_clock_gettime, clock, time);
    if (result == 0 && clock == CLOCK_REALTIME) {
        const std::int64_t ns = time->tv_sec * nsPerSecond + time->tv_nsec + step * nsPerMs;
        time->tv_sec = ns / nsPerSecond;
        time->tv_nsec = ns % nsPerSecond;
    }
    return static_cast<int>(result);
}

extern "C" __attribute__((visibility("default"))) int gettimeofday(timeval *time, void * /*zone*/) noexcept
{
    timespec exact = {};
    const int result = clock_gettime(CLOCK_REALTIME, &exact);
    *time = {exact.tv_sec, exact.tv_nsec / 1000};
    return result;
}
