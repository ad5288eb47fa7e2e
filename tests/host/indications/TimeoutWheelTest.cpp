#include "indications/TimeoutWheel.h"

#include <QString>

#include <algorithm>
#include <atomic>
#include <functional>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "fakes/TestSeed.h"
#include "fakes/WaitUntil.h"
#include <gmock/gmock.h>

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

using Instant = TimeoutWheel::Instant;
using Tick = TimeoutWheel::Tick;

Instant instantOf(Tick tick)
{
    return Instant(tick * TimeoutWheel::tickLength);
}

/// Logs the ticks that it was called for.
class LoggingEntry final : public TimeoutWheel::Entry {
public:
    std::vector<Tick> calls;
    std::function<void()> duringCall;

private:
    const ModkitPtr<IIndicationObject> &self() const override { return _self; }
    void timeUp(Tick tick) override
    {
        calls.push_back(tick);
        if (duringCall)
            duringCall();
    }

    const ModkitPtr<IIndicationObject> _self;
};

constexpr Tick firstTick = 1000;

class TimeoutWheelTest : public testing::Test {
protected:
    TimeoutWheel wheel{instantOf(firstTick)};
    LoggingEntry entry;
};

} // namespace

TEST(TimeoutWheel, ATickIsNotBeforeItsInstant)
{
    EXPECT_EQ(TimeoutWheel::tickNotBefore(instantOf(7)), 7);
    EXPECT_EQ(TimeoutWheel::tickNotBefore(instantOf(7) + std::chrono::nanoseconds(1)), 8);
    EXPECT_EQ(TimeoutWheel::tickNotBefore(instantOf(8) - std::chrono::nanoseconds(1)), 8);
}

TEST_F(TimeoutWheelTest, AnEmptyWheelHasNothingToWaitFor)
{
    EXPECT_EQ(wheel.nextTick(), TimeoutWheel::never);
}

TEST_F(TimeoutWheelTest, HasNothingToWaitForOnceAllIsDelivered)
{
    wheel.enter(entry, firstTick + 50);
    EXPECT_EQ(wheel.nextTick(), firstTick + 50);
    wheel.deliver(instantOf(firstTick + 50));
    EXPECT_EQ(wheel.nextTick(), TimeoutWheel::never);
}

TEST_F(TimeoutWheelTest, DeliversAtTheTickAndNotBefore)
{
    wheel.enter(entry, firstTick + 5);
    wheel.deliver(instantOf(firstTick + 5) - std::chrono::nanoseconds(1));
    EXPECT_THAT(entry.calls, IsEmpty());
    wheel.deliver(instantOf(firstTick + 5));
    EXPECT_THAT(entry.calls, ElementsAre(firstTick + 5));
    wheel.deliver(instantOf(firstTick + 500));
    EXPECT_EQ(entry.calls.size(), 1U) << "an entry is delivered once";
}

TEST_F(TimeoutWheelTest, DeliversTurnsAheadAtTheTickAndNotBefore)
{
    constexpr Tick tick = firstTick + 10 * 64 + 3;
    wheel.enter(entry, tick);
    for (Tick now = firstTick; now < tick; ++now)
        wheel.deliver(instantOf(now));
    EXPECT_THAT(entry.calls, IsEmpty());
    wheel.deliver(instantOf(tick));
    EXPECT_THAT(entry.calls, ElementsAre(tick));
}

TEST_F(TimeoutWheelTest, DeliversEverythingAfterALongSleep)
{
    std::vector<LoggingEntry> entries(200);
    for (std::size_t index = 0; index < entries.size(); ++index)
        wheel.enter(entries[index], firstTick + 1 + static_cast<Tick>(index));
    wheel.deliver(instantOf(firstTick + 1000000));
    for (const LoggingEntry &one : entries)
        EXPECT_EQ(one.calls.size(), 1U);
}

TEST_F(TimeoutWheelTest, DeliversWhatIsEnteredForThePastInTheNextTick)
{
    wheel.enter(entry, firstTick - 3);
    EXPECT_EQ(wheel.nextTick(), firstTick + 1);
    wheel.deliver(instantOf(firstTick + 1));
    EXPECT_THAT(entry.calls, ElementsAre(firstTick - 3));
}

TEST_F(TimeoutWheelTest, AnEntryThatIsEnteredAgainIsMoved)
{
    wheel.enter(entry, firstTick + 5);
    wheel.enter(entry, firstTick + 8);
    wheel.deliver(instantOf(firstTick + 7));
    EXPECT_THAT(entry.calls, IsEmpty());
    wheel.deliver(instantOf(firstTick + 20));
    EXPECT_THAT(entry.calls, ElementsAre(firstTick + 8));
}

TEST_F(TimeoutWheelTest, AnEntryThatHasLeftIsNotDelivered)
{
    wheel.enter(entry, firstTick + 5);
    wheel.leave(entry);
    wheel.deliver(instantOf(firstTick + 20));
    EXPECT_THAT(entry.calls, IsEmpty());
}

