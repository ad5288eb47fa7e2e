#include "cli/RunMessages.h"

#include <chrono>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

TEST(RunMessages, GivesOutTheTextsOnceInTheOrderInWhichTheyCame)
{
    RunMessages messages;
    messages.add(RunMessages::Message{7, {}, "of the session"});
    messages.add("of the program");
    EXPECT_THAT(messages.take(), ElementsAre("of the session", "of the program"));
    EXPECT_THAT(messages.take(), IsEmpty());
}

TEST(RunMessages, KeepsTheLastOnesWithTheirTimesAndNumbersThemAnew)
{
    const auto sessionTime = std::chrono::system_clock::time_point(std::chrono::hours(5));
    RunMessages messages;
    for (int i = 1; i <= 60; ++i)
        messages.add(std::to_string(i));
    messages.add(RunMessages::Message{7, sessionTime, "of the session"});
    const std::vector<RunMessages::Message> latest = messages.latest();
    ASSERT_EQ(latest.size(), 50U);
    EXPECT_EQ(latest.front().text, "12");
    EXPECT_EQ(latest.front().number, 12);
    EXPECT_GT(latest.front().at, sessionTime);
    EXPECT_EQ(latest.back().text, "of the session");
    EXPECT_EQ(latest.back().number, 61);
    EXPECT_EQ(latest.back().at, sessionTime);
}
