#ifndef HOST_SESSION_LOADMETER_H
#define HOST_SESSION_LOADMETER_H

#include <chrono>
#include <ctime>
#include <vector>

/// Measures from the clocks that the system keeps for each thread how much processor time the decoder threads use. The
/// component counts each block's decoding in whole milliseconds, so that blocks of less are nothing to it. Reentrant;
/// time is passed in and never goes back.
class LoadMeter final {
public:
    using Instant = std::chrono::steady_clock::time_point;

    /// @param threads of this process, by the system's ids. They should outlive it: what a thread has used since the
    ///        last sample is lost with it.
    /// @param cores that they can use; 1.0 is all of these busy.
    LoadMeter(const std::vector<int> &threads, int cores, Instant now);

    /// Costs one system call for each thread.
    /// @return the load since the last sample or else the beginning, however long ago that was; not a number where no
    ///         time has passed.
    double sample(Instant now);

private:
    struct Thread {
        clockid_t clock;
        std::chrono::nanoseconds used; // at the last sample
    };

    std::chrono::nanoseconds usedSinceLastSample();

    const int _cores;
    std::vector<Thread> _threads;
    Instant _sampledAt;
};

#endif
