#include "cli/RunMessages.h"

#include <chrono>

#include "media/ClockTime.h"
#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

TEST(RunMessages, GivesOutTheTextsOnceInTheOrderInWhichTheyCame)
{
    RunMessages messages;
    messages.add(RunMessages::Message{7, {}, "of the session", false});
    messages.add("of the program");
    EXPECT_THAT(messages.take(), ElementsAre(EndsWith(": of the session"), EndsWith(": of the program")));
    EXPECT_THAT(messages.take(), IsEmpty());
}

TEST(RunMessages, KeepsTheLastOnesWithTheirTimesAndNumbersThemAnew)
{
    const auto sessionTime = std::chrono::system_clock::time_point(std::chrono::hours(5));
    RunMessages messages;
    for (int i = 1; i <= 60; ++i)
        messages.add(std::to_string(i));
    messages.add(RunMessages::Message{7, sessionTime, "of the session", false});
    const std::vector<RunMessages::Message> latest = messages.latest();
    ASSERT_EQ(latest.size(), 50U);
    EXPECT_EQ(latest.front().text, "12");
    EXPECT_EQ(latest.front().number, 12);
    EXPECT_GT(latest.front().at, sessionTime);
    EXPECT_EQ(latest.back().text, "of the session");
    EXPECT_EQ(latest.back().number, 61);
    EXPECT_EQ(latest.back().at, sessionTime);
}

TEST(RunMessages, AllSayWhenTheyCame)
{
    const auto time = std::chrono::system_clock::time_point(std::chrono::hours(5));
    const std::string shown = ClockTime::full(time);
    RunMessages messages;
    messages.add(RunMessages::Message{7, time, "a message", false});
    messages.add(RunMessages::Message{7, time, "an error", true});
    EXPECT_THAT(messages.take(), ElementsAre(shown + ": a message", shown + ": an error"));
    EXPECT_EQ(messages.latest().front().text, "a message") << "whoever shows it shows its time";
}
