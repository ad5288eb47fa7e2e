#include "terminal/StreamTable.h"

#include <algorithm>
#include <limits>

#include "CharacterSet.h"
#include "MadeUpState.h"
#include <gmock/gmock.h>

using Column = StreamTable::Column;
using Row = BoardState::Row;
using Tone = BoardPicture::Tone;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class StreamTableInUtf8 : public testing::Test {
    const CharacterSet _set{"C.UTF-8"};
};

std::vector<Column> columns(int width, const std::vector<Row> &rows)
{
    std::vector<Column> result;
    const StreamTable table(width, rows);
    for (const StreamTable::Place &place : table.places())
        result.push_back(place.column);
    return result;
}

BoardPicture painted(int width, const Row &row)
{
    BoardPicture picture(width, 1);
    StreamTable(width, {row}).paintRow(picture, 0, row);
    return picture;
}

std::string heading(int width, const BoardView &view)
{
    BoardPicture picture(width, 1);
    StreamTable(width, {MadeUpState::row("cam-1 video")}).paintHeading(picture, 0, view);
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
    EXPECT_EQ(painted(80, MadeUpState::row("cam-1 video")).text(0),
              "  cam-1 video run     GGGG··G   18,250  25.0      0      12     41 perf");
}

TEST_F(StreamTableInUtf8, SaysMoreIn200Columns)
{
    Row row = MadeUpState::row("cam-1 video");
    row.trouble = "the queue is full";
    EXPECT_EQ(painted(200, row).text(0),
              "  cam-1 video  running     G G G G · · G         18,250     25.0          0          "
              "12        41  performance  Decoder/1  the queue is full");
}

TEST_F(StreamTableInUtf8, LeavesOutTheLeastImportantColumnsFirst)
{
    const std::vector<Row> rows{MadeUpState::row("cam-1 video")};
    EXPECT_THAT(columns(60, rows), ElementsAre(Column::Name, Column::State, Column::Lights, Column::Rate, Column::Lost,
                                               Column::Latency, Column::Worst));
    EXPECT_THAT(columns(30, rows), ElementsAre(Column::Name, Column::Lights, Column::Rate));
    EXPECT_THAT(columns(12, rows), ElementsAre(Column::Name));
}

TEST_F(StreamTableInUtf8, ColumnsNeverOverlapNorLeaveThePicture)
{
    const std::vector<Row> rows{MadeUpState::row(std::string(300, 'x'))};
    for (int width = 0; width < 400; ++width) {
        const StreamTable table(width, rows);
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
    Row row = MadeUpState::row("cam-1 video");
    row.frames = row.lost = std::numeric_limits<qint64>::max();
    row.framesPerSecond = 1e300;
    row.latencyMs = row.worstLatencyMs = std::numeric_limits<qint64>::min();
    for (const int width : {80, 200}) {
        const BoardPicture picture = painted(width, row);
        const StreamTable table(width, {row});
        for (const StreamTable::Place &place : table.places())
            EXPECT_EQ(picture.line(0)[static_cast<std::size_t>(place.begin) - 1].text, " ")
                << width << ", " << place.begin;
    }
}

TEST_F(StreamTableInUtf8, ShortensLongNamesInTheMiddle)
{
    const Row row = MadeUpState::row("rtsp://10.0.0.17:554/axis-media/media.amp?resolution=640x480 video");
    EXPECT_THAT(painted(80, row).text(0), StartsWith("  rtsp://10…480 video run     GGGG"));
    EXPECT_THAT(painted(200, row).text(0),
                StartsWith("  rtsp://10.0.0.17:554/axis-media…dia.amp?resolution=640x480 video  running "));
}

TEST_F(StreamTableInUtf8, WideAndOddNamesMoveNothing)
{
    const std::string plain = painted(80, MadeUpState::row("abcdefghijk")).text(0).substr(13);
    EXPECT_EQ(painted(80, MadeUpState::row("正門カメラx")).text(0), "  正門カメラx" + plain);
    EXPECT_EQ(painted(80, MadeUpState::row("a\x1b[31mb\r\ncd")).text(0), "  a?[31mb??cd" + plain);
    EXPECT_EQ(painted(80, MadeUpState::row("e\u0301bcdefghijk")).text(0), "  e\u0301bcdefghijk" + plain);
}

TEST_F(StreamTableInUtf8, LightsAreALetterAndATone)
{
    Row row = MadeUpState::row("cam");
    row.lights = {Light::Good, Light::Warning, Light::Bad, Light::Black, Light::Black, Light::Black, Light::Good};
    const BoardPicture picture = painted(80, row);
    EXPECT_THAT(picture.text(0), HasSubstr(" GYR···G "));
    EXPECT_EQ(toneOf(picture, "GYR"), Tone::Good);
    EXPECT_EQ(toneOf(picture, "YR"), Tone::Warning);
    EXPECT_EQ(toneOf(picture, "R"), Tone::Bad);
    row.lights.reset();
    EXPECT_THAT(painted(80, row).text(0), HasSubstr(" run               18,250 "));
}

TEST_F(StreamTableInUtf8, AStreamThatIsUnwellStandsOut)
{
    Row row = MadeUpState::row("cam");
    EXPECT_EQ(toneOf(painted(80, row), "cam"), Tone::Plain);
    row.framesPerSecond = 0;
    const BoardPicture picture = painted(80, row);
    EXPECT_THAT(picture.text(0), StartsWith("! cam "));
    EXPECT_EQ(toneOf(picture, "cam"), Tone::Alarm);
    EXPECT_THAT(painted(200, row).text(0), EndsWith("  gives no frames"));
}

TEST_F(StreamTableInUtf8, LatencyHasTheTonesOfItsLight)
{
    Row row = MadeUpState::row("cam");
    row.latencyMs = 49;
    EXPECT_EQ(toneOf(painted(80, row), "49"), Tone::Plain);
    row.latencyMs = 50;
    EXPECT_EQ(toneOf(painted(80, row), "50     41"), Tone::Warning);
    row.latencyMs = 150;
    EXPECT_EQ(toneOf(painted(80, row), "150"), Tone::Alarm);
}

TEST_F(StreamTableInUtf8, AStreamThatHasEndedIsDim)
{
    Row row = MadeUpState::row("cam");
    row.state = Row::State::Ended;
    row.latencyMs = 777;
    EXPECT_EQ(toneOf(painted(80, row), "cam"), Tone::Dim);
    EXPECT_EQ(toneOf(painted(80, row), "777"), Tone::Dim);
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
    EXPECT_THAT(painted(80, MadeUpState::row("cam")).text(0), HasSubstr(" GGGG..G "));
    BoardView view;
    while (view.sortColumn() != BoardView::SortColumn::Lost)
        view.handleKey(BoardKey::NextSort);
    EXPECT_THAT(heading(80, view), HasSubstr(" vLost "));
}
