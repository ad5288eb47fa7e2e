#ifndef HOST_SESSION_GOVERNORPOLICY_H
#define HOST_SESSION_GOVERNORPOLICY_H

#include <chrono>
#include <optional>
#include <string>

#include <decoding/Session.h>

/// Decides from samples of the CPU load when to switch between performance and time-saving mode. Only decides: who asks
/// it switches. Reentrant; time is passed in and never goes back.
///
/// Two samples in a row above HIGH, and it is time to save; two in a row below LOW, and every block can be decoded
/// again. Late blocks, which a live input's queue has dropped because the decoder was too slow, mean overload whatever
/// the load: to drop a group of pictures leaves decoders idle until the next key block, so that the load of lasting
/// overload is low at times.
/// A mode lasts for the dwell time at least, so that there is never more than one switch in it, whatever the load does.
///
/// The two ways are not alike. Overload hurts at once: blocks pile up and every picture comes late, so nothing but the
/// dwell time ever delays saving. To come back is a guess: with most blocks skipped the load is low whether the demand
/// has gone or not, and it can only be tried. A try that fails makes all streams late for one dwell time. So a wrong
/// guess, overload within the longest dwell time after the return to performance mode, doubles the time that the next
/// saving lasts, up to that longest time. Under lasting overload the tries become rare; the price is that the end of a
/// long overload is found out that much later, which costs frames but makes nothing late. Once a return has held for
/// the longest dwell time, the next saving is a short one again.
class GovernorPolicy final {
public:
    using Instant = std::chrono::steady_clock::time_point;

    struct Settings {
        decoding::LoadLimits limits;
        std::chrono::milliseconds dwell = std::chrono::seconds(5);
        std::chrono::milliseconds maxDwell = std::chrono::seconds(60); // not less than dwell
    };

    struct Switch {
        decoding::Mode mode;
        double load;        // that caused it
        std::string reason; // for people, such as "CPU load 1.042 above 0.90 twice"
    };

    /// Begins in performance mode, and may leave it at once.
    explicit GovernorPolicy(const Settings &settings);

    /// Takes the load of one more interval, and whether blocks were late in it. A load that is infinite or not a number
    /// tells nothing, and the interval is passed over.
    /// @return the switch to be made now; to the policy it has been made.
    std::optional<Switch> sample(double load, bool isLate, Instant now);

    /// Somebody else has chosen @p mode, be it the one that is in force already: it lasts for its dwell time like any
    /// other, and a return by hand that proves wrong counts as a wrong guess too.
    void noteSwitch(decoding::Mode mode, Instant now);

    /// Samples before now say nothing about those to come, as there was a gap between them.
    void forgetSamples();

    decoding::Mode mode() const { return _mode; }

    /// @return how long the present mode will last at least; 0 when it may end with the next sample.
    std::chrono::milliseconds remainingDwell(Instant now) const;

private:
    std::chrono::milliseconds presentDwell() const;
    Switch switchTo(decoding::Mode mode, double load, const std::string &reason, Instant now);
    void enter(decoding::Mode mode, Instant now);

    const Settings _settings;
    decoding::Mode _mode = decoding::Mode::Performance;
    std::optional<Instant> _enteredAt; // nothing before the first switch
    std::chrono::milliseconds _savingDwell;
    // Samples in a row, up to now; one of them at least is 0.
    int _above = 0; // or with late blocks
    int _below = 0;
};

#endif
