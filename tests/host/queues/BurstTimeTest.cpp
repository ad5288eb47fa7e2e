#include "queues/BurstTime.h"

#include <optional>

#include <gtest/gtest.h>

TEST(BurstTime, IsLongWhileNoInputIsPunctual)
{
    const auto time = std::make_shared<BurstTime>();
    EXPECT_EQ(time->longest(), BurstTime::alone);
    const BurstTime::Share one(time, BurstTime::Kind::Bursts);
    const BurstTime::Share other(time, BurstTime::Kind::Bursts);
    EXPECT_EQ(time->longest(), BurstTime::alone);
}

TEST(BurstTime, IsSharedByAllBurstsWhileAnInputIsPunctual)
{
    const auto time = std::make_shared<BurstTime>();
    const BurstTime::Share one(time, BurstTime::Kind::Bursts);
    std::optional<BurstTime::Share> live(std::in_place, time, BurstTime::Kind::Punctual);
    EXPECT_EQ(time->longest(), BurstTime::besidePunctual);
    {
        const BurstTime::Share other(time, BurstTime::Kind::Bursts);
        const BurstTime::Share paced(time, BurstTime::Kind::Punctual);
        EXPECT_EQ(time->longest(), BurstTime::besidePunctual / 2);
        live.reset();
        EXPECT_EQ(time->longest(), BurstTime::besidePunctual / 2);
    }
    EXPECT_EQ(time->longest(), BurstTime::alone);
}
