#ifndef HOST_MEDIA_REMINDER_H
#define HOST_MEDIA_REMINDER_H

#include <chrono>

/// When to report trouble that goes on again: ten seconds after it began, a minute, ten minutes, an hour, and then
/// every hour. Reentrant; time is passed in and never goes back.
class Reminder final {
public:
    using Instant = std::chrono::steady_clock::time_point;

    /// The trouble begins, and its owner reports it.
    void begin(Instant now);

    /// @return whether a time to report it again has come since the last call.
    [[nodiscard]] bool isDue(Instant now);

private:
    Instant _begunAt;
    std::chrono::seconds _next{0}; // after the beginning
};

#endif
