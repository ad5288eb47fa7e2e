#include "media/Reminder.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array<std::chrono::seconds, 4> reminders = {std::chrono::seconds(10), std::chrono::minutes(1),
                                                           std::chrono::minutes(10), std::chrono::hours(1)};

std::chrono::seconds reminderAfter(std::chrono::seconds time)
{
    const auto next = std::upper_bound(reminders.begin(), reminders.end(), time);
    return next != reminders.end() ? *next : (time / reminders.back() + 1) * reminders.back();
}

} // namespace

void Reminder::begin(Instant now)
{
    _begunAt = now;
    _next = reminders.front();
}

bool Reminder::isDue(Instant now)
{
    const auto time = std::chrono::duration_cast<std::chrono::seconds>(now - _begunAt);
    if (time < _next)
        return false;
    _next = reminderAfter(time);
    return true;
}
