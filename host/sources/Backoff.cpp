#include "sources/Backoff.h"

#include <algorithm>

Backoff::Backoff(std::chrono::milliseconds first, std::chrono::milliseconds last, std::mt19937::result_type seed)
    : _first(first)
    , _last(last)
    , _delay(first)
    , _random(seed)
{
}

std::chrono::milliseconds Backoff::next()
{
    std::uniform_int_distribution<std::chrono::milliseconds::rep> variation(-_delay.count() / 3, _delay.count() / 3);
    const std::chrono::milliseconds delay = _delay + std::chrono::milliseconds(variation(_random));
    _delay = std::min(_delay * 2, _last);
    return delay;
}
