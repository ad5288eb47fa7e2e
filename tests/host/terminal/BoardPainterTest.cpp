#include "terminal/BoardPainter.h"

#include <algorithm>
#include <limits>

#include "CharacterSet.h"
#include "MadeUpSnapshot.h"
#include <gmock/gmock.h>

using Tone = BoardPicture::Tone;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class BoardPainterInUtf8 : public testing::Test {
    const CharacterSet _set{"C.UTF-8"};
};

LoadHistory madeUpLoads()
{
    LoadHistory history;
    for (const decoding::Snapshot::Load &load : MadeUpSnapshot::loads())
        history.add(load);
    return history;
}

std::vector<std::string> painted(const decoding::Snapshot &snapshot, int width, int height,
                                 BoardView view = BoardView())
{
    const BoardPicture picture = BoardPainter::paint(snapshot, madeUpLoads(), view, width, height);
    std::vector<std::string> lines;
    for (int row = 0; row < height; ++row)
        lines.push_back(picture.text(row));
    return lines;
}

int streamsIn(const std::vector<std::string> &lines)
{
    return static_cast<int>(std::count_if(lines.begin(), lines.end(), [](const std::string &line) {
        return line.compare(0, 6, "  cam-") == 0 || line.compare(0, 6, "! cam-") == 0;
    }));
}

} // namespace

TEST_F(BoardPainterInUtf8, ShowsAFewStreamsIn80By24)
{
    decoding::Snapshot snapshot = MadeUpSnapshot::streams(3);
    MadeUpSnapshot::say(snapshot, "first");
    MadeUpSnapshot::say(snapshot, "second");
    const std::vector<std::string> lines = painted(snapshot, 80, 24);
    EXPECT_EQ(lines[0], "3 streams   1 unwell   running 0:12:00                               worst first");
    EXPECT_THAT(lines[1],
                AllOf(StartsWith("CPU load  37 %  "), EndsWith("  component's   1 %  3 decoders  performance mode")));
    EXPECT_EQ(lines[2], "Decoders on Decoder/1: 2  Decoder/2: 1");
    EXPECT_THAT(lines[3], StartsWith("  Stream "));
    EXPECT_THAT(lines[4], StartsWith("! cam-2 video"));
    EXPECT_EQ(lines[7], "");
    EXPECT_EQ(lines[20], "cam-2 video on Decoder/2: waiting to connect again; connection refused, next tr…");
    EXPECT_THAT(lines[21], EndsWith(":00 first"));
    EXPECT_THAT(lines[22], EndsWith(":00 second"));
    EXPECT_EQ(lines[23], "q quit  ? help  s S sort  p performance  t time-saving  g governor  ↑↓ select");
}

TEST_F(BoardPainterInUtf8, ShowsAsManyStreamsAsThereIsRoomFor)
{
    const std::vector<std::string> small = painted(MadeUpSnapshot::streams(100), 80, 24);
    EXPECT_EQ(streamsIn(small), 18);
    EXPECT_THAT(small[0], EndsWith("  worst first   1-18 of 100"));
    EXPECT_EQ(streamsIn(painted(MadeUpSnapshot::streams(100), 200, 50)), 44);
    EXPECT_EQ(streamsIn(painted(MadeUpSnapshot::streams(1000), 200, 2000)), 1000);
}

TEST_F(BoardPainterInUtf8, AllIsWellWithoutStreamsThatAreUnwell)
{
    EXPECT_THAT(painted(MadeUpSnapshot::streams(1), 80, 24)[0], StartsWith("1 stream  all well  running "));
    const std::vector<std::string> none = painted(MadeUpSnapshot::streams(0), 80, 24);
    EXPECT_THAT(none[0], AllOf(StartsWith("0 streams "), Not(HasSubstr("well"))));
    EXPECT_EQ(none[22], "");
}

