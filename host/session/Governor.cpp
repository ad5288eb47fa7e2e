#include "session/Governor.h"

#include <QString>

#include <chrono>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;

/// @return as people read them, such as "0.60:0.90".
std::string textOf(const decoding::LoadLimits &limits)
{
    return QStringLiteral("%1:%2").arg(limits.low, 0, 'f', 2).arg(limits.high, 0, 'f', 2).toStdString();
}

} // namespace

Governor::Governor(const ModkitPtr<ITuneDecoding> &tuning, const GovernorPolicy::Settings &settings,
                   decoding::Mode mode, Log log)
    : _tuning(tuning)
    , _limits(settings.limits)
    , _log(std::move(log))
    , _policy(settings)
{
    if (mode == decoding::Mode::TimeSaving)
        _policy.noteSwitch(mode, Clock::now());
}

Governor::~Governor() = default;

void Governor::sample(double load, bool lostLateBlocks)
{
    const bool lostThemBefore = std::exchange(_lostLateBlocks, lostLateBlocks);
    if (_isPaused)
        return;
    const auto wanted = _policy.sample(load, lostLateBlocks || lostThemBefore, Clock::now());
    if (!wanted)
        return;
    if (wanted->mode == decoding::Mode::TimeSaving)
        _tuning->useTimeSavingMode();
    else
        _tuning->usePerformanceMode();
    _log(std::string("governor: ") + toText(wanted->mode) + " mode: " + wanted->reason);
}

void Governor::setPaused(bool paused)
{
    _isPaused = paused;
    _policy.forgetSamples();
}

void Governor::noteSwitch(decoding::Mode mode)
{
    _policy.noteSwitch(mode, Clock::now());
}

std::string Governor::status() const
{
    const std::string modeText = textOf(_limits) + ", " + toText(_policy.mode());
    if (_isPaused)
        return modeText + ", paused";
    const auto toDwell = std::chrono::ceil<std::chrono::seconds>(_policy.remainingDwell(Clock::now()));
    return toDwell.count() > 0 ? modeText + ", " + std::to_string(toDwell.count()) + " s to dwell" : modeText;
}
