#include "terminal/StreamTable.h"

#include <algorithm>
#include <limits>

#include "CharacterSet.h"
#include "MadeUpSnapshot.h"
#include <gmock/gmock.h>

using Column = StreamTable::Column;
using Tone = BoardPicture::Tone;
using decoding::Light;
using decoding::Snapshot;
using decoding::State;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

namespace {

class StreamTableInUtf8 : public testing::Test {
    const CharacterSet _set{"C.UTF-8"};
};

std::vector<Column> columns(int width, const Snapshot::Input &input)
{
    std::vector<Column> result;
    const StreamTable table(width, {MadeUpSnapshot::row(input)});
    for (const StreamTable::Place &place : table.places())
        result.push_back(place.column);
    return result;
}

BoardPicture painted(int width, const Snapshot::Input &input)
{
    BoardPicture picture(width, 1);
    const StreamRow row = MadeUpSnapshot::row(input);
    StreamTable(width, {row}).paintRow(picture, 0, row);
    return picture;
}

std::string heading(int width, const BoardView &view)
{
    BoardPicture picture(width, 1);
    const Snapshot::Input input = MadeUpSnapshot::input("cam-1 video");
    StreamTable(width, {MadeUpSnapshot::row(input)}).paintHeading(picture, 0, view);
    return picture.text(0);
}

/// The tone of the first cell of @p text.
Tone toneOf(const BoardPicture &picture, const std::string &text)
{
    const std::vector<BoardPicture::Cell> &cells = picture.line(0);
    for (auto cell = cells.begin(); cell != cells.end(); ++cell) {
        std::string rest;
        std::for_each(cell, cells.end(), [&rest](const BoardPicture::Cell &each) { rest += each.text; });
        if (rest.compare(0, text.size(), text) == 0)
            return cell->tone;
    }
    ADD_FAILURE() << "there is no " << text << " in " << picture.text(0);
    return Tone::Plain;
}

} // namespace

TEST_F(StreamTableInUtf8, ShowsEverythingThatMattersIn80Columns)
{
    EXPECT_EQ(heading(80, BoardView()), "  Stream      State   MLCTKND   Frames   fps   Lost Latency  Worst Mode");
    EXPECT_EQ(painted(80, MadeUpSnapshot::input("cam-1 video")).text(0),
              "  cam-1 video run     GGGG··G   18,250  25.0      0      12     41 perf");
}

TEST_F(StreamTableInUtf8, SaysMoreIn200Columns)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam-1 video");
    input.error = "the queue is full";
    EXPECT_EQ(painted(200, input).text(0),
              "  cam-1 video  running     G G G G · · G         18,250     25.0          0          "
              "12        41  performance  Decoder/1                           0  the queue is full");
}

TEST_F(StreamTableInUtf8, LeavesOutTheLeastImportantColumnsFirst)
{
    const Snapshot::Input input = MadeUpSnapshot::input("cam-1 video");
    EXPECT_THAT(columns(60, input), ElementsAre(Column::Name, Column::State, Column::Lights, Column::Frames,
                                                Column::Rate, Column::Lost, Column::Latency));
    EXPECT_THAT(columns(30, input), ElementsAre(Column::Name, Column::Lights, Column::Rate));
    EXPECT_THAT(columns(12, input), ElementsAre(Column::Name));
}

TEST_F(StreamTableInUtf8, ColumnsNeverOverlapNorLeaveThePicture)
{
    const Snapshot::Input input = MadeUpSnapshot::input(std::string(300, 'x'));
    for (int width = 0; width < 400; ++width) {
        const StreamTable table(width, {MadeUpSnapshot::row(input)});
        int end = 1;
        for (const StreamTable::Place &place : table.places()) {
            EXPECT_GT(place.begin, end - 1) << width;
            end = place.begin + place.width + 1;
        }
        EXPECT_LE(end - 1, std::max(width, 2)) << width;
    }
}

TEST_F(StreamTableInUtf8, EveryValueStaysInItsColumn)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam-1 video");
    input.streams[0].frames = input.streams[0].lost = std::numeric_limits<std::int64_t>::max();
    input.streams[0].framesPerSecond = 1e300;
    input.streams[0].latency->lastMs = input.streams[0].latency->maximumMs = std::numeric_limits<std::int64_t>::min();
    for (const int width : {80, 200}) {
        const BoardPicture picture = painted(width, input);
        const StreamTable table(width, {MadeUpSnapshot::row(input)});
        for (const StreamTable::Place &place : table.places())
            EXPECT_EQ(picture.line(0)[static_cast<std::size_t>(place.begin) - 1].text, " ")
                << width << ", " << place.begin;
    }
}

