#include "terminal/BoardFigures.h"

#include <limits>

#include <gmock/gmock.h>

using namespace std::chrono_literals;
using std::numeric_limits;

TEST(BoardFigures, CountHasCommasWhereThereIsRoom)
{
    EXPECT_EQ(BoardFigures::count(0, 6), "0");
    EXPECT_EQ(BoardFigures::count(12'345, 6), "12,345");
    EXPECT_EQ(BoardFigures::count(123'456, 6), "123456");
    EXPECT_EQ(BoardFigures::count(1'234'567, 9), "1,234,567");
    EXPECT_EQ(BoardFigures::count(-1'234, 6), "-1,234");
}

TEST(BoardFigures, CountIsRoundedDownWhereThereIsLittleRoom)
{
    EXPECT_EQ(BoardFigures::count(1'999'999, 6), "1999k");
    EXPECT_EQ(BoardFigures::count(999'999'999, 4), "999M");
    EXPECT_EQ(BoardFigures::count(numeric_limits<qint64>::max(), 6), "9223P");
    EXPECT_EQ(BoardFigures::count(numeric_limits<qint64>::min(), 6), "-9223P");
}

TEST(BoardFigures, RateHasOneDecimalBelowAThousand)
{
    EXPECT_EQ(BoardFigures::rate(0.0), "0.0");
    EXPECT_EQ(BoardFigures::rate(24.96), "25.0");
    EXPECT_EQ(BoardFigures::rate(999.94), "999.9");
    EXPECT_EQ(BoardFigures::rate(999.95), "1000");
    EXPECT_EQ(BoardFigures::rate(1499.6), "1500");
    EXPECT_EQ(BoardFigures::rate(1e30), "99999");
}

TEST(BoardFigures, WhatIsNotKnownIsADash)
{
    EXPECT_EQ(BoardFigures::rate(std::nullopt), "-");
    EXPECT_EQ(BoardFigures::rate(numeric_limits<double>::quiet_NaN()), "-");
    EXPECT_EQ(BoardFigures::rate(numeric_limits<double>::infinity()), "-");
    EXPECT_EQ(BoardFigures::milliseconds(std::nullopt), "-");
    EXPECT_EQ(BoardFigures::percent(numeric_limits<double>::quiet_NaN()), "-");
}

TEST(BoardFigures, LongLatenciesAreInSeconds)
{
    EXPECT_EQ(BoardFigures::milliseconds(0), "0");
    EXPECT_EQ(BoardFigures::milliseconds(99'999), "99999");
    EXPECT_EQ(BoardFigures::milliseconds(100'000), "100s");
    EXPECT_EQ(BoardFigures::milliseconds(numeric_limits<qint64>::max()), "9223Ts");
}

TEST(BoardFigures, PercentEndsAtThreeDigits)
{
    EXPECT_EQ(BoardFigures::percent(0.374), "37 %");
    EXPECT_EQ(BoardFigures::percent(1.2), "120 %");
    EXPECT_EQ(BoardFigures::percent(-1), "0 %");
    EXPECT_EQ(BoardFigures::percent(numeric_limits<double>::infinity()), "999 %");
}

TEST(BoardFigures, ClockCountsDays)
{
    EXPECT_EQ(BoardFigures::clock(-1s), "0:00:00");
    EXPECT_EQ(BoardFigures::clock(59'999ms), "0:00:59");
    EXPECT_EQ(BoardFigures::clock(23h + 59min + 5s), "23:59:05");
    EXPECT_EQ(BoardFigures::clock(75h + 2min), "3 d 3:02:00");
}
