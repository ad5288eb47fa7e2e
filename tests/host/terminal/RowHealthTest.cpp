#include "terminal/RowHealth.h"

#include "MadeUpState.h"
#include <gmock/gmock.h>

using Row = BoardState::Row;

namespace {

Row rowWith(BoardState::LightIndex index, Light light)
{
    Row row = MadeUpState::row("cam");
    (*row.lights)[index] = light;
    return row;
}

} // namespace

TEST(RowHealth, AStreamThatRunsIsWell)
{
    const RowHealth health = RowHealth::of(MadeUpState::row("cam"));
    EXPECT_EQ(health.degree, RowHealth::Well);
    EXPECT_FALSE(health.isUnwell());
    EXPECT_STREQ(health.text(), "");
}

TEST(RowHealth, TimeSavingAndCatchingUpAreNoFaults)
{
    EXPECT_EQ(RowHealth::of(rowWith(BoardState::ModeLight, Light::Warning)).degree, RowHealth::Well);
    EXPECT_EQ(RowHealth::of(rowWith(BoardState::PushedLight, Light::Warning)).degree, RowHealth::Well);
}

TEST(RowHealth, AnyRedLightIsUnwell)
{
    for (std::size_t i = 0; i < BoardState::lightCount; ++i) {
        Row row = rowWith(static_cast<BoardState::LightIndex>(i), Light::Bad);
        row.latencyMs.reset();
        EXPECT_TRUE(RowHealth::of(row).isUnwell()) << i;
    }
    EXPECT_EQ(RowHealth::of(rowWith(BoardState::LostLight, Light::Bad)).degree, RowHealth::Losing);
    EXPECT_EQ(RowHealth::of(rowWith(BoardState::PushedLight, Light::Bad)).degree, RowHealth::Faulty);
}

TEST(RowHealth, AStreamThatWasLateIsNotLateForEver)
{
    Row row = rowWith(BoardState::LatencyLight, Light::Bad);
    row.latencyMs = 150;
    EXPECT_EQ(RowHealth::of(row).degree, RowHealth::Late);
    row.latencyMs = 149;
    EXPECT_EQ(RowHealth::of(row).degree, RowHealth::Uneasy);
    EXPECT_FALSE(RowHealth::of(row).isUnwell());
}

TEST(RowHealth, AFewLostBlocksAreNotWellAndNotUnwell)
{
    const RowHealth health = RowHealth::of(rowWith(BoardState::LostLight, Light::Warning));
    EXPECT_EQ(health.degree, RowHealth::Uneasy);
    EXPECT_FALSE(health.isUnwell());
}

TEST(RowHealth, ARunningStreamWithoutFramesIsUnwell)
{
    Row row = MadeUpState::row("cam");
    row.framesPerSecond = 0;
    EXPECT_EQ(RowHealth::of(row).degree, RowHealth::Still);
    row.framesPerSecond.reset();
    EXPECT_EQ(RowHealth::of(row).degree, RowHealth::Well) << "it has only begun";
    row.framesPerSecond = 0;
    row.state = Row::State::Ended;
    EXPECT_EQ(RowHealth::of(row).degree, RowHealth::Over);
}

TEST(RowHealth, WithoutAConnectionOnlyTheStateCounts)
{
    Row row = rowWith(BoardState::LostLight, Light::Bad);
    row.state = Row::State::Connecting;
    EXPECT_FALSE(RowHealth::of(row).isUnwell());
    row.state = Row::State::Waiting;
    EXPECT_TRUE(RowHealth::of(row).isUnwell());
    row.state = Row::State::Failed;
    EXPECT_TRUE(RowHealth::of(row).isUnwell());
}
