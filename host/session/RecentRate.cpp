#include "session/RecentRate.h"

namespace {

// Whoever looks once a second does so a little early at times, which is no reason to wait for the next time.
constexpr std::chrono::milliseconds shortestInterval(900);

} // namespace

void RecentRate::begin(qint64 count, Instant now)
{
    _since = now;
    _countSince = count;
    _perSecond.reset();
}

void RecentRate::update(qint64 count, Instant now, std::chrono::milliseconds longestPause)
{
    if (!_since) {
        _since = now;
        _countSince = count;
        return;
    }
    const std::chrono::duration<double> interval = now - *_since;
    const bool isNews = count != _countSince;
    if (interval < (isNews ? shortestInterval : longestPause))
        return;
    _perSecond = static_cast<double>(count - _countSince) / interval.count();
    _since = now;
    _countSince = count;
}
