#include "media/ClockTime.h"

#include <ctime>

#include <gmock/gmock.h>

TEST(ClockTime, IsThatOfTheMachinesTimeZone)
{
    std::tm parts = {};
    parts.tm_year = 126;
    parts.tm_mon = 10;
    parts.tm_mday = 2;
    parts.tm_hour = 7;
    parts.tm_min = 3;
    parts.tm_sec = 9;
    parts.tm_isdst = -1;
    const auto instant = std::chrono::system_clock::from_time_t(std::mktime(&parts));
    EXPECT_EQ(ClockTime::full(instant), "2026-11-02T07:03:09");
    EXPECT_EQ(ClockTime::ofDay(instant), "07:03:09");
}
