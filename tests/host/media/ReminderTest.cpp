#include "media/Reminder.h"

#include <gmock/gmock.h>

using namespace std::chrono_literals;

TEST(Reminder, ComesAfterTenSecondsAMinuteTenMinutesAnHourAndThenEveryHour)
{
    Reminder reminder;
    const Reminder::Instant start(1000h);
    reminder.begin(start);
    std::vector<std::chrono::seconds> times;
    for (std::chrono::seconds time = 0s; time <= 3h; time += 1s) {
        if (reminder.isDue(start + time))
            times.push_back(time);
    }
    EXPECT_THAT(times, testing::ElementsAre(10s, 60s, 600s, 3600s, 7200s, 10800s));
}

TEST(Reminder, ComesOnceForAllThatWereMissed)
{
    Reminder reminder;
    const Reminder::Instant start(1000h);
    reminder.begin(start);
    EXPECT_TRUE(reminder.isDue(start + 15min));
    EXPECT_FALSE(reminder.isDue(start + 59min));
    EXPECT_TRUE(reminder.isDue(start + 61min));
    reminder.begin(start + 2h);
    EXPECT_FALSE(reminder.isDue(start + 2h + 9s));
    EXPECT_TRUE(reminder.isDue(start + 2h + 10s));
}
