#include "session/Admission.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr int leastPerThread = 2;
constexpr int mostPerThread = 8;
// Threads that have enough to do are now and then between two files.
constexpr double busyDemand = 0.9;

} // namespace

Admission::Admission(int fixed, int threads, Demand demand)
    : _isFixed(fixed > 0)
    , _least(leastPerThread * std::max(threads, 1))
    , _demand(std::move(demand))
    , _most(_isFixed ? fixed : _least)
{
}

void Admission::measure(Instant now, const Files &files)
{
    if (_isFixed || (_measuredAt && now - *_measuredAt < interval))
        return;
    const double demand = _demand(now);
    // Of a time in which nothing waited, it says nothing.
    const bool isRecent = _measuredAt && now - *_measuredAt < 10 * interval;
    _measuredAt = now;
    if (!isRecent || std::isnan(demand))
        return;
    if (demand >= busyDemand || files.heldUp > files.going)
        _most = std::max(_most - 1, _least);
    else
        _most = std::min(_most + 1 + _most / 8, _least / leastPerThread * mostPerThread);
}