TEST_F(BoardPainterInUtf8, AnySizeWillDo)
{
    for (const int count : {0, 1, 3, 100}) {
        decoding::Snapshot snapshot = MadeUpSnapshot::streams(count);
        snapshot.governor = "0.60:0.90 time-saving, 12 s to go";
        for (int message = 0; message < 50; ++message)
            MadeUpSnapshot::say(snapshot, std::string(500, 'm'));
        for (int width = 0; width < 230; width += width < 24 ? 1 : 13) {
            for (int height = 0; height < 60; height += height < 18 ? 1 : 9) {
                BoardView view;
                const BoardPicture picture = BoardPainter::paint(snapshot, madeUpLoads(), view, width, height);
                EXPECT_EQ(picture.width(), width);
                EXPECT_EQ(picture.height(), height);
            }
        }
    }
}

TEST_F(BoardPainterInUtf8, ATinyTerminalShowsTheWorstStream)
{
    const std::vector<std::string> lines = painted(MadeUpSnapshot::streams(100), 20, 5);
    EXPECT_THAT(lines[0], StartsWith("100 streams"));
    EXPECT_EQ(lines[2], "  Stream     MLCTKND");
    EXPECT_EQ(lines[3], "! cam-…video");
}

TEST_F(BoardPainterInUtf8, LeavesTheComponentsLoadOutWhereItDoesNotFit)
{
    const decoding::Snapshot snapshot = MadeUpSnapshot::streams(3);
    EXPECT_THAT(painted(snapshot, 64, 24)[1], AllOf(StartsWith("CPU load  37 %  "), Not(HasSubstr("component"))));
    EXPECT_EQ(painted(snapshot, 65, 24)[1], "CPU load  37 %    component's   1 %  3 decoders  performance mode");
}

TEST_F(BoardPainterInUtf8, ALoadThatIsNoNumberIsADash)
{
    decoding::Snapshot snapshot = MadeUpSnapshot::streams(1);
    snapshot.measuredLoad.now = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THAT(painted(snapshot, 80, 24)[1], StartsWith("CPU load     -  "));
}

TEST_F(BoardPainterInUtf8, TheGovernorHasALineOfItsOwnWhereItDoesNotFit)
{
    decoding::Snapshot snapshot = MadeUpSnapshot::streams(1);
    snapshot.mode = decoding::Mode::TimeSaving;
    snapshot.governor = "0.60:0.90 time-saving, 12 s to go";
    const std::vector<std::string> narrow = painted(snapshot, 80, 24);
    EXPECT_THAT(narrow[1], EndsWith("time-saving mode"));
    EXPECT_EQ(narrow[2], "Governor 0.60:0.90 time-saving, 12 s to go");
    const std::vector<std::string> wide = painted(snapshot, 200, 50);
    EXPECT_THAT(wide[1], EndsWith("time-saving mode  Governor 0.60:0.90 time-saving, 12 s to go"));
    EXPECT_THAT(wide[2], StartsWith("Decoders on "));
}

TEST_F(BoardPainterInUtf8, ManyThreadsAreShownShort)
{
    decoding::Snapshot snapshot = MadeUpSnapshot::streams(1);
    snapshot.threads.clear();
    for (int i = 1; i <= 8; ++i)
        snapshot.threads.push_back({"Decoder/" + std::to_string(i), i});
    EXPECT_EQ(painted(snapshot, 80, 24)[2], "Decoders on Decoder/ 1:1 2:2 3:3 4:4 5:5 6:6 7:7 8:8");
    for (int i = 9; i <= 64; ++i)
        snapshot.threads.push_back({"Decoder/" + std::to_string(i), 1});
    const std::string line = painted(snapshot, 80, 24)[2];
    EXPECT_LE(line.size(), 80U);
    EXPECT_THAT(line, AllOf(HasSubstr(" 1:1 2:2 "), EndsWith(" 11:1 +53 threads")));
}

