#include "session/Governor.h"

#include <QString>

#include <utility>

#include "QEvent_CpuLoad.h"

namespace {

using Clock = std::chrono::steady_clock;

/// @return as people read them, such as "0.60:0.90".
std::string textOf(const decoding::LoadLimits &limits)
{
    return QStringLiteral("%1:%2").arg(limits.low, 0, 'f', 2).arg(limits.high, 0, 'f', 2).toStdString();
}

} // namespace

Governor::Governor(const ModkitPtr<ITuneDecoding> &tuning, const GovernorPolicy::Settings &settings,
                   decoding::Mode mode, Log log, std::chrono::milliseconds loadInterval)
    : _tuning(tuning)
    , _limits(settings.limits)
    , _log(std::move(log))
    , _loadInterval(loadInterval)
    , _policy(settings)
{
    if (mode == decoding::Mode::TimeSaving)
        _policy.noteSwitch(mode, Clock::now());
    _load = _tuning->cpuLoad(this);
    _unchanged.start(static_cast<int>(_loadInterval.count()), this);
}

Governor::~Governor()
{
    _tuning->removeCpuLoadListener(this);
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

void Governor::noteLateBlocks()
{
    _lateAt = Clock::now();
}

std::string Governor::status() const
{
    const std::string modeText = textOf(_limits) + ", " + toText(_policy.mode());
    if (_isPaused)
        return modeText + ", paused";
    const auto toDwell = std::chrono::ceil<std::chrono::seconds>(_policy.remainingDwell(Clock::now()));
    return toDwell.count() > 0 ? modeText + ", " + std::to_string(toDwell.count()) + " s to dwell" : modeText;
}

void Governor::customEvent(QEvent *event)
{
    if (event->type() != QEvent::User)
        return;
    _load = static_cast<QEvent_CpuLoad *>(event)->load;
    // The load is told only when it changes. Half an interval more than one, so that the next change, which may come a
    // little late, is not taken for a second sample of this one.
    _unchanged.start(static_cast<int>(_loadInterval.count() * 3 / 2), this);
    sample();
}

void Governor::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != _unchanged.timerId())
        return;
    _unchanged.start(static_cast<int>(_loadInterval.count()), this);
    sample();
}

void Governor::sample()
{
    if (_isPaused)
        return;
    const Clock::time_point now = Clock::now();
    const bool isLate = _lateAt && now - *_lateAt < _loadInterval * 3 / 2;
    const auto wanted = _policy.sample(_load, isLate, now);
    if (!wanted)
        return;
    if (wanted->mode == decoding::Mode::TimeSaving)
        _tuning->useTimeSavingMode();
    else
        _tuning->usePerformanceMode();
    _log(std::string("governor: ") + toText(wanted->mode) + " mode: " + wanted->reason);
}
