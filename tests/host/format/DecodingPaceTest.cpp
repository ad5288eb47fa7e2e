#include "format/DecodingPace.h"

#include "format/DamageCounts.h"
#include <gtest/gtest.h>

using std::chrono::microseconds;
using std::chrono::milliseconds;

TEST(DecodingPace, IsOnePacketUntilOneWasDecoded)
{
    DecodingPace pace;
    EXPECT_EQ(pace.packetsWithin(false, std::chrono::hours(1)), 1);
    pace.note(true, 1, milliseconds(1));
    EXPECT_EQ(pace.packetsWithin(false, std::chrono::hours(1)), 1);
}

TEST(DecodingPace, GrowsNoFasterThanTwofold)
{
    DecodingPace pace;
    for (int packets = 1; packets < 16; packets *= 2) {
        pace.note(false, packets, microseconds(100) * packets);
        EXPECT_EQ(pace.packetsWithin(false, milliseconds(1)), std::min(2 * packets, 10));
    }
}

TEST(DecodingPace, IsNotShortenedByAGroupThatEndsEarly)
{
    DecodingPace pace;
    pace.note(false, 8, milliseconds(8));
    pace.note(false, 1, milliseconds(1));
    EXPECT_EQ(pace.packetsWithin(false, milliseconds(8)), 8);
}

TEST(DecodingPace, FollowsWhatTakesLongerAtOnceAndWhatTakesLessByAndBy)
{
    DecodingPace pace;
    pace.note(false, 100, milliseconds(10));
    EXPECT_EQ(pace.packetsWithin(false, milliseconds(20)), 200);
    pace.note(false, 100, milliseconds(100));
    EXPECT_EQ(pace.packetsWithin(false, milliseconds(20)), 20);
    pace.note(false, 100, milliseconds(10));
    const int afterOne = pace.packetsWithin(false, milliseconds(20));
    EXPECT_GT(afterOne, 20);
    EXPECT_LT(afterOne, 40);
    for (int round = 0; round < 30; ++round)
        pace.note(false, 100, milliseconds(10));
    EXPECT_GT(pace.packetsWithin(false, milliseconds(20)), 190);
}

TEST(DecodingPace, IsAtLeastOnePacketHoweverLongThatTakes)
{
    DecodingPace pace;
    pace.note(false, 3, milliseconds(300));
    EXPECT_EQ(pace.packetsWithin(false, milliseconds(20)), 1);
    EXPECT_EQ(pace.packetsWithin(false, milliseconds(0)), 1);
    // Too little to be measured.
    pace.note(true, 3, milliseconds(0));
    EXPECT_EQ(pace.packetsWithin(true, milliseconds(20)), 6);
}

TEST(DecodingPace, OfKeyBlocksIsApart)
{
    DecodingPace pace;
    pace.note(false, 100, milliseconds(10));
    pace.note(true, 4, milliseconds(20));
    EXPECT_EQ(pace.packetsWithin(true, milliseconds(20)), 4);
    EXPECT_EQ(pace.packetsWithin(false, milliseconds(20)), 200);
}

TEST(DecodingPace, IsStoppedForGood)
{
    DecodingPace pace;
    EXPECT_FALSE(pace.isStopped());
    pace.stop();
    pace.note(false, 1, milliseconds(1));
    EXPECT_TRUE(pace.isStopped());
}

TEST(DecodingPace, OfAStreamIsThereForAsLongAsItIsWatched)
{
    DamageCounts damage;
    EXPECT_EQ(damage.paceOf({"clip video"}), nullptr);
    auto watched = damage.watchPace({"clip video"});
    EXPECT_EQ(damage.paceOf({"clip video"}), watched);
    EXPECT_EQ(damage.paceOf({"other video"}), nullptr);
    // Another one of the same stream, which follows it.
    auto next = damage.watchPace({"clip video"});
    EXPECT_EQ(next, watched);
    watched.reset();
    damage.forget({"clip video"});
    EXPECT_EQ(damage.paceOf({"clip video"}), next);
    next.reset();
    EXPECT_EQ(damage.paceOf({"clip video"}), nullptr);
}
