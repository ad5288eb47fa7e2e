#ifndef HOST_SESSION_GOVERNOR_H
#define HOST_SESSION_GOVERNOR_H

#include <QBasicTimer>
#include <QObject>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "interfaces/ITuneDecoding.h"
#include "session/GovernorPolicy.h"
#include "strata/base/modkit/modkit"

/// Listens to the component's CPU load and switches all tuned decoders between performance and time-saving mode as its
/// policy says, with a line for each switch. Thread-bound; the thread must run an event loop. Create it once the
/// component is started and destroy it before the component is stopped: outside that time it hears nothing.
///
/// It is a QObject to the component only, which posts it load events: since nobody else can, an event of their type
/// (the first of all user events, which many use) can be nothing else.
class Governor final : private QObject {
public:
    using Log = std::function<void(const std::string &line)>;

    /// @param mode the one in force. When it is time-saving mode, somebody wanted it so, and it lasts for its dwell
    ///         time.
    /// @param log called on this thread after each switch, with one line without an end; must not destroy the governor.
    /// @param loadInterval that the component measures the load in: once for each, a load that stays the same counts as
    ///        one more sample.
    Governor(const ModkitPtr<ITuneDecoding> &tuning, const GovernorPolicy::Settings &settings, decoding::Mode mode,
             Log log, std::chrono::milliseconds loadInterval = std::chrono::seconds(1));
    /// Leaves the decoders in the mode they are in.
    ~Governor() override;

    /// Paused, it listens on but switches nothing. Running again, it needs fresh samples.
    void setPaused(bool paused);
    bool isPaused() const { return _isPaused; }

    /// To be called when anybody else has switched the decoders, paused or not. Who wants that mode to stay longer than
    /// its dwell time pauses the governor.
    void noteSwitch(decoding::Mode mode);

    /// To be called when live inputs have lost blocks because their decoders were too slow; it says what the load does
    /// not always say. Concerns the samples of the next interval and a half.
    void noteLateBlocks();

    decoding::Mode mode() const { return _policy.mode(); }

    /// @return what it is about, for a line of a display: such as "0.60:0.90, time-saving, 12 s to dwell".
    [[nodiscard]] std::string status() const;

protected:
    void customEvent(QEvent *event) override;
    void timerEvent(QTimerEvent *event) override;

private:
    void sample();

    const ModkitPtr<ITuneDecoding> _tuning;
    const decoding::LoadLimits _limits;
    const Log _log;
    const std::chrono::milliseconds _loadInterval;
    GovernorPolicy _policy;
    bool _isPaused = false;
    double _load = 0.0; // the last one told
    std::optional<GovernorPolicy::Instant> _lateAt;
    QBasicTimer _unchanged;
};

#endif
