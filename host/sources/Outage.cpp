#include "sources/Outage.h"

#include <utility>

#include "media/ClockTime.h"

Outage::Outage(std::string name)
    : _name(std::move(name))
{
}

std::optional<std::string> Outage::begin(const std::string &reason, Instant now)
{
    if (reason == _reason)
        return std::nullopt;
    if (_reason.empty()) {
        _since = now;
        _reminder.begin(now);
        _attempts = 0;
        _reported.clear();
    }
    _reason = reason;
    if (!_reported.insert(reason).second)
        return std::nullopt;
    return _name + ": " + reason + (_hasDelivered ? "; reconnecting" : "; trying again");
}

std::optional<std::string> Outage::remind(Instant now, std::chrono::system_clock::time_point clock)
{
    if (_reason.empty() || !_reminder.isDue(now))
        return std::nullopt;
    const auto since = clock - std::chrono::duration_cast<std::chrono::system_clock::duration>(now - _since);
    return _name + ": has delivered nothing since " + ClockTime::ofDay(since) + ", " + attempts() + ": " + _reason;
}

std::optional<std::string> Outage::end(Instant now)
{
    const bool wasOut = !_reason.empty();
    const char *const again = _hasDelivered ? "again " : "";
    _hasDelivered = true;
    _reason.clear();
    if (!wasOut)
        return std::nullopt;
    return _name + ": delivers " + again + "after " +
           seconds(std::chrono::duration_cast<std::chrono::milliseconds>(now - _since)) + ", " + attempts();
}

std::string Outage::attempts() const
{
    return std::to_string(_attempts) + (_attempts == 1 ? " attempt" : " attempts");
}

std::string Outage::seconds(std::chrono::milliseconds duration)
{
    const auto tenths = (duration.count() + 50) / 100;
    const bool coarse = tenths >= 100 || tenths % 10 == 0;
    return coarse ? std::to_string((tenths + 5) / 10) + " s"
                  : std::to_string(tenths / 10) + '.' + std::to_string(tenths % 10) + " s";
}
