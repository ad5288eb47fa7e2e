#include "sources/Backoff.h"

#include <QString>

#include "fakes/TestSeed.h"
#include <gmock/gmock.h>

namespace {

using std::chrono::milliseconds;

/// The range that the delay @p number, counted from 0, lies in.
milliseconds plain(int number)
{
    return std::min(milliseconds(500) * (1 << std::min(number, 10)), milliseconds(30'000));
}

TEST(Backoff, DoublesTheDelayUpToTheLimitAndVariesItByAThird)
{
    Backoff backoff(milliseconds(500), milliseconds(30'000), static_cast<std::mt19937::result_type>(testSeed()));
    for (int number = 0; number < 200; ++number) {
        const milliseconds delay = backoff.next();
        EXPECT_GE(delay, plain(number) * 2 / 3) << number;
        EXPECT_LE(delay, plain(number) * 4 / 3) << number;
    }
}

TEST(Backoff, DelaysSpreadOverTheWholeRange)
{
    Backoff backoff(milliseconds(9000), milliseconds(9000), static_cast<std::mt19937::result_type>(testSeed()));
    milliseconds shortest = milliseconds::max();
    milliseconds longest = milliseconds::zero();
    for (int number = 0; number < 1000; ++number) {
        const milliseconds delay = backoff.next();
        shortest = std::min(shortest, delay);
        longest = std::max(longest, delay);
    }
    EXPECT_LT(shortest, milliseconds(6300));
    EXPECT_GT(longest, milliseconds(11'700));
}

TEST(Backoff, TwoOfDifferentSeedsPartWays)
{
    Backoff one(milliseconds(500), milliseconds(30'000), 1);
    Backoff other(milliseconds(500), milliseconds(30'000), 2);
    int equal = 0;
    for (int number = 0; number < 20; ++number)
        equal += one.next() == other.next() ? 1 : 0;
    EXPECT_LT(equal, 5);
}

TEST(Backoff, BeginsAnewAfterASuccess)
{
    Backoff backoff(milliseconds(500), milliseconds(30'000), static_cast<std::mt19937::result_type>(testSeed()));
    for (int number = 0; number < 10; ++number)
        backoff.next();
    backoff.reset();
    EXPECT_LE(backoff.next(), milliseconds(667));
    EXPECT_GE(backoff.next(), milliseconds(666));
}

} // namespace