TEST_F(BoardPainterInUtf8, TheSelectedStreamIsHighlightedAndExplained)
{
    BoardView view;
    decoding::Snapshot snapshot = MadeUpSnapshot::streams(3);
    EXPECT_TRUE(BoardPainter::paint(snapshot, madeUpLoads(), view, 80, 24).line(4)[0].isHighlighted);
    view.handleKey(BoardKey::Down);
    const BoardPicture picture = BoardPainter::paint(snapshot, madeUpLoads(), view, 80, 24);
    EXPECT_FALSE(picture.line(4)[0].isHighlighted);
    EXPECT_TRUE(picture.line(5)[0].isHighlighted);
    EXPECT_THAT(picture.text(5), StartsWith("  cam-1 video"));
    EXPECT_EQ(picture.text(22), "cam-1 video on Decoder/1: well");
}

TEST_F(BoardPainterInUtf8, TheSelectedStreamTellsWhatTheTableHasNoRoomFor)
{
    decoding::Snapshot snapshot = MadeUpSnapshot::streams(1);
    decoding::Snapshot::Stream &stream = snapshot.inputs[0].streams[0];
    stream.codec = "h264";
    stream.width = 1280;
    stream.height = 720;
    stream.damaged = 147;
    snapshot.inputs[0].live = true;
    snapshot.inputs[0].connections = 3;
    stream.outputs.emplace_back();
    stream.outputs[0].failed = 1234;
    stream.lastError = decoding::Snapshot::Trouble{snapshot.at, "damaged picture"};
    const std::string line = painted(snapshot, 200, 24)[22];
    EXPECT_THAT(line, StartsWith("cam-1 video on Decoder/1: well; h264 1280x720; 147 damaged; 1,234 not written; "
                                 "3 connections; last error "));
    EXPECT_THAT(line, EndsWith(":00 damaged picture"));
}

TEST_F(BoardPainterInUtf8, MessagesGiveWayToStreams)
{
    decoding::Snapshot snapshot = MadeUpSnapshot::streams(5);
    for (int i = 1; i <= 20; ++i)
        MadeUpSnapshot::say(snapshot, "message " + std::to_string(i));
    const std::vector<std::string> few = painted(snapshot, 80, 24);
    EXPECT_THAT(few[17], EndsWith(" message 15"));
    EXPECT_THAT(few[22], EndsWith(" message 20"));
    decoding::Snapshot crowded = MadeUpSnapshot::streams(100);
    crowded.messages = snapshot.messages;
    const std::vector<std::string> many = painted(crowded, 80, 24);
    EXPECT_THAT(many[20], StartsWith("cam-"));
    EXPECT_THAT(many[21], EndsWith(":00 message 19"));
    EXPECT_THAT(many[22], EndsWith(":00 message 20"));
}

TEST_F(BoardPainterInUtf8, MessagesCannotCommandTheTerminal)
{
    decoding::Snapshot snapshot = MadeUpSnapshot::streams(1);
    MadeUpSnapshot::say(snapshot, "a\x1b]0;title\x07");
    EXPECT_THAT(painted(snapshot, 80, 24)[22], EndsWith(":00 a?]0;title?"));
}

TEST_F(BoardPainterInUtf8, TheHelpExplainsTheLights)
{
    BoardView view;
    view.handleKey(BoardKey::Help);
    const std::vector<std::string> lines = painted(MadeUpSnapshot::streams(3), 80, 24, view);
    const std::string all = testing::PrintToString(lines);
    EXPECT_THAT(all,
                AllOf(HasSubstr("L blocks lost"), HasSubstr("K key block"), HasSubstr("Any key closes this help.")));
}

TEST(BoardPainter, KeepsToAsciiInALocaleThatIsNotUtf8)
{
    const CharacterSet set("C");
    decoding::Snapshot snapshot = MadeUpSnapshot::streams(30);
    snapshot.inputs[0].streams[0].name = "Tür";
    for (const std::string &line : painted(snapshot, 80, 24)) {
        for (const char character : line)
            EXPECT_TRUE(character >= ' ' && character <= '~') << line;
    }
}
