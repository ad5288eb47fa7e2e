#include "session/GovernorPolicy.h"

#include <algorithm>
#include <limits>
#include <vector>

#include <gmock/gmock.h>

using namespace std::chrono_literals;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;

namespace {

using Instant = GovernorPolicy::Instant;
using Seconds = std::chrono::seconds;

constexpr decoding::Mode performance = decoding::Mode::Performance;
constexpr decoding::Mode timeSaving = decoding::Mode::TimeSaving;

/// A policy with limits of 0.6 and 0.9, dwell times of 5 to 60 s, and a second for each sample.
class Governed {
public:
    /// Lets @p count seconds pass, each with a sample of @p load. @return the seconds, since the beginning, in which it
    /// switched.
    std::vector<int> pass(int count, double load, bool isLate = false)
    {
        std::vector<int> switchedAt;
        for (int i = 0; i < count; ++i) {
            ++_second;
            if (const auto made = policy.sample(load, isLate, now())) {
                last = *made;
                switchedAt.push_back(_second);
            }
        }
        return switchedAt;
    }

    /// Overloads it until it saves time, and then takes the load away until it is back. @return how long it saved.
    Seconds overloadOnce()
    {
        while (policy.mode() == performance)
            pass(1, 1.0);
        const int savedFrom = _second;
        while (policy.mode() == timeSaving)
            pass(1, 0.1);
        return Seconds(_second - savedFrom);
    }

    Instant now() const { return Instant() + Seconds(_second); }
    void noteSwitch(decoding::Mode mode) { policy.noteSwitch(mode, now()); }

    GovernorPolicy policy{GovernorPolicy::Settings{decoding::LoadLimits{0.6, 0.9}, 5s, 60s}};
    GovernorPolicy::Switch last{};

private:
    int _second = 0;
};

/// Streams that want more or less of a machine. What cannot be decoded in time waits, and keeps the machine busy, until
/// it is skipped in time-saving mode.
class Machine {
public:
    explicit Machine(double demand) { wants(demand); }

    /// @param demand share of the machine that all blocks take; the key blocks take a seventh or so of it.
    void wants(double demand) { _demand = demand; }

    struct Event {
        int second;
        decoding::Mode mode;
    };

    /// Runs for @p seconds. @return the switches.
    std::vector<Event> run(int seconds)
    {
        std::vector<Event> events;
        for (int i = 0; i < seconds; ++i) {
            ++_second;
            const auto made = _policy.sample(loadOfOneSecond(), false, Instant() + Seconds(_second));
            if (made)
                events.push_back({_second, made->mode});
        }
        return events;
    }

    int lateSeconds() const { return _lateSeconds; }
    decoding::Mode mode() const { return _policy.mode(); }

private:
    double loadOfOneSecond()
    {
        if (_policy.mode() == timeSaving) {
            _backlog = 0;
            return _demand * 0.2 / 1.5;
        }
        const double wanted = _demand + _backlog;
        _backlog = std::max(0.0, wanted - 1.0);
        _lateSeconds += _backlog > 0 ? 1 : 0;
        return std::min(wanted, 1.0);
    }

    GovernorPolicy _policy{GovernorPolicy::Settings{decoding::LoadLimits{0.6, 0.9}, 5s, 60s}};
    double _demand = 0;
    double _backlog = 0; // seconds of the whole machine
    int _second = 0;
    int _lateSeconds = 0;
};

std::vector<int> gaps(const std::vector<Machine::Event> &events)
{
    std::vector<int> result;
    for (std::size_t i = 1; i < events.size(); ++i)
        result.push_back(events[i].second - events[i - 1].second);
    return result;
}

} // namespace

TEST(GovernorPolicy, SavesTimeAfterTwoSamplesInARowAboveHigh)
{
    Governed governed;
    EXPECT_THAT(governed.pass(1, 0.95), IsEmpty());
    EXPECT_THAT(governed.pass(1, 0.7), IsEmpty());
    EXPECT_THAT(governed.pass(1, 0.95), IsEmpty());
    EXPECT_EQ(governed.policy.mode(), performance);
    EXPECT_THAT(governed.pass(1, 1.0416), ElementsAre(4));
    EXPECT_EQ(governed.policy.mode(), timeSaving);
    EXPECT_EQ(governed.last.mode, timeSaving);
    EXPECT_EQ(governed.last.load, 1.0416);
    EXPECT_EQ(governed.last.reason, "CPU load 1.042 above 0.90 twice");
}

