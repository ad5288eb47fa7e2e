#include "terminal/StreamRow.h"

#include "MadeUpSnapshot.h"
#include <gmock/gmock.h>

using decoding::Mode;
using decoding::Snapshot;
using decoding::State;
using testing::ElementsAre;

namespace {

std::vector<std::string> names(const Snapshot &snapshot)
{
    std::vector<std::string> names;
    for (const StreamRow &row : StreamRow::of(snapshot))
        names.push_back(row.name());
    return names;
}

} // namespace

TEST(StreamRow, IsOneForEachStreamAndForEachInputWithoutStreams)
{
    Snapshot snapshot = MadeUpSnapshot::streams(2);
    snapshot.inputs[0].streams.push_back(snapshot.inputs[0].streams[0]);
    snapshot.inputs[0].streams[1].name = "cam-1 audio";
    Snapshot::Input door;
    door.name = "door";
    snapshot.inputs.insert(snapshot.inputs.begin() + 1, door);
    EXPECT_THAT(names(snapshot), ElementsAre("cam-1 video", "cam-1 audio", "door", "cam-2 video"));
    EXPECT_TRUE(names(Snapshot()).empty());
}

TEST(StreamRow, TellsOfAnInputWithoutStreamsWhatThereIsToTell)
{
    Snapshot::Input door;
    door.name = "door";
    door.state = State::Waiting;
    door.error = "door: cannot be opened: Connection refused";
    const StreamRow row(door);
    EXPECT_EQ(row.state(), State::Waiting);
    EXPECT_EQ(row.trouble(), "cannot be opened: Connection refused");
    EXPECT_EQ(row.lights(), std::nullopt);
    EXPECT_EQ(row.frames(), 0);
    EXPECT_EQ(row.framesPerSecond(), std::nullopt);
    EXPECT_EQ(row.latencyMs(), std::nullopt);
    EXPECT_EQ(row.worstLatencyMs(), std::nullopt);
    EXPECT_STREQ(row.modeText(), "performance");
    EXPECT_EQ(row.threadName(), "");
}

TEST(StreamRow, TellsWhatIsWrongBesideTheNameAndNotBehindIt)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam");
    EXPECT_EQ(MadeUpSnapshot::row(input).trouble(), "");
    input.error = "cam: no route";
    EXPECT_EQ(MadeUpSnapshot::row(input).trouble(), "no route");
    input.error = "camera: no route";
    EXPECT_EQ(MadeUpSnapshot::row(input).trouble(), "camera: no route") << "another name";
    input.error = "the clip of cam: no route";
    EXPECT_EQ(MadeUpSnapshot::row(input).trouble(), "the clip of cam: no route");
}

TEST(StreamRow, HasTheFiguresOfItsStream)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam");
    input.streams[0].lost = 3;
    input.streams[0].latency = {20.5, 17, 480};
    const StreamRow row = MadeUpSnapshot::row(input);
    EXPECT_EQ(row.frames(), 18'250);
    EXPECT_EQ(row.framesPerSecond(), 25.0);
    EXPECT_EQ(row.lost(), 3);
    EXPECT_EQ(row.latencyMs(), 17);
    EXPECT_EQ(row.worstLatencyMs(), 480);
    EXPECT_EQ(row.threadName(), "Decoder/1");
    EXPECT_EQ(row.lights(), input.streams[0].lights);
}

TEST(StreamRow, AModeThatNoSwitchConcernsIsFixed)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam");
    EXPECT_STREQ(MadeUpSnapshot::row(input).modeText(), "performance");
    input.streams[0].mode = Mode::TimeSaving;
    EXPECT_STREQ(MadeUpSnapshot::row(input).modeText(), "time-saving");
    input.streams[0].tuned = false;
    EXPECT_STREQ(MadeUpSnapshot::row(input).modeText(), "fixed");
}
