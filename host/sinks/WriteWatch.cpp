#include "sinks/WriteWatch.h"

#include <algorithm>

void WriteWatch::hurry()
{
    Ticks notYet = none;
    _hurriedSince.compare_exchange_strong(notYet, Clock::now().time_since_epoch().count());
}

bool WriteWatch::isStuck(Clock::time_point now) const
{
    const Ticks callSince = _callSince;
    const Ticks hurriedSince = _hurriedSince;
    return callSince != none && hurriedSince != none &&
           now - Clock::time_point(Clock::duration(std::max(callSince, hurriedSince))) >= patience;
}

bool WriteWatch::mayWaitOn(std::chrono::nanoseconds time)
{
    if (_hurriedSince != none)
        _waited += time;
    if (_waited >= patience)
        _hasGivenUp = true;
    return !_hasGivenUp;
}
