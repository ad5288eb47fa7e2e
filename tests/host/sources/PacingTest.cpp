#include "sources/Pacing.h"

#include <limits>

#include <gmock/gmock.h>

namespace {

using std::chrono::milliseconds;

const Pacing::Instant begin = Pacing::Instant(std::chrono::hours(5));

TEST(Pacing, TheFirstBlockIsDueAtOnce)
{
    Pacing pacing;
    EXPECT_EQ(pacing.dueAt(-700, begin), begin);
}

TEST(Pacing, TheOthersAreDueAsMuchLaterWhateverTheDelay)
{
    Pacing pacing;
    pacing.dueAt(1000, begin);
    EXPECT_EQ(pacing.dueAt(1040, begin + milliseconds(1)), begin + milliseconds(40));
    EXPECT_EQ(pacing.dueAt(1080, begin + milliseconds(500)), begin + milliseconds(80));
}

TEST(Pacing, WhatIsBeforeTheFirstIsDueAtOnce)
{
    Pacing pacing;
    pacing.dueAt(1000, begin);
    EXPECT_EQ(pacing.dueAt(900, begin + milliseconds(1)), begin);
}

TEST(Pacing, AbsurdTimesDoNotOverflow)
{
    Pacing pacing;
    pacing.dueAt(0, begin);
    EXPECT_GT(pacing.dueAt(std::numeric_limits<qint64>::max(), begin), begin + std::chrono::hours(24 * 300));
}

} // namespace
