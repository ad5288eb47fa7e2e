#ifndef HOST_SESSION_RECENTRATE_H
#define HOST_SESSION_RECENTRATE_H

#include <QtGlobal>

#include <chrono>
#include <optional>

/// How often something happens in a second: over the last second or so, or over the time since it happened last but
/// one. Reentrant; time is passed in and never goes back.
class RecentRate final {
public:
    using Instant = std::chrono::steady_clock::time_point;

    /// It happened for the first time: what was before does not count. @param count of all times up to now.
    void begin(qint64 count, Instant now);

    /// @param count of all times up to now. @param longestPause after which nothing new means 0.
    void update(qint64 count, Instant now, std::chrono::milliseconds longestPause);

    /// @return nothing as long as it is unknown.
    std::optional<double> perSecond() const { return _perSecond; }

private:
    std::optional<Instant> _since;
    qint64 _countSince = 0;
    std::optional<double> _perSecond; // of the time before _since
};

#endif
