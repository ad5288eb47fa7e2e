#ifndef HOST_SESSION_THREADDEMAND_H
#define HOST_SESSION_THREADDEMAND_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

/// Measures how much of the time threads had something to do, be it that they ran or that they waited for a processor:
/// other programs that take the processors away make no thread look idle. Reentrant; time is passed in and never goes
/// back.
class ThreadDemand final {
public:
    using Instant = std::chrono::steady_clock::time_point;

    /// @param threads of this process, by the system's ids.
    ThreadDemand(const std::vector<int> &threads, Instant now);

    /// Reads one small file of the system's for each thread.
    /// @return the share since the last call or else the beginning, 1.0 is all threads all the time; not a number where
    ///         no time has passed or the system does not tell.
    double sample(Instant now);

private:
    /// @return over all threads; nothing when the system does not tell.
    std::optional<std::chrono::nanoseconds> wanted() const;

    std::vector<std::string> _files; // a thread's each
    Instant _sampledAt;
    std::optional<std::chrono::nanoseconds> _wanted; // at the last sample
};

#endif
