#include "session/ThreadDemand.h"

#include <fstream>
#include <limits>
#include <utility>

ThreadDemand::ThreadDemand(const std::vector<int> &threads, Instant now)
    : _sampledAt(now)
{
    for (const int thread : threads)
        _files.push_back("/proc/self/task/" + std::to_string(thread) + "/schedstat");
    _wanted = wanted();
}

double ThreadDemand::sample(Instant now)
{
    const auto before = std::exchange(_wanted, wanted());
    const std::chrono::duration<double> elapsed = now - std::exchange(_sampledAt, now);
    if (!before || !_wanted || elapsed.count() <= 0)
        return std::numeric_limits<double>::quiet_NaN();
    return std::chrono::duration<double>(*_wanted - *before) / elapsed / static_cast<double>(_files.size());
}

std::optional<std::chrono::nanoseconds> ThreadDemand::wanted() const
{
    std::chrono::nanoseconds sum(0);
    for (const std::string &name : _files) {
        std::ifstream file(name);
        long long ran = 0; // in nanoseconds, as is the next
        long long waited = 0;
        if (!(file >> ran >> waited))
            return std::nullopt;
        sum += std::chrono::nanoseconds(ran + waited);
    }
    return sum;
}