TEST(GovernorPolicy, SavesWhenBlocksAreLateTwiceWhateverTheLoad)
{
    Governed governed;
    EXPECT_THAT(governed.pass(1, 0.7, true), IsEmpty());
    EXPECT_THAT(governed.pass(1, 0.7), IsEmpty());
    EXPECT_THAT(governed.pass(1, 0.95), IsEmpty());
    EXPECT_THAT(governed.pass(1, 0.1, true), ElementsAre(4));
    EXPECT_EQ(governed.last.mode, timeSaving);
    EXPECT_EQ(governed.last.reason, "blocks came too late to be decoded, at CPU load 0.100");
}

TEST(GovernorPolicy, DoesNotReturnWhileBlocksAreLate)
{
    Governed governed;
    governed.pass(2, 1.0);
    EXPECT_THAT(governed.pass(20, 0.1, true), IsEmpty());
    EXPECT_THAT(governed.pass(2, 0.1), ElementsAre(24));
}

TEST(GovernorPolicy, ReturnsAfterTwoSamplesInARowBelowLowOnceTheDwellTimeIsOver)
{
    Governed governed;
    EXPECT_THAT(governed.pass(2, 1.0), ElementsAre(2));
    EXPECT_THAT(governed.pass(3, 0.7), IsEmpty());
    EXPECT_THAT(governed.pass(1, 0.5), IsEmpty());
    EXPECT_THAT(governed.pass(1, 0.7), IsEmpty()); // the dwell time is over
    EXPECT_THAT(governed.pass(1, 0.5), IsEmpty());
    EXPECT_THAT(governed.pass(1, 0.41), ElementsAre(9));
    EXPECT_EQ(governed.last.mode, performance);
    EXPECT_EQ(governed.last.reason, "CPU load 0.410 below 0.60 twice");
}

TEST(GovernorPolicy, LeavesEverythingAsItIsAtTheLimitsAndBetween)
{
    Governed governed;
    EXPECT_THAT(governed.pass(20, 0.9), IsEmpty());
    EXPECT_THAT(governed.pass(20, 0.1), IsEmpty());
    governed.pass(2, 1.0);
    EXPECT_THAT(governed.pass(20, 0.6), IsEmpty());
    EXPECT_THAT(governed.pass(20, 2.0), IsEmpty());
    EXPECT_EQ(governed.policy.mode(), timeSaving);
}

TEST(GovernorPolicy, PassesOverLoadsThatAreNoNumbers)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
    Governed governed;
    EXPECT_THAT(governed.pass(5, infinity), IsEmpty());
    EXPECT_THAT(governed.pass(1, 1.0), IsEmpty());
    EXPECT_THAT(governed.pass(1, notANumber), IsEmpty());
    EXPECT_THAT(governed.pass(1, infinity), IsEmpty());
    EXPECT_THAT(governed.pass(1, 1.0), ElementsAre(9)) << "the two samples are in a row";
    EXPECT_THAT(governed.pass(20, -infinity), IsEmpty());
    EXPECT_THAT(governed.pass(20, notANumber), IsEmpty());
}

TEST(GovernorPolicy, SwitchesAtTheEndOfTheDwellTimeForWhatWasSampledInIt)
{
    Governed governed;
    governed.pass(2, 1.0);
    EXPECT_THAT(governed.pass(6, 0.5), ElementsAre(7));
    EXPECT_EQ(governed.last.reason, "CPU load 0.500 below 0.60 5 times");
}

TEST(GovernorPolicy, DoublesTheTimeOfSavingWithEveryReturnInVainUpToTheLongest)
{
    Governed governed;
    std::vector<Seconds> saved;
    saved.reserve(6);
    for (int i = 0; i < 6; ++i)
        saved.push_back(governed.overloadOnce());
    EXPECT_THAT(saved, ElementsAre(5s, 10s, 20s, 40s, 60s, 60s));
}

TEST(GovernorPolicy, IsQuickToSaveHoweverManyReturnsWereInVain)
{
    Governed governed;
    for (int i = 0; i < 6; ++i)
        governed.overloadOnce();
    // Long enough in performance mode for its dwell time to be over, not for the return to have held.
    governed.pass(5, 0.7);
    EXPECT_THAT(governed.pass(2, 1.0), SizeIs(1));
    EXPECT_EQ(governed.policy.remainingDwell(governed.now()), 60s);
}

