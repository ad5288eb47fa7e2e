#include "sources/BlockTimes.h"

#include <limits>

#include <gmock/gmock.h>

namespace {

constexpr int videoStream = 0;
constexpr int audioStream = 1;

TEST(BlockTimes, AreTheFilesOwn)
{
    BlockTimes times(false);
    EXPECT_EQ(times.next(videoStream, -80, 40), -80);
    EXPECT_EQ(times.next(audioStream, 0, 20), 0);
    EXPECT_EQ(times.next(videoStream, -40, 40), -40);
    EXPECT_EQ(times.lastSinceStartMs(videoStream), 40);
    EXPECT_EQ(times.lastSinceStartMs(audioStream), 80);
}

TEST(BlockTimes, NeverGoBackWithinAKind)
{
    BlockTimes times(false);
    EXPECT_EQ(times.next(videoStream, 1000, 40), 1000);
    EXPECT_EQ(times.next(audioStream, 900, 40), 900);
    EXPECT_EQ(times.next(videoStream, 500, 40), 1000);
    EXPECT_EQ(times.next(videoStream, 1040, 40), 1040);
}

TEST(BlockTimes, FollowTheBlockBeforeWhenUnknown)
{
    BlockTimes times(false);
    EXPECT_EQ(times.next(videoStream, std::nullopt, 40), 0);
    EXPECT_EQ(times.next(videoStream, std::nullopt, 33), 40);
    EXPECT_EQ(times.next(videoStream, std::nullopt, 33), 73);
}

TEST(BlockTimes, DoNotBelieveTheAbsurd)
{
    BlockTimes times(false);
    constexpr qint64 least = std::numeric_limits<qint64>::min();
    constexpr qint64 most = std::numeric_limits<qint64>::max();
    EXPECT_EQ(times.next(videoStream, most, most), 0);
    EXPECT_EQ(times.next(videoStream, least, least), 10'000);
    EXPECT_EQ(times.next(videoStream, most, 40), 10'000);
    times.beginRepetition();
    EXPECT_EQ(times.next(videoStream, most, 40), 10'040);
}

TEST(BlockTimes, GoOnWhereTheRepetitionBeforeHasEnded)
{
    BlockTimes times(false);
    times.next(videoStream, 100, 40);
    times.next(audioStream, 90, 30);
    times.next(videoStream, 140, 40);
    times.beginRepetition();
    EXPECT_EQ(times.next(videoStream, 100, 40), 180);
    EXPECT_EQ(times.next(audioStream, 90, 30), 170);
    EXPECT_EQ(times.next(videoStream, 140, 40), 220);
    times.beginRepetition();
    EXPECT_EQ(times.next(videoStream, 100, 40), 260);
    EXPECT_EQ(times.lastSinceStartMs(videoStream), 160);
}

TEST(BlockTimes, GoOnRegularlyWhereTimeMayJump)
{
    for (const qint64 jumpedMs : {3'600'000, -3'600'000}) {
        BlockTimes times(true);
        times.next(videoStream, 5000, 40);
        times.next(audioStream, 5000, 20);
        EXPECT_EQ(times.next(videoStream, jumpedMs, 40), 5040);
        EXPECT_EQ(times.next(audioStream, 5020, 20), 5020);
        EXPECT_EQ(times.next(audioStream, jumpedMs, 20), 5040);
        EXPECT_EQ(times.next(videoStream, jumpedMs + 40, 40), 5080);
    }
}

TEST(BlockTimes, KeepPausesWhereTimeDoesNotJump)
{
    BlockTimes times(false);
    times.next(videoStream, 0, 40);
    EXPECT_EQ(times.next(videoStream, 60'000, 40), 60'000);
}

TEST(BlockTimes, KeepALateBeginningOfAKindInEachRepetition)
{
    BlockTimes times(true);
    times.next(videoStream, 0, 40);
    EXPECT_EQ(times.next(audioStream, 15'000, 20), 15'000);
    times.beginRepetition();
    EXPECT_EQ(times.next(videoStream, 0, 40), 15'020);
    EXPECT_EQ(times.next(audioStream, 15'000, 20), 30'020);
}

TEST(BlockTimes, AnotherConnectionGoesOnWhereTheOneBeforeEndedWhateverItsTimesAre)
{
    for (const qint64 beginMs : {0LL, 5000LL, 7'000'000LL, -7'000'000LL}) {
        BlockTimes times(true);
        EXPECT_EQ(times.next(videoStream, 5000, 40), 5000);
        EXPECT_EQ(times.next(audioStream, 5020, 20), 5020);
        EXPECT_EQ(times.next(videoStream, 5040, 40), 5040);
        times.beginConnection();
        EXPECT_EQ(times.next(audioStream, beginMs, 20), 5080);
        EXPECT_EQ(times.next(videoStream, beginMs + 30, 40), 5110);
        EXPECT_EQ(times.next(audioStream, beginMs + 20, 20), 5100);
    }
}

TEST(BlockTimes, TheFirstKnownTimeOfAConnectionDecides)
{
    BlockTimes times(true);
    times.beginConnection();
    EXPECT_EQ(times.next(videoStream, 5000, 40), 5000);
    times.beginConnection();
    EXPECT_EQ(times.next(videoStream, std::nullopt, 40), 5040);
    EXPECT_EQ(times.next(videoStream, 100, 40), 5080);
    EXPECT_EQ(times.next(audioStream, 90, 40), 5070);
    EXPECT_EQ(times.next(videoStream, 140, 40), 5120);
}

} // namespace
