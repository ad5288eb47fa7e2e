#include "terminal/BoardLines.h"

#include <algorithm>

#include "MadeUpSnapshot.h"
#include "media/ClockTime.h"
#include <gmock/gmock.h>

using namespace std::chrono_literals;
using testing::HasSubstr;

TEST(BoardLines, TellTheHostAndEachStream)
{
    decoding::Snapshot snapshot = MadeUpSnapshot::streams(2);
    snapshot.inputs[0].streams[0].lost = 3;
    const std::string time = ClockTime::full(snapshot.at);
    EXPECT_EQ(
        BoardLines::render(snapshot),
        time +
            " board running_s=720 load=0.01 measured_load=0.37 streams=2 unwell=1 decoders=2 mode=performance "
            "thread=\"Decoder/1\":1 "
            "thread=\"Decoder/2\":1\n" +
            time +
            " stream name=\"cam-1 video\" state=running unwell=no lights=GGGG..G frames=19251 fps=25.0 lost=3 "
            "latency_ms=17 worst_ms=41 mode=performance damaged=0 not_written=0 connections=0 thread=\"Decoder/1\"\n" +
            time +
            " stream name=\"cam-2 video\" state=waiting unwell=yes lights=- frames=20252 fps=- lost=0 latency_ms=- "
            "worst_ms=- mode=performance damaged=0 not_written=0 connections=0 thread=\"Decoder/2\" "
            "trouble=\"connection refused, next try in 4 s\"\n");
}

TEST(BoardLines, SayWhyAStreamIsUnwell)
{
    decoding::Snapshot snapshot = MadeUpSnapshot::streams(1);
    snapshot.inputs[0].streams[0].framesPerSecond = 0;
    EXPECT_THAT(BoardLines::render(snapshot), HasSubstr(" unwell=yes lights=GGGG..G frames=19251 fps=0.0 "));
    EXPECT_THAT(BoardLines::render(snapshot), HasSubstr(" trouble=\"gives no frames\"\n"));
}

TEST(BoardLines, KeepTheOrderOfTheInput)
{
    const std::string text = BoardLines::render(MadeUpSnapshot::streams(40));
    std::size_t last = 0;
    for (int i = 1; i <= 40; ++i) {
        const std::size_t place = text.find(" stream name=\"cam-" + std::to_string(i) + " video\"");
        ASSERT_NE(place, std::string::npos) << i;
        EXPECT_GT(place, last);
        last = place;
    }
}

TEST(BoardLines, HoldNoControlCharactersAndNoLooseQuotes)
{
    decoding::Snapshot snapshot;
    snapshot.mode = decoding::Mode::TimeSaving;
    snapshot.governor = "off\n";
    snapshot.inputs.push_back(MadeUpSnapshot::input("a\"b\\c\x1b[2J\u009b\nd Tür"));
    const std::string text = BoardLines::render(snapshot);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
    EXPECT_THAT(
        text, HasSubstr(" load=- measured_load=- streams=1 unwell=0 decoders=0 mode=time-saving governor=\"off?\"\n"));
    EXPECT_THAT(text, HasSubstr("name=\"a\\\"b\\\\c?[2J??d Tür\" state="));
}

TEST(BoardLines, HoldNothingThatTurnsTheDirectionOfWritingOrIsNotSeen)
{
    decoding::Snapshot snapshot;
    snapshot.inputs.push_back(MadeUpSnapshot::input("a\u202eb\u2066c\u200bd\u2028e\ue000"));
    EXPECT_THAT(BoardLines::render(snapshot), HasSubstr("name=\"a?b?c?d?e?\" state="));
}

TEST(BoardLines, ComeEveryFewSeconds)
{
    BoardLines lines(2s);
    const decoding::Snapshot snapshot = MadeUpSnapshot::streams(1);
    const BoardLines::Instant start(1h);
    EXPECT_EQ(lines.update(snapshot, start), BoardLines::render(snapshot));
    EXPECT_EQ(lines.update(snapshot, start + 1999ms), std::nullopt);
    EXPECT_EQ(lines.update(snapshot, start + 2000ms), BoardLines::render(snapshot));
    EXPECT_EQ(lines.update(snapshot, start + 3999ms), std::nullopt);
}

TEST(BoardLines, TellDamageOutputsConnectionsTheCodecAndTheLastError)
{
    decoding::Snapshot snapshot = MadeUpSnapshot::streams(1);
    decoding::Snapshot::Input &input = snapshot.inputs[0];
    input.connections = 3;
    input.lastError = decoding::Snapshot::Trouble{snapshot.at - 1s, "no packet for 5 s"};
    input.streams[0].damaged = 147;
    input.streams[0].codec = "h264";
    input.streams[0].width = 1280;
    input.streams[0].height = 720;
    input.streams[0].outputs.resize(2);
    input.streams[0].outputs[0].failed = 2;
    input.streams[0].outputs[1].failed = 5;
    EXPECT_THAT(BoardLines::render(snapshot),
                HasSubstr(" mode=performance damaged=147 not_written=7 connections=3 codec=\"h264 1280x720\" thread="));
    EXPECT_THAT(BoardLines::render(snapshot), HasSubstr(":59 no packet for 5 s\" trouble=\"damaged\"\n"));
    input.streams[0].lastError = decoding::Snapshot::Trouble{snapshot.at, "damaged picture"};
    EXPECT_THAT(BoardLines::render(snapshot), HasSubstr(":00 damaged picture\""));
    input.streams[0].missingCodec = "NOPE";
    EXPECT_THAT(BoardLines::render(snapshot), HasSubstr(" state=no-decoder unwell=yes "));
}
