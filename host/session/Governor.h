#ifndef HOST_SESSION_GOVERNOR_H
#define HOST_SESSION_GOVERNOR_H

#include <functional>
#include <string>

#include "interfaces/ITuneDecoding.h"
#include "session/GovernorPolicy.h"
#include "strata/base/modkit/modkit"

/// Switches all tuned decoders between performance and time-saving mode as its policy says of the CPU loads that it is
/// given, with a line for each switch. It does not listen to the component's own load, which leaves out what is decoded
/// in less than a millisecond. Reentrant. Create it once the component is started and destroy it before the component
/// is stopped.
class Governor final {
public:
    using Log = std::function<void(const std::string &line)>;

    /// @param mode the one in force. When it is time-saving mode, somebody wanted it so, and it lasts for its dwell
    ///         time.
    /// @param log called after each switch, on the thread that gave the sample, with one line without an end; must not
    ///        destroy the governor.
    Governor(const ModkitPtr<ITuneDecoding> &tuning, const GovernorPolicy::Settings &settings, decoding::Mode mode,
             Log log);
    Governor(const Governor &) = delete;
    Governor &operator=(const Governor &) = delete;
    /// Leaves the decoders in the mode they are in.
    ~Governor();

    /// To be called once a second. @param load of the time since the last call; what is no number tells nothing.
    /// @param lostLateBlocks whether live inputs have lost blocks in it because their decoders were too slow; it says
    ///        what the load does not always say. Concerns the next sample too.
    void sample(double load, bool lostLateBlocks);

    /// Paused, it switches nothing. Running again, it needs fresh samples.
    void setPaused(bool paused);

    /// To be called when anybody else has switched the decoders, paused or not. Who wants that mode to stay longer than
    /// its dwell time pauses the governor.
    void noteSwitch(decoding::Mode mode);

    decoding::Mode mode() const { return _policy.mode(); }

    /// @return what it is about, for a line of a display: such as "0.60:0.90, time-saving, 12 s to dwell".
    [[nodiscard]] std::string status() const;

private:
    const ModkitPtr<ITuneDecoding> _tuning;
    const decoding::LoadLimits _limits;
    const Log _log;
    GovernorPolicy _policy;
    bool _isPaused = false;
    bool _lostLateBlocks = false; // at the last sample
};

#endif