TEST(GovernorPolicy, SavesForAShortTimeAgainOnceAReturnHasHeld)
{
    Governed governed;
    governed.overloadOnce();
    governed.overloadOnce();
    governed.pass(57, 0.7);
    ASSERT_THAT(governed.pass(2, 1.0), SizeIs(1)); // 59 s after the return
    ASSERT_EQ(governed.policy.remainingDwell(governed.now()), 20s);
    ASSERT_THAT(governed.pass(20, 0.1), SizeIs(1));
    governed.pass(58, 0.7);
    ASSERT_THAT(governed.pass(2, 1.0), SizeIs(1)); // 60 s after it
    EXPECT_EQ(governed.policy.remainingDwell(governed.now()), 5s);
}

TEST(GovernorPolicy, KeepsWhatSomebodyElseChoseForTheDwellTime)
{
    Governed governed;
    governed.pass(1, 0.1);
    governed.noteSwitch(timeSaving);
    EXPECT_EQ(governed.policy.mode(), timeSaving);
    EXPECT_THAT(governed.pass(10, 0.1), ElementsAre(6));
    EXPECT_EQ(governed.last.reason, "CPU load 0.100 below 0.60 5 times") << "of those since the switch";
    governed.noteSwitch(performance); // the mode in force, at 11 s
    EXPECT_THAT(governed.pass(10, 1.0), ElementsAre(16));
}

TEST(GovernorPolicy, CountsAReturnByHandInVainToo)
{
    Governed governed;
    governed.pass(2, 1.0);
    governed.noteSwitch(performance);
    EXPECT_THAT(governed.pass(5, 1.0), ElementsAre(7));
    EXPECT_EQ(governed.policy.remainingDwell(governed.now()), 10s);
}

TEST(GovernorPolicy, NeedsFreshSamplesAfterAGap)
{
    Governed governed;
    governed.pass(1, 1.0);
    governed.policy.forgetSamples();
    EXPECT_THAT(governed.pass(1, 1.0), IsEmpty());
    EXPECT_THAT(governed.pass(1, 1.0), ElementsAre(3));
}

TEST(GovernorPolicy, TellsADwellTimeThatIsAlmostOverAsNotOver)
{
    Governed governed;
    EXPECT_EQ(governed.policy.remainingDwell(governed.now()), 0ms);
    governed.noteSwitch(timeSaving);
    EXPECT_EQ(governed.policy.remainingDwell(governed.now() + 5s - 1ns), 1ms);
    EXPECT_EQ(governed.policy.remainingDwell(governed.now() + 5s), 0ms);
    EXPECT_EQ(governed.policy.remainingDwell(governed.now() + 1h), 0ms);
}

TEST(GovernorPolicy, SettlesDownUnderLastingOverload)
{
    Machine machine(1.5);
    const std::vector<Machine::Event> first = machine.run(600);
    ASSERT_FALSE(first.empty());
    EXPECT_EQ(first.front().second, 2);
    EXPECT_THAT(gaps(first), Each(Ge(5)));
    // At 2 s, and then 5 s of performance after each 5, 10, 20, 40, 60, 60... s of saving.
    EXPECT_THAT(first, SizeIs(AllOf(Ge(15U), Le(24U))));
    EXPECT_LE(machine.lateSeconds(), 62);

    // Without backing off, there would be one in every five seconds, and every other second would be late.
    const int lateBefore = machine.lateSeconds();
    EXPECT_THAT(machine.run(600), SizeIs(Le(20U)));
    EXPECT_LE(machine.lateSeconds() - lateBefore, 50);
}

TEST(GovernorPolicy, ComesBackWithinTheDwellTimeAndStaysWhenTheOverloadIsOver)
{
    // The overload ends at any moment of the pattern.
    for (int overloadSeconds = 30; overloadSeconds < 300; overloadSeconds += 7) {
        Machine machine(1.5);
        machine.run(overloadSeconds);
        machine.wants(0.3);
        EXPECT_THAT(machine.run(61), SizeIs(Le(2U))) << overloadSeconds;
        EXPECT_EQ(machine.mode(), performance) << overloadSeconds;
        EXPECT_THAT(machine.run(600), IsEmpty()) << overloadSeconds;
    }
}

TEST(GovernorPolicy, IsBackInTwoSamplesAfterTheFirstDwellTimeOfAShortOverload)
{
    Machine machine(1.5);
    machine.run(2);
    machine.wants(0.3);
    const std::vector<Machine::Event> events = machine.run(600);
    ASSERT_THAT(events, SizeIs(1));
    EXPECT_EQ(events.front().second, 7);
}
