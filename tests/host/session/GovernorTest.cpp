#include "session/Governor.h"

#include <limits>
#include <memory>
#include <vector>

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
    void create(std::chrono::milliseconds dwell, decoding::Mode mode = decoding::Mode::Performance)
    {
        GovernorPolicy::Settings settings;
        settings.dwell = dwell;
        settings.maxDwell = dwell;
        _governor = std::make_unique<Governor>(_published, settings, mode,
                                               [this](const std::string &line) { _lines.push_back(line); });
    }

    void tell(double load, bool lostLateBlocks = false) { _governor->sample(load, lostLateBlocks); }

    FakeTuning &_tuning = *new FakeTuning;
    const ModkitPtr<ITuneDecoding> _published{&_tuning};
    std::vector<std::string> _lines;
    std::unique_ptr<Governor> _governor;
};

} // namespace

TEST_F(GovernorTest, SwitchesTheDecodersThereAndBackWithALineForEach)
{
    create(0ms);
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
    create(0ms);
    tell(0.1, true);
    EXPECT_THAT(_tuning.modes, IsEmpty());
    tell(0.2);
    EXPECT_THAT(_tuning.modes, ElementsAre(decoding::Mode::TimeSaving));
}

TEST_F(GovernorTest, ForgetsLateBlocksAfterTheNextSample)
{
    create(0ms);
    _governor->setPaused(true);
    tell(0.1, true);
    _governor->setPaused(false);
    tell(0.1);
    tell(0.1);
    EXPECT_THAT(_tuning.modes, IsEmpty());
}

TEST_F(GovernorTest, PassesOverLoadsThatAreNoNumbers)
{
    create(0ms);
    tell(0.95);
    tell(std::numeric_limits<double>::infinity());
    tell(std::numeric_limits<double>::quiet_NaN());
    EXPECT_THAT(_tuning.modes, IsEmpty());
    tell(0.95);
    EXPECT_THAT(_tuning.modes, ElementsAre(decoding::Mode::TimeSaving));
}

TEST_F(GovernorTest, SwitchesNothingWhilePausedAndNeedsFreshSamplesAfterwards)
{
    create(0ms);
    tell(0.95);
    _governor->setPaused(true);
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
    create(never);
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
    create(never, decoding::Mode::TimeSaving);
    EXPECT_EQ(_governor->mode(), decoding::Mode::TimeSaving);
    tell(0.1);
    tell(0.2);
    EXPECT_THAT(_tuning.modes, IsEmpty());
}

TEST_F(GovernorTest, EndsTheTimeSavingModeItBeginsInWhenTheDwellTimeIsOver)
{
    create(0ms, decoding::Mode::TimeSaving);
    tell(0.1);
    tell(0.2);
    EXPECT_THAT(_tuning.modes, ElementsAre(decoding::Mode::Performance));
}
