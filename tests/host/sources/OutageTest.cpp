#include "sources/Outage.h"

#include "media/ClockTime.h"
#include <gmock/gmock.h>

namespace {

using std::chrono::milliseconds;

class OutageTest : public testing::Test {
protected:
    Outage outage{"camera"};
    Outage::Instant now{milliseconds(1'000'000)};
};

TEST_F(OutageTest, IsReportedOnceAndItsMendingOnce)
{
    EXPECT_EQ(outage.end(now), std::nullopt);
    EXPECT_EQ(outage.begin("no packet for 5 s", now), "camera: no packet for 5 s; reconnecting");
    EXPECT_EQ(outage.reason(), "no packet for 5 s");
    for (int failed = 0; failed < 2; ++failed) {
        now += milliseconds(4000);
        outage.noteAttempt();
        EXPECT_EQ(outage.begin("no packet for 5 s", now), std::nullopt);
    }
    now += milliseconds(4000);
    outage.noteAttempt();
    EXPECT_EQ(outage.end(now), "camera: delivers again after 12 s, 3 attempts");
    EXPECT_EQ(outage.reason(), "");
    EXPECT_EQ(outage.end(now), std::nullopt);
}

TEST_F(OutageTest, IsReportedAgainNowAndThenWhileItLasts)
{
    const std::chrono::system_clock::time_point noon(std::chrono::hours(12));
    EXPECT_EQ(outage.remind(now, noon), std::nullopt);
    ASSERT_TRUE(outage.begin("refused", now));
    outage.noteAttempt();
    EXPECT_EQ(outage.remind(now + milliseconds(9999), noon), std::nullopt);
    const std::string since = ClockTime::ofDay(noon);
    EXPECT_EQ(outage.remind(now + milliseconds(10'000), noon + milliseconds(10'000)),
              "camera: has delivered nothing since " + since + ", 1 attempt: refused");
    outage.noteAttempt();
    EXPECT_EQ(outage.begin("refused", now + milliseconds(11'000)), std::nullopt);
    EXPECT_EQ(outage.remind(now + milliseconds(60'000), noon + milliseconds(60'000)),
              "camera: has delivered nothing since " + since + ", 2 attempts: refused");
    outage.end(now + milliseconds(61'000));
    EXPECT_EQ(outage.remind(now + milliseconds(600'000), noon), std::nullopt);
}

TEST_F(OutageTest, AnotherReasonIsReportedButDoesNotBeginItAnew)
{
    outage.end(now);
    ASSERT_TRUE(outage.begin("the source ended", now));
    now += milliseconds(2000);
    outage.noteAttempt();
    EXPECT_EQ(outage.begin("refused", now), "camera: refused; reconnecting");
    now += milliseconds(500);
    outage.noteAttempt();
    EXPECT_EQ(outage.end(now), "camera: delivers again after 2.5 s, 2 attempts");
}

TEST_F(OutageTest, ReasonsThatTakeTurnsAreReportedOnceEach)
{
    outage.end(now);
    EXPECT_TRUE(outage.begin("the source ended", now));
    EXPECT_TRUE(outage.begin("refused", now));
    EXPECT_EQ(outage.begin("the source ended", now), std::nullopt);
    EXPECT_EQ(outage.reason(), "the source ended");
    EXPECT_EQ(outage.begin("refused", now), std::nullopt);
    outage.end(now);
    EXPECT_TRUE(outage.begin("refused", now));
}

TEST_F(OutageTest, CountsEachOutageByItself)
{
    outage.end(now);
    outage.begin("refused", now);
    outage.noteAttempt();
    outage.noteAttempt();
    outage.end(now);
    now += milliseconds(60'000);
    EXPECT_TRUE(outage.begin("refused", now));
    outage.noteAttempt();
    now += milliseconds(1000);
    EXPECT_EQ(outage.end(now), "camera: delivers again after 1 s, 1 attempt");
}

TEST_F(OutageTest, ASourceThatHasNeverDeliveredIsNotReconnected)
{
    EXPECT_EQ(outage.begin("refused", now), "camera: refused; trying again");
    outage.noteAttempt();
    EXPECT_EQ(outage.end(now + milliseconds(900)), "camera: delivers after 0.9 s, 1 attempt");
}

TEST_F(OutageTest, TellsDurationsAsExactlyAsAPersonWants)
{
    EXPECT_EQ(Outage::seconds(milliseconds(40)), "0 s");
    EXPECT_EQ(Outage::seconds(milliseconds(50)), "0.1 s");
    EXPECT_EQ(Outage::seconds(milliseconds(1000)), "1 s");
    EXPECT_EQ(Outage::seconds(milliseconds(9940)), "9.9 s");
    EXPECT_EQ(Outage::seconds(milliseconds(9960)), "10 s");
    EXPECT_EQ(Outage::seconds(milliseconds(12'400)), "12 s");
    EXPECT_EQ(Outage::seconds(milliseconds(12'500)), "13 s");
}

} // namespace
