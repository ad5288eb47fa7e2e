#include "terminal/LoadHistory.h"

#include <limits>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

decoding::Snapshot::Load sample(std::int64_t number, double now)
{
    decoding::Snapshot::Load load;
    load.now = now;
    load.samples = number;
    return load;
}

LoadHistory historyOf(std::initializer_list<double> loads)
{
    LoadHistory history;
    std::int64_t number = 0;
    for (const double load : loads)
        history.add(sample(++number, load));
    return history;
}

} // namespace

TEST(LoadHistory, KeepsEachSampleOnce)
{
    LoadHistory history;
    EXPECT_THAT(history.latest(9), IsEmpty());
    history.add(sample(1, 0.1));
    history.add(sample(1, 0.1));
    history.add(sample(2, 0.1));
    history.add(sample(3, 0.3));
    history.add(sample(3, 0.3));
    EXPECT_THAT(history.latest(9), ElementsAre(0.1, 0.1, 0.3));
}

TEST(LoadHistory, IsEmptyUntilTheFirstSample)
{
    LoadHistory history;
    history.add(decoding::Snapshot::Load());
    EXPECT_THAT(history.latest(9), IsEmpty());
}

TEST(LoadHistory, DoesNotMakeUpForSamplesThatItWasNotGiven)
{
    LoadHistory history;
    history.add(sample(7, 0.7));
    history.add(sample(7, 0.7));
    history.add(sample(10, 1.0));
    history.add(sample(11, 1.1));
    EXPECT_THAT(history.latest(9), ElementsAre(0.7, 1.0, 1.1));
}

TEST(LoadHistory, ForgetsTheOldestFigures)
{
    LoadHistory history;
    for (int number = 1; number <= 1000; ++number)
        history.add(sample(number, number - 1));
    EXPECT_EQ(history.latest(5000).size(), LoadHistory::limit);
    EXPECT_EQ(history.latest(5000).front(), 1000 - static_cast<int>(LoadHistory::limit));
    EXPECT_THAT(history.latest(2), ElementsAre(998, 999));
}

TEST(LoadHistory, DrawsEightHeights)
{
    const LoadHistory history = historyOf({0, 0.125, 0.25, 0.375, 0.5, 0.625, 0.75, 0.875, 1});
    EXPECT_EQ(history.bars(9, true), "▁▂▃▄▅▆▇██");
    EXPECT_EQ(history.bars(9, false), "_.:-=+*##");
    EXPECT_EQ(history.bars(2, true), "██");
    EXPECT_EQ(history.bars(0, true), "");
}

TEST(LoadHistory, DrawsWhatIsBeyondTheScaleAtItsEnds)
{
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(historyOf({-0.5, -infinity, 1.5, infinity}).bars(4, false), "__##");
}

TEST(LoadHistory, LeavesABlankForWhatIsNoNumber)
{
    EXPECT_EQ(historyOf({0, std::numeric_limits<double>::quiet_NaN(), 0}).bars(9, false), "_ _");
}
