#include <QThread>

#include <cmath>
#include <limits>

#include "CpuLoadFixture.h"
#include "fakes/WatchingDispatcher.h"

using testing::ElementsAre;
using testing::IsEmpty;

using CpuLoadPostingTest = CpuLoadFixture;

namespace {

const double infiniteLoad = std::numeric_limits<double>::infinity();

} // namespace

TEST_F(CpuLoadPostingTest, AChangeIsPostedOnce)
{
    const auto calculator = newCalculator(4);
    LoadListener listener;
    calculator->currentLoad(&listener);
    EXPECT_THAT(listener.take(), IsEmpty()) << "registration posts nothing";
    sample(*calculator, 2000, 1000);
    EXPECT_THAT(listener.take(), ElementsAre(0.5));
    sample(*calculator, 2000, 1000);
    sample(*calculator, 1000, 500);
    EXPECT_THAT(listener.take(), IsEmpty()) << "the same figure";
    sample(*calculator, 2001, 1000);
    sample(*calculator, 2000, 1000);
    EXPECT_THAT(listener.take(), ElementsAre(0.50025, 0.5));
}

TEST_F(CpuLoadPostingTest, AFirstSampleWithoutLoadIsNoChange)
{
    const auto calculator = newCalculator(4);
    LoadListener listener;
    calculator->currentLoad(&listener);
    sample(*calculator, 0, 1000);
    EXPECT_THAT(listener.take(), IsEmpty());
}

TEST_F(CpuLoadPostingTest, AListenerRegisteredTwiceHearsTwiceUntilItIsRemovedOnce)
{
    const auto calculator = newCalculator(4);
    LoadListener listener;
    calculator->currentLoad(&listener);
    calculator->currentLoad(&listener);
    sample(*calculator, 2000, 1000);
    EXPECT_THAT(listener.take(), ElementsAre(0.5, 0.5));
    calculator->removeListener(&listener);
    sample(*calculator, 1000, 1000);
    EXPECT_THAT(listener.take(), ElementsAre(0.25));
    calculator->removeListener(&listener);
    sample(*calculator, 3000, 1000);
    EXPECT_THAT(listener.take(), IsEmpty());
}

TEST_F(CpuLoadPostingTest, ListenersHearInTheOrderOfTheirRegistration)
{
    const auto calculator = newCalculator(4);
    std::vector<std::string> order;
    LoadListener first(&order, "first");
    LoadListener second(&order, "second");
    LoadListener third(&order, "third");
    for (LoadListener *listener : {&second, &first, &third, &first})
        calculator->currentLoad(listener);
    sample(*calculator, 2000, 1000);
    QCoreApplication::sendPostedEvents();
    EXPECT_THAT(order, ElementsAre("second", "first", "third", "first"));
}

TEST_F(CpuLoadPostingTest, EachListenerGetsAnEventOfItsOwnThroughTheEventQueue)
{
    const auto calculator = newCalculator(4);
    LoadListener first;
    LoadListener second;
    calculator->currentLoad(&first);
    calculator->currentLoad(&second);
    sample(*calculator, 2000, 1000);
    sample(*calculator, 1000, 1000);
    EXPECT_THAT(first._loads, IsEmpty()) << "posted, not sent";
    EXPECT_THAT(first.take(), ElementsAre(0.5, 0.25));
    EXPECT_THAT(second.take(), ElementsAre(0.5, 0.25));
}

TEST_F(CpuLoadPostingTest, NoElapsedTimeIsAnInfiniteLoadThatCountsAsOneChange)
{
    const auto calculator = newCalculator(4);
    LoadListener listener;
    calculator->currentLoad(&listener);
    EXPECT_EQ(sample(*calculator, 1, 0), infiniteLoad);
    EXPECT_EQ(sample(*calculator, 2, 0), infiniteLoad);
    EXPECT_THAT(listener.take(), ElementsAre(infiniteLoad));
}

TEST_F(CpuLoadPostingTest, NeitherElapsedNorDecodingTimeIsNoNumberAndCountsAsAChangeEachTime)
{
    const auto calculator = newCalculator(4);
    LoadListener listener;
    calculator->currentLoad(&listener);
    EXPECT_TRUE(std::isnan(sample(*calculator, 0, 0)));
    EXPECT_TRUE(std::isnan(sample(*calculator, 0, 0)));
    EXPECT_EQ(sample(*calculator, 0, 1000), 0.0) << "a change from no number";
    EXPECT_THAT(listener.take(), ElementsAre(testing::IsNan(), testing::IsNan(), 0.0));
}

TEST_F(CpuLoadPostingTest, EventsArePostedUnderTheLockWithTheLoadStoredToASnapshotOfTheListeners)
{
    const auto calculator = newCalculator(4);
    QThread thread; // never runs
    WatchingDispatcher dispatcher;
    thread.setEventDispatcher(&dispatcher);
    LoadListener first;
    LoadListener second;
    first.moveToThread(&thread);
    second.moveToThread(&thread);
    calculator->currentLoad(&first);
    calculator->currentLoad(&second);
    std::vector<std::string> posts;
    dispatcher.duringPost = [&] {
        std::string post = std::to_string(calculator->_load);
        if (calculator->_mutex.tryLock()) {
            calculator->_mutex.unlock();
            post += ", unlocked";
        }
        posts.push_back(post);
        calculator->_listeners.removeOne(&second);
    };
    sample(*calculator, 2000, 1000);
    EXPECT_THAT(posts, ElementsAre("0.500000", "0.500000"));
}

TEST_F(CpuLoadPostingTest, TheEndOfTheCalculatorPostsNothingAndLeavesWhatIsPosted)
{
    auto calculator = newCalculator(4);
    LoadListener listener;
    calculator->currentLoad(&listener);
    sample(*calculator, 2000, 1000);
    calculator.reset();
    EXPECT_THAT(listener.take(), ElementsAre(0.5));
    auto idle = newCalculator(4);
    idle->currentLoad(&listener);
    decoder->_decodingTime = 2000;
    FakeElapsedTime::advance(1000);
    idle.reset();
    EXPECT_THAT(listener.take(), IsEmpty());
}