TEST_F(TimeoutWheelTest, ToLeaveTwiceOrWithoutHavingBeenEnteredIsHarmless)
{
    wheel.leave(entry);
    wheel.enter(entry, firstTick + 5);
    wheel.leave(entry);
    wheel.leave(entry);
    wheel.enter(entry, firstTick + 6);
    wheel.deliver(instantOf(firstTick + 20));
    EXPECT_THAT(entry.calls, ElementsAre(firstTick + 6));
}

TEST_F(TimeoutWheelTest, AnEntryCanBeTakenOutByAnotherOneThatIsDueAtTheSameTime)
{
    LoggingEntry second;
    entry.duringCall = [&] { wheel.leave(second); };
    second.duringCall = [&] { wheel.leave(entry); };
    wheel.enter(entry, firstTick + 5);
    wheel.enter(second, firstTick + 5);
    wheel.deliver(instantOf(firstTick + 5));
    EXPECT_EQ(entry.calls.size() + second.calls.size(), 1U);
}

TEST_F(TimeoutWheelTest, AnEntryCanBeEnteredAgainFromWithinItsOwnCall)
{
    entry.duringCall = [&] { wheel.enter(entry, firstTick + 9); };
    wheel.enter(entry, firstTick + 5);
    wheel.deliver(instantOf(firstTick + 5));
    EXPECT_THAT(entry.calls, ElementsAre(firstTick + 5));
    entry.duringCall = nullptr;
    wheel.deliver(instantOf(firstTick + 9));
    EXPECT_THAT(entry.calls, ElementsAre(firstTick + 5, firstTick + 9));
}

TEST_F(TimeoutWheelTest, AgreesWithAPlainListOverManyRandomSteps)
{
    std::mt19937_64 random(testSeed());
    std::vector<LoggingEntry> entries(50);
    std::vector<Tick> expected(entries.size(), TimeoutWheel::never);
    Tick now = firstTick;
    int deliveredCount = 0;
    for (int step = 0; step < 20000; ++step) {
        const std::size_t index = random() % entries.size();
        switch (random() % 4) {
        case 0:
        case 1:
            expected[index] = now - 2 + static_cast<Tick>(random() % (random() % 8 == 0 ? 1000 : 70));
            wheel.enter(entries[index], expected[index]);
            break;
        case 2:
            expected[index] = TimeoutWheel::never;
            wheel.leave(entries[index]);
            break;
        default:
            now += 1 + static_cast<Tick>(random() % (random() % 50 == 0 ? 300 : 4));
            wheel.deliver(instantOf(now));
            for (std::size_t one = 0; one < entries.size(); ++one) {
                std::vector<Tick> due;
                if (expected[one] <= now)
                    due.push_back(std::exchange(expected[one], TimeoutWheel::never));
                ASSERT_EQ(entries[one].calls, due) << "step " << step;
                deliveredCount += static_cast<int>(due.size());
                entries[one].calls.clear();
            }
        }
        const Tick first = *std::min_element(expected.begin(), expected.end());
        ASSERT_LE(wheel.nextTick(), std::max(first, now + 1)) << "step " << step;
    }
    EXPECT_GT(deliveredCount, 1000);
}

TEST(TimeoutWheelRun, WakesUpForAnEntryThatIsEarlierThanTheOneItWaitsFor)
{
    const Instant begin = std::chrono::steady_clock::now();
    TimeoutWheel wheel(begin);
    LoggingEntry late;
    LoggingEntry early;
    std::atomic<bool> isDelivered{false};
    early.duringCall = [&] { isDelivered = true; };
    const Tick lateTick = TimeoutWheel::tickNotBefore(begin + std::chrono::hours(1));
    wheel.enter(late, lateTick);
    std::thread thread([&] { wheel.run(); });
    wheel.enter(early, TimeoutWheel::tickNotBefore(begin + milliseconds(30)));
    EXPECT_TRUE(waitUntil([&] { return isDelivered.load(); }));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(30));
    wheel.stop();
    thread.join();
    EXPECT_THAT(late.calls, IsEmpty());
}

TEST(TimeoutWheelRun, WakesUpFromAnEmptyWheelAndEndsAtOnce)
{
    TimeoutWheel wheel(std::chrono::steady_clock::now());
    LoggingEntry entry;
    std::atomic<int> deliveredCount{0};
    entry.duringCall = [&] { ++deliveredCount; };
    std::thread thread([&] { wheel.run(); });
    for (int round = 1; round <= 3; ++round) {
        wheel.enter(entry, TimeoutWheel::tickNotBefore(std::chrono::steady_clock::now()));
        ASSERT_TRUE(waitUntil([&] { return deliveredCount.load() == round; }));
        ASSERT_TRUE(waitUntil([&] { return wheel.nextTick() == TimeoutWheel::never; }));
    }
    wheel.stop();
    thread.join();
}
