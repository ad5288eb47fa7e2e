#include "session/Governor.h"

#include <QCoreApplication>

#include <limits>
#include <memory>
#include <thread>
#include <vector>

#include "QEvent_CpuLoad.h"
#include "fakes/WaitUntil.h"
#include "host/session/FakeTuning.h"
#include <gmock/gmock.h>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

constexpr std::chrono::milliseconds never = 1h;

class GovernorTest : public testing::Test {
protected:
    void create(std::chrono::milliseconds dwell, std::chrono::milliseconds loadInterval,
                decoding::Mode mode = decoding::Mode::Performance)
    {
        GovernorPolicy::Settings settings;
        settings.dwell = dwell;
        settings.maxDwell = dwell;
        _governor = std::make_unique<Governor>(
            _published, settings, mode, [this](const std::string &line) { _lines.push_back(line); }, loadInterval);
    }

    /// As the component does it.
    void tell(double load)
    {
        for (QObject *const listener : _tuning.listeners)
            QCoreApplication::postEvent(listener, new QEvent_CpuLoad(load));
        QCoreApplication::sendPostedEvents();
    }

    FakeTuning &_tuning = *new FakeTuning;
    const ModkitPtr<ITuneDecoding> _published{&_tuning};
    std::vector<std::string> _lines;
    std::unique_ptr<Governor> _governor;
};

} // namespace

TEST_F(GovernorTest, ListensWhileItLives)
{
    create(5s, never);
    EXPECT_EQ(_tuning.listeners.size(), 1U);
    _governor.reset();
    EXPECT_THAT(_tuning.listeners, IsEmpty());
}

TEST_F(GovernorTest, SwitchesTheDecodersThereAndBackWithALineForEach)
{
    create(0ms, never);
    tell(0.95);
    EXPECT_THAT(_tuning.modes, IsEmpty());
    tell(1.042);
    EXPECT_THAT(_tuning.modes, ElementsAre(decoding::Mode::TimeSaving));
    EXPECT_EQ(_governor->mode(), decoding::Mode::TimeSaving);
    tell(0.2);
    tell(0.3);
    EXPECT_THAT(_tuning.modes, ElementsAre(decoding::Mode::TimeSaving, decoding::Mode::Performance));
    EXPECT_THAT(_lines, ElementsAre("governor: time-saving mode: CPU load 1.042 above 0.90 twice",
                                    "governor: performance mode: CPU load 0.300 below 0.60 twice"));
}

TEST_F(GovernorTest, SavesAtALowLoadWhereBlocksAreLate)
{
    create(0ms, never);
    _governor->noteLateBlocks();
    tell(0.1);
    tell(0.2);
    EXPECT_THAT(_tuning.modes, ElementsAre(decoding::Mode::TimeSaving));
}

TEST_F(GovernorTest, ForgetsLateBlocksAfterAnIntervalAndAHalf)
{
    create(0ms, 200ms);
    const auto begin = std::chrono::steady_clock::now();
    _governor->noteLateBlocks();
    while (std::chrono::steady_clock::now() < begin + 300ms)
        std::this_thread::yield();
    tell(0.1);
    tell(0.2);
    EXPECT_THAT(_tuning.modes, IsEmpty());
}

TEST_F(GovernorTest, TakesALoadThatStaysForFurtherSamples)
{
    create(0ms, 10ms);
    tell(0.95);
    EXPECT_TRUE(waitUntil([this] {
        QCoreApplication::processEvents();
        return !_tuning.modes.empty();
    }));
    EXPECT_THAT(_tuning.modes, ElementsAre(decoding::Mode::TimeSaving));
}

TEST_F(GovernorTest, TakesTheLoadOfItsBeginningForASample)
{
    _tuning.load = 0.95;
    create(0ms, 10ms);
    EXPECT_TRUE(waitUntil([this] {
        QCoreApplication::processEvents();
        return !_tuning.modes.empty();
    }));
}

TEST_F(GovernorTest, DoesNotTakeALoadTwiceWhenTheNextOneIsALittleLate)
{
    create(0ms, 200ms);
    const auto begin = std::chrono::steady_clock::now();
    tell(0.95);
    while (std::chrono::steady_clock::now() < begin + 240ms)
        QCoreApplication::processEvents();
    tell(0.5);
    // On a machine that stood still meanwhile, the first load did stay for two.
    if (std::chrono::steady_clock::now() < begin + 290ms)
        EXPECT_THAT(_tuning.modes, IsEmpty());
    else
        GTEST_SKIP() << "the machine is too slow to tell";
}

TEST_F(GovernorTest, IgnoresOtherEventsAndLoadsThatAreNoNumbers)
{
    create(0ms, never);
    tell(0.95);
    for (QObject *const listener : _tuning.listeners)
        QCoreApplication::postEvent(listener, new QEvent(static_cast<QEvent::Type>(QEvent::User + 1)));
    tell(std::numeric_limits<double>::infinity());
    tell(std::numeric_limits<double>::quiet_NaN());
    EXPECT_THAT(_tuning.modes, IsEmpty());
    tell(0.95);
    EXPECT_THAT(_tuning.modes, ElementsAre(decoding::Mode::TimeSaving));
}

TEST_F(GovernorTest, SwitchesNothingWhilePausedAndNeedsFreshSamplesAfterwards)
{
    create(0ms, never);
    tell(0.95);
    _governor->setPaused(true);
    EXPECT_TRUE(_governor->isPaused());
    EXPECT_EQ(_governor->status(), "0.60:0.90, performance, paused");
    tell(1.0);
    tell(0.99);
    _governor->setPaused(false);
    tell(0.98);
    EXPECT_THAT(_tuning.modes, IsEmpty());
    tell(0.97);
    EXPECT_THAT(_tuning.modes, ElementsAre(decoding::Mode::TimeSaving));
}

TEST_F(GovernorTest, KeepsAModeThatSomebodyElseChoseForTheDwellTime)
{
    create(never, never);
    EXPECT_EQ(_governor->status(), "0.60:0.90, performance");
    _governor->noteSwitch(decoding::Mode::TimeSaving);
    EXPECT_THAT(_governor->status(), StartsWith("0.60:0.90, time-saving, 3600 s to dwell"));
    tell(0.1);
    tell(0.2);
    EXPECT_THAT(_tuning.modes, IsEmpty());
    EXPECT_EQ(_governor->mode(), decoding::Mode::TimeSaving);
}

TEST_F(GovernorTest, KeepsTheTimeSavingModeItBeginsInForTheDwellTime)
{
    create(never, never, decoding::Mode::TimeSaving);
    EXPECT_EQ(_governor->mode(), decoding::Mode::TimeSaving);
    tell(0.1);
    tell(0.2);
    EXPECT_THAT(_tuning.modes, IsEmpty());
}

TEST_F(GovernorTest, EndsTheTimeSavingModeItBeginsInWhenTheDwellTimeIsOver)
{
    create(0ms, never, decoding::Mode::TimeSaving);
    tell(0.1);
    tell(0.2);
    EXPECT_THAT(_tuning.modes, ElementsAre(decoding::Mode::Performance));
}
