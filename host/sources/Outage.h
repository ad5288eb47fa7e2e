#ifndef HOST_SOURCES_OUTAGE_H
#define HOST_SOURCES_OUTAGE_H

#include <chrono>
#include <optional>
#include <set>
#include <string>

#include "media/Reminder.h"

/// What is reported of a source's troubles: each once when it comes, once more for each other reason that it turns out
/// to have, however these take turns, now and then while it lasts, and once when it is mended. All reports are single
/// lines that name the source. Reentrant.
class Outage final {
public:
    using Instant = std::chrono::steady_clock::time_point;

    /// @param name of the source.
    explicit Outage(std::string name);

    /// The source does not deliver because of @p reason. @return what is to be reported, if anything.
    std::optional<std::string> begin(const std::string &reason, Instant now);

    /// Reminds whoever waits for it, now and then. @param clock of the wall, at @p now.
    /// @return what is to be reported, if anything.
    std::optional<std::string> remind(Instant now, std::chrono::system_clock::time_point clock);

    /// Another attempt is made to mend it.
    void noteAttempt() { ++_attempts; }

    /// The source delivers. @return what is to be reported, if anything.
    std::optional<std::string> end(Instant now);

    /// Why the source does not deliver at the moment; empty when it does, or when nothing was tried yet.
    const std::string &reason() const { return _reason; }

    /// @return @p duration in words, such as "0.4 s" or "12 s".
    static std::string seconds(std::chrono::milliseconds duration);

private:
    std::string attempts() const;

    const std::string _name;
    std::string _reason;
    Instant _since; // of the outage that goes on, and the attempts to mend it
    Reminder _reminder;
    int _attempts = 0;
    std::set<std::string> _reported; // its reasons
    bool _hasDelivered = false;
};

#endif