TEST_F(StreamTableInUtf8, ShortensLongNamesInTheMiddle)
{
    const Snapshot::Input input =
        MadeUpSnapshot::input("rtsp://10.0.0.17:554/axis-media/media.amp?resolution=640x480 video");
    EXPECT_THAT(painted(80, input).text(0), StartsWith("  rtsp://10…480 video run     GGGG"));
    EXPECT_THAT(painted(200, input).text(0),
                StartsWith("  rtsp://10.0.0.17:554/axis-media…dia.amp?resolution=640x480 video  running "));
}

TEST_F(StreamTableInUtf8, WideAndOddNamesMoveNothing)
{
    const std::string plain = painted(80, MadeUpSnapshot::input("abcdefghijk")).text(0).substr(13);
    EXPECT_EQ(painted(80, MadeUpSnapshot::input("正門カメラx")).text(0), "  正門カメラx" + plain);
    EXPECT_EQ(painted(80, MadeUpSnapshot::input("a\x1b[31mb\r\ncd")).text(0), "  a?[31mb??cd" + plain);
    EXPECT_EQ(painted(80, MadeUpSnapshot::input("e\u0301bcdefghijk")).text(0), "  e\u0301bcdefghijk" + plain);
}

TEST_F(StreamTableInUtf8, LightsAreALetterAndATone)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam");
    input.streams[0].lights = {Light::Good,  Light::Warning, Light::Bad, Light::Black,
                               Light::Black, Light::Black,   Light::Good};
    const BoardPicture picture = painted(80, input);
    EXPECT_THAT(picture.text(0), HasSubstr(" GYR···G "));
    EXPECT_EQ(toneOf(picture, "GYR"), Tone::Good);
    EXPECT_EQ(toneOf(picture, "YR"), Tone::Warning);
    EXPECT_EQ(toneOf(picture, "R"), Tone::Bad);
    input.streams[0].lights.reset();
    EXPECT_THAT(painted(80, input).text(0), HasSubstr(" run               18,250 "));
}

TEST_F(StreamTableInUtf8, AStreamThatIsUnwellStandsOut)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam");
    EXPECT_EQ(toneOf(painted(80, input), "cam"), Tone::Plain);
    input.streams[0].framesPerSecond = 0;
    const BoardPicture picture = painted(80, input);
    EXPECT_THAT(picture.text(0), StartsWith("! cam "));
    EXPECT_EQ(toneOf(picture, "cam"), Tone::Alarm);
    EXPECT_THAT(painted(200, input).text(0), EndsWith("  gives no frames"));
}

TEST_F(StreamTableInUtf8, LatencyHasTheTonesOfItsLight)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam");
    input.streams[0].latency->lastMs = 49;
    EXPECT_EQ(toneOf(painted(80, input), "49"), Tone::Plain);
    input.streams[0].latency->lastMs = 50;
    EXPECT_EQ(toneOf(painted(80, input), "50     41"), Tone::Warning);
    input.streams[0].latency->lastMs = 150;
    EXPECT_EQ(toneOf(painted(80, input), "150"), Tone::Alarm);
}

TEST_F(StreamTableInUtf8, AStreamThatHasEndedIsDim)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam");
    input.state = State::Ended;
    input.streams[0].latency->lastMs = 777;
    EXPECT_EQ(toneOf(painted(80, input), "cam"), Tone::Dim);
    EXPECT_EQ(toneOf(painted(80, input), "777"), Tone::Dim);
}

TEST_F(StreamTableInUtf8, EveryStateIsAWord)
{
    const std::vector<std::pair<State, std::pair<const char *, const char *>>> words{
        {State::Queued, {"queued ", "queued "}}, {State::Connecting, {"connect ", "connecting "}},
        {State::Ready, {"ready ", "ready "}},    {State::Running, {"run ", "running "}},
        {State::Waiting, {"wait ", "waiting "}}, {State::Ended, {"ended ", "ended "}},
        {State::Failed, {"failed ", "failed "}}};
    for (const auto &[state, word] : words) {
        Snapshot::Input input = MadeUpSnapshot::input("cam");
        input.state = state;
        EXPECT_THAT(painted(80, input).text(0), HasSubstr(std::string("cam        ") + word.first));
        EXPECT_THAT(painted(200, input).text(0), HasSubstr(std::string("cam         ") + word.second));
    }
}

TEST_F(StreamTableInUtf8, EveryModeIsAWord)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam");
    input.streams[0].mode = decoding::Mode::TimeSaving;
    EXPECT_EQ(toneOf(painted(80, input), "save"), Tone::Warning);
    EXPECT_EQ(toneOf(painted(200, input), "time-saving"), Tone::Warning);
    input.streams[0].tuned = false;
    EXPECT_EQ(toneOf(painted(80, input), "fixed"), Tone::Plain);
    EXPECT_EQ(toneOf(painted(200, input), "fixed"), Tone::Plain);
}

