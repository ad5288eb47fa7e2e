#ifndef HOST_SESSION_TROUBLEWATCH_H
#define HOST_SESSION_TROUBLEWATCH_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "media/Reminder.h"
#include "session/CountedTrouble.h"
#include "session/Report.h"
#include <decoding/Snapshot.h>

/// What is wrong with one stream, while it runs: notices it in the stream's figures, tells people at once, and again
/// now and then while it goes on. To be looked at a few times a second. Thread-bound; time is passed in.
class TroubleWatch final {
public:
    struct Moment {
        Reminder::Instant now;
        CountedTrouble::ClockInstant clock; // the same on the wall
    };

    /// What is known of the stream.
    struct Figures {
        std::string name;
        bool isVideo = true;
        bool isLive = false;
        std::string missingCodec; // as Snapshot::Stream, as are the next two
        std::int64_t frames = 0;
        std::int64_t damaged = 0;
        std::string damage;                    // the latest, in a few words
        std::int64_t reads = 0;                // blocks that its decoder was given
        std::chrono::milliseconds decoding{0}; // since that began
        std::vector<decoding::Snapshot::Output> outputs;
    };

    /// @return what to report now.
    [[nodiscard]] std::vector<Report> update(const Figures &figures, const Moment &moment);
    /// @return what to report last, when the stream has ended by itself; after an `update`.
    [[nodiscard]] std::vector<Report> end(const Figures &figures, const Moment &moment);

    const std::optional<decoding::Snapshot::Trouble> &last() const { return _last; }
    /// Whether it was time that a frame had come, and none had.
    bool lacksFrames() const { return _lacksFrames; }
    /// When the latest damage was noticed.
    std::optional<Reminder::Instant> damagedAt() const { return _damage.latest(); }

private:
    struct OutputTrouble {
        CountedTrouble failures;
        bool isReported = false;                       // its error
        bool isFailing = false;                        // and that is reported
        std::optional<Reminder::Instant> writtenSince; // while it is, as far as could be seen
    };

    void watchCodec(const Figures &figures, const Moment &moment);
    void watchDamage(const Figures &figures, const Moment &moment);
    void watchFrames(const Figures &figures, const Moment &moment);
    void watchOutput(OutputTrouble &known, const decoding::Snapshot::Output &output, const Figures &figures,
                     const Moment &moment);
    void tell(const Figures &figures, const std::string &what, const Moment &moment, bool isError = false);

    std::string _missingCodec;
    Reminder _codecReminder;
    CountedTrouble _damage;
    bool _lacksFrames = false; // and that is reported
    Reminder _framesReminder;
    std::vector<OutputTrouble> _outputs; // by their place
    std::vector<Report> _reports;        // of the present call
    std::optional<decoding::Snapshot::Trouble> _last;
};

#endif
