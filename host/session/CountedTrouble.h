#ifndef HOST_SESSION_COUNTEDTROUBLE_H
#define HOST_SESSION_COUNTEDTROUBLE_H

#include <chrono>
#include <cstdint>
#include <optional>

#include "media/Reminder.h"

/// Trouble that is counted, such as damaged pictures, and when to report it: when a spell of it begins, and now and
/// then while more comes. A minute without any ends the spell, unless it is ended before. Reentrant; time is passed in
/// and never goes back.
class CountedTrouble final {
public:
    using Instant = Reminder::Instant;
    using ClockInstant = std::chrono::system_clock::time_point;

    /// What to report of a spell.
    struct Spell {
        std::int64_t count = 0;
        ClockInstant since;
    };

    /// @param count of all up to @p now, which @p clock tells as the time of the wall. Never falls.
    /// @return what to report now, if anything.
    [[nodiscard]] std::optional<Spell> update(std::int64_t count, Instant now, ClockInstant clock);

    /// It is over: whatever comes next begins a spell.
    void endSpell() { _isSpell = false; }

    /// When the count was seen to have grown.
    std::optional<Instant> latest() const { return _latest; }

private:
    std::int64_t _count = 0;
    std::int64_t _countBefore = 0; // the spell
    std::int64_t _reportedCount = 0;
    bool _isSpell = false;
    ClockInstant _since;
    std::optional<Instant> _latest;
    Reminder _reminder;
};

#endif