TEST_F(StreamTableInUtf8, AnArrowMarksTheSortedColumn)
{
    BoardView view;
    while (view.sortColumn() != BoardView::SortColumn::Name)
        view.handleKey(BoardKey::NextSort);
    EXPECT_THAT(heading(80, view), StartsWith("  Stream ▲ "));
    view.handleKey(BoardKey::ReverseSort);
    EXPECT_THAT(heading(80, view), StartsWith("  Stream ▼ "));
    view.handleKey(BoardKey::NextSort);
    EXPECT_THAT(heading(80, view), HasSubstr(" ▲fps "));
    view.handleKey(BoardKey::NextSort);
    EXPECT_THAT(heading(80, view), HasSubstr(" ▼Lost "));
    view.handleKey(BoardKey::NextSort);
    EXPECT_THAT(heading(80, view), HasSubstr("▼Latency "));
}

TEST(StreamTable, KeepsToAsciiInALocaleThatIsNotUtf8)
{
    const CharacterSet set("C");
    EXPECT_THAT(painted(80, MadeUpSnapshot::input("cam")).text(0), HasSubstr(" GGGG..G "));
    BoardView view;
    while (view.sortColumn() != BoardView::SortColumn::Lost)
        view.handleKey(BoardKey::NextSort);
    EXPECT_THAT(heading(80, view), HasSubstr(" vLost "));
}

TEST_F(StreamTableInUtf8, HasColumnsForTheCodecDamageOutputsConnectionsAndTheLastErrorWhereThereIsRoom)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam-1 video");
    input.connections = 3;
    input.streams[0].codec = "h264";
    input.streams[0].width = 1280;
    input.streams[0].height = 720;
    input.streams[0].damaged = 147;
    input.streams[0].outputs.resize(1);
    input.streams[0].outputs[0].failed = 12;
    input.streams[0].lastError = Snapshot::Trouble{{}, "damaged picture"};
    const std::string row = painted(260, input).text(0);
    EXPECT_THAT(row, HasSubstr("  Decoder/1  h264 1280x720            3  damaged  "));
    EXPECT_THAT(row, HasSubstr("          0      147           12          12 "));
    EXPECT_THAT(row, EndsWith(":00 damaged picture"));
    EXPECT_THAT(heading(260, BoardView()),
                EndsWith("  Thread     Codec            Connected  Trouble" + std::string(49, ' ') + "Last error"));
    EXPECT_THAT(columns(200, input),
                IsSupersetOf({Column::Thread, Column::Damaged, Column::NotWritten, Column::Trouble}));
    EXPECT_THAT(columns(140, input), Not(Contains(Column::Form)));
}

TEST_F(StreamTableInUtf8, ShowsDamageAndWhatIsNotWrittenInPlaceOfTheLeastImportantColumns)
{
    const Snapshot::Input whole = MadeUpSnapshot::input("cam-1 video");
    Snapshot::Input damaged = whole;
    damaged.streams[0].damaged = 147;
    Snapshot::Input both = damaged;
    both.streams[0].outputs.resize(1);
    both.streams[0].outputs[0].failed = 12;
    for (const int width : {80, 120, 160, 260}) {
        SCOPED_TRACE(width);
        EXPECT_THAT(columns(width, whole), Not(Contains(Column::Damaged)));
        EXPECT_THAT(columns(width, whole), Not(Contains(Column::NotWritten)));
        EXPECT_THAT(columns(width, damaged), Contains(Column::Damaged));
        EXPECT_THAT(columns(width, damaged), Not(Contains(Column::NotWritten)));
        EXPECT_THAT(columns(width, both), IsSupersetOf({Column::Damaged, Column::NotWritten, Column::Lost}));
        const BoardPicture picture = painted(width, both);
        EXPECT_THAT(picture.text(0), testing::ContainsRegex(" 0 +147 +12 +12"));
        EXPECT_EQ(toneOf(picture, "147"), Tone::Warning);
    }
    EXPECT_THAT(columns(80, both), Not(Contains(Column::Mode)));
    EXPECT_THAT(columns(80, both), Not(Contains(Column::Worst)));
    EXPECT_THAT(columns(120, both), Not(Contains(Column::Mode)));
    EXPECT_THAT(columns(160, both), IsSupersetOf({Column::Mode, Column::Worst}));
    Snapshot snapshot;
    snapshot.inputs = {whole, damaged};
    const StreamTable table(80, StreamRow::of(snapshot));
    EXPECT_TRUE(std::any_of(table.places().begin(), table.places().end(), [](const StreamTable::Place &place) {
        return place.column == Column::Damaged;
    })) << "whichever row it is of";
}

TEST_F(StreamTableInUtf8, SaysThatThereIsNoDecoder)
{
    Snapshot::Input input = MadeUpSnapshot::input("cam-1 video");
    input.streams[0].missingCodec = "NOPE";
    EXPECT_THAT(painted(80, input).text(0), StartsWith("! cam-1 video no dec. "));
    EXPECT_THAT(painted(200, input).text(0), HasSubstr(" no-decoder "));
}
