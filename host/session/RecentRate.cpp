#include "session/RecentRate.h"

namespace {

constexpr std::chrono::seconds shortestInterval(1);

} // namespace

void RecentRate::update(qint64 count, Instant now, std::chrono::milliseconds longestPause)
{
    if (!_since) {
        _since = now;
        _countSince = count;
        return;
    }
    const std::chrono::duration<double> interval = now - *_since;
    const bool isNews = count != _countSince;
    if (interval < (isNews ? std::chrono::milliseconds(shortestInterval) : longestPause))
        return;
    _perSecond = static_cast<double>(count - _countSince) / interval.count();
    _since = now;
    _countSince = count;
}
