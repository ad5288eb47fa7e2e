#include "terminal/LoadHistory.h"

#include <limits>

#include <gmock/gmock.h>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const LoadHistory::Instant start(1h);

LoadHistory historyOf(std::initializer_list<double> loads)
{
    LoadHistory history;
    LoadHistory::Instant now = start;
    for (const double load : loads)
        history.add(load, now += 1s);
    return history;
}

} // namespace

TEST(LoadHistory, KeepsOneFigureASecond)
{
    LoadHistory history;
    EXPECT_THAT(history.latest(9), IsEmpty());
    history.add(0.1, start);
    history.add(0.2, start + 999ms);
    history.add(0.3, start + 1000ms);
    history.add(0.4, start + 1999ms);
    EXPECT_THAT(history.latest(9), ElementsAre(0.1, 0.3));
}

TEST(LoadHistory, KeepsEachFigureOfOneWhoComesASecondLaterNowEarlyNowLate)
{
    LoadHistory history;
    history.add(0, start);
    history.add(1, start + 1020ms);
    history.add(2, start + 2000ms);
    history.add(3, start + 3999ms);
    history.add(4, start + 4000ms);
    history.add(4.1, start + 4999ms);
    history.add(5, start + 5001ms);
    EXPECT_THAT(history.latest(9), ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST(LoadHistory, MissesAtMostOneFigureWhereTheFirstCameLate)
{
    LoadHistory history;
    history.add(0, start + 10ms);
    for (int second = 1; second <= 6; ++second)
        history.add(second, start + std::chrono::seconds(second) + std::chrono::milliseconds(second * 7 % 20));
    EXPECT_THAT(history.latest(9), ElementsAre(0, 2, 3, 4, 5, 6));
}

TEST(LoadHistory, DoesNotMakeUpForAPause)
{
    LoadHistory history;
    history.add(0, start);
    history.add(1, start + 10s);
    history.add(2, start + 10s + 999ms);
    history.add(3, start + 11s);
    history.add(4, start + 11s + 999ms);
    EXPECT_THAT(history.latest(9), ElementsAre(0, 1, 3));
}

TEST(LoadHistory, ForgetsTheOldestFigures)
{
    LoadHistory history;
    for (int second = 0; second < 1000; ++second)
        history.add(second, start + std::chrono::seconds(second));
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
