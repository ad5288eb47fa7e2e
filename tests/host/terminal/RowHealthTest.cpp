#include "terminal/RowHealth.h"

#include "MadeUpSnapshot.h"
#include <gmock/gmock.h>

using decoding::Light;
using decoding::Snapshot;
using decoding::State;

namespace {

Snapshot::Input inputWith(Snapshot::LightIndex index, Light light)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam");
    (*input.streams[0].lights)[index] = light;
    return input;
}

RowHealth healthOf(const Snapshot::Input &input)
{
    return RowHealth::of(MadeUpSnapshot::row(input));
}

} // namespace

TEST(RowHealth, AStreamThatRunsIsWell)
{
    const RowHealth health = healthOf(MadeUpSnapshot::input("cam"));
    EXPECT_EQ(health.degree, RowHealth::Well);
    EXPECT_FALSE(health.isUnwell());
    EXPECT_STREQ(health.text(), "");
}

TEST(RowHealth, TimeSavingAndCatchingUpAreNoFaults)
{
    EXPECT_EQ(healthOf(inputWith(Snapshot::ModeLight, Light::Warning)).degree, RowHealth::Well);
    EXPECT_EQ(healthOf(inputWith(Snapshot::PushedLight, Light::Warning)).degree, RowHealth::Well);
}

TEST(RowHealth, AnyRedLightIsUnwell)
{
    for (std::size_t i = 0; i < Snapshot::lightCount; ++i) {
        Snapshot::Input input = inputWith(static_cast<Snapshot::LightIndex>(i), Light::Bad);
        input.streams[0].latency.reset();
        EXPECT_TRUE(healthOf(input).isUnwell()) << i;
    }
    EXPECT_EQ(healthOf(inputWith(Snapshot::LostLight, Light::Bad)).degree, RowHealth::Losing);
    EXPECT_EQ(healthOf(inputWith(Snapshot::PushedLight, Light::Bad)).degree, RowHealth::Faulty);
}

TEST(RowHealth, AStreamThatWasLateIsNotLateForEver)
{
    Snapshot::Input input = inputWith(Snapshot::LatencyLight, Light::Bad);
    input.streams[0].latency->lastMs = 150;
    EXPECT_EQ(healthOf(input).degree, RowHealth::Late);
    input.streams[0].latency->lastMs = 149;
    EXPECT_EQ(healthOf(input).degree, RowHealth::Uneasy);
    EXPECT_FALSE(healthOf(input).isUnwell());
}

TEST(RowHealth, AFewLostBlocksAreNotWellAndNotUnwell)
{
    const RowHealth health = healthOf(inputWith(Snapshot::LostLight, Light::Warning));
    EXPECT_EQ(health.degree, RowHealth::Uneasy);
    EXPECT_FALSE(health.isUnwell());
}

TEST(RowHealth, ARunningStreamWithoutFramesIsUnwell)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam");
    input.streams[0].framesPerSecond = 0;
    EXPECT_EQ(healthOf(input).degree, RowHealth::Still);
    input.streams[0].framesPerSecond.reset();
    EXPECT_EQ(healthOf(input).degree, RowHealth::Well) << "it has only begun";
    input.streams[0].framesPerSecond = 0;
    input.state = State::Ended;
    EXPECT_EQ(healthOf(input).degree, RowHealth::Over);
}

TEST(RowHealth, WithoutAConnectionOnlyTheStateCounts)
{
    Snapshot::Input input = inputWith(Snapshot::LostLight, Light::Bad);
    input.state = State::Queued;
    EXPECT_FALSE(healthOf(input).isUnwell());
    EXPECT_STREQ(healthOf(input).text(), "waits for its turn");
    input.state = State::Connecting;
    EXPECT_FALSE(healthOf(input).isUnwell());
    input.state = State::Waiting;
    EXPECT_TRUE(healthOf(input).isUnwell());
    input.state = State::Failed;
    EXPECT_TRUE(healthOf(input).isUnwell());
}

TEST(RowHealth, AStreamThatNobodyReadsYetIsNotUnwell)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam");
    input.state = State::Ready;
    input.streams[0].framesPerSecond = 0;
    EXPECT_EQ(healthOf(input).degree, RowHealth::Ready);
    EXPECT_FALSE(healthOf(input).isUnwell());
    EXPECT_STREQ(healthOf(input).text(), "nobody asks for its frames yet");
}

TEST(RowHealth, DamageIsUnwellForAWhileAndOfAFileUntilItsEnd)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam");
    input.live = true;
    input.streams[0].damaged = 147;
    input.streams[0].sinceDamage = std::chrono::milliseconds(9'999);
    EXPECT_EQ(healthOf(input).degree, RowHealth::Damaged);
    EXPECT_TRUE(healthOf(input).isUnwell());
    input.streams[0].sinceDamage = std::chrono::seconds(10);
    EXPECT_EQ(healthOf(input).degree, RowHealth::Well);
    input.live = false;
    EXPECT_EQ(healthOf(input).degree, RowHealth::Damaged);
}

TEST(RowHealth, AnOutputThatCannotBeWrittenIsUnwellUntilItCan)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam");
    input.streams[0].outputs.resize(2);
    input.streams[0].outputs[1].error = "cannot write cam.y4m: full";
    input.streams[0].outputs[1].failed = 3;
    input.streams[0].outputs[1].failing = true;
    EXPECT_EQ(healthOf(input).degree, RowHealth::NotWritten);
    EXPECT_TRUE(healthOf(input).isUnwell());
    EXPECT_EQ(MadeUpSnapshot::row(input).trouble(), "cannot write cam.y4m: full");
    input.streams[0].outputs[1].failing = false;
    EXPECT_EQ(healthOf(input).degree, RowHealth::Well);
}

TEST(RowHealth, AStreamWithoutADecoderIsUnwellWhateverItsInputIsAboutAndItsLightsShow)
{
    for (const State state : {State::Running, State::Waiting, State::Ended}) {
        Snapshot::Input input = MadeUpSnapshot::input("cam");
        input.state = state;
        input.streams[0].missingCodec = "NOPE";
        EXPECT_EQ(healthOf(input).degree, RowHealth::NoDecoder);
        EXPECT_TRUE(healthOf(input).isUnwell());
        EXPECT_EQ(MadeUpSnapshot::row(input).trouble(), "no decoder for NOPE");
    }
}

TEST(RowHealth, AStreamThatLacksFramesIsStill)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam");
    input.streams[0].frames = 0;
    input.streams[0].framesPerSecond.reset();
    input.decoding = std::chrono::seconds(5);
    EXPECT_EQ(healthOf(input).degree, RowHealth::Well) << "this stream may have begun later";
    input.streams[0].lacksFrames = true;
    EXPECT_EQ(healthOf(input).degree, RowHealth::Still);
}
