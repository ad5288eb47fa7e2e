#include "session/GovernorPolicy.h"

#include <QString>

#include <algorithm>
#include <cmath>

namespace {

constexpr int samplesNeeded = 2;

std::string reasonOf(double load, const char *relation, double limit, int samples)
{
    const QString times = samples == 2 ? QStringLiteral("twice") : QStringLiteral("%1 times").arg(samples);
    return QStringLiteral("CPU load %1 %2 %3 %4")
        .arg(load, 0, 'f', 3)
        .arg(QLatin1String(relation))
        .arg(limit, 0, 'f', 2)
        .arg(times)
        .toStdString();
}

std::string reasonOfLateness(double load)
{
    return QStringLiteral("blocks came too late to be decoded, at CPU load %1").arg(load, 0, 'f', 3).toStdString();
}

} // namespace

GovernorPolicy::GovernorPolicy(const Settings &settings)
    : _settings(settings)
    , _savingDwell(settings.dwell)
{
}

std::optional<GovernorPolicy::Switch> GovernorPolicy::sample(double load, bool isLate, Instant now)
{
    if (!std::isfinite(load))
        return std::nullopt;
    const bool isHigh = load > _settings.limits.high;
    _above = isHigh || isLate ? _above + 1 : 0;
    _below = load < _settings.limits.low && !isLate ? _below + 1 : 0;
    // What is counted during the dwell time counts at its end.
    if (remainingDwell(now).count() > 0)
        return std::nullopt;
    if (_mode == decoding::Mode::Performance && _above >= samplesNeeded)
        return switchTo(decoding::Mode::TimeSaving, load,
                        isHigh ? reasonOf(load, "above", _settings.limits.high, _above) : reasonOfLateness(load), now);
    if (_mode == decoding::Mode::TimeSaving && _below >= samplesNeeded)
        return switchTo(decoding::Mode::Performance, load, reasonOf(load, "below", _settings.limits.low, _below), now);
    return std::nullopt;
}

void GovernorPolicy::noteSwitch(decoding::Mode mode, Instant now)
{
    enter(mode, now);
}

void GovernorPolicy::forgetSamples()
{
    _above = 0;
    _below = 0;
}

std::chrono::milliseconds GovernorPolicy::remainingDwell(Instant now) const
{
    using std::chrono::milliseconds;
    if (!_enteredAt)
        return milliseconds(0);
    // Rounded up: what is not over is not 0.
    return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(*_enteredAt + presentDwell() - now));
}

std::chrono::milliseconds GovernorPolicy::presentDwell() const
{
    return _mode == decoding::Mode::TimeSaving ? _savingDwell : _settings.dwell;
}

GovernorPolicy::Switch GovernorPolicy::switchTo(decoding::Mode mode, double load, const std::string &reason,
                                                Instant now)
{
    if (mode == decoding::Mode::TimeSaving) {
        const bool returnedInVain = _enteredAt && now - *_enteredAt < _settings.maxDwell;
        _savingDwell = returnedInVain ? std::min(_savingDwell * 2, _settings.maxDwell) : _settings.dwell;
    }
    enter(mode, now);
    return {mode, load, reason};
}

void GovernorPolicy::enter(decoding::Mode mode, Instant now)
{
    _mode = mode;
    _enteredAt = now;
    // They were taken in the mode that has ended.
    forgetSamples();
}
