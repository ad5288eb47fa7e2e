#include "queues/BurstTime.h"

#include <algorithm>
#include <utility>

BurstTime::Share::Share(std::shared_ptr<BurstTime> time, Kind kind)
    : _time(std::move(time))
    , _kind(kind)
{
    _time->count(_kind).fetch_add(1);
}

BurstTime::Share::~Share()
{
    _time->count(_kind).fetch_sub(1);
}

std::chrono::nanoseconds BurstTime::longest() const
{
    if (_punctual.load() == 0)
        return alone;
    return std::chrono::nanoseconds(besidePunctual) / std::max(_bursts.load(), 1);
}
