#include "terminal/BoardView.h"

#include <algorithm>
#include <limits>

#include "MadeUpState.h"
#include <gmock/gmock.h>

using Row = BoardState::Row;
using SortColumn = BoardView::SortColumn;
using testing::ElementsAre;

namespace {

std::vector<std::string> names(const std::vector<Row> &rows, const BoardView::Arrangement &arrangement)
{
    std::vector<std::string> result;
    for (const std::size_t index : arrangement.order)
        result.push_back(rows.at(index).name);
    return result;
}

std::vector<Row> rowsNamed(std::initializer_list<const char *> names)
{
    std::vector<Row> rows;
    for (const char *const name : names)
        rows.push_back(MadeUpState::row(name));
    return rows;
}

void press(BoardView &view, std::initializer_list<BoardKey> keys)
{
    for (const BoardKey key : keys)
        EXPECT_EQ(view.handleKey(key), BoardAction::Redraw);
}

/// @return a view that sorts by @p column.
BoardView sortedBy(SortColumn column)
{
    BoardView view;
    while (view.sortColumn() != column)
        view.handleKey(BoardKey::NextSort);
    return view;
}

/// The name of the selected row in the new arrangement, and the rows in sight: "c, 2-4".
std::string sight(BoardView &view, const std::vector<Row> &rows, std::size_t pageRows)
{
    const BoardView::Arrangement arrangement = view.arrange(rows, pageRows);
    EXPECT_GE(arrangement.selected, arrangement.top);
    EXPECT_LT(arrangement.selected, arrangement.top + pageRows);
    return rows.at(arrangement.order.at(arrangement.selected)).name + ", " + std::to_string(arrangement.top + 1) + "-" +
           std::to_string(std::min(arrangement.top + pageRows, rows.size()));
}

const auto letters = rowsNamed({"a", "b", "c", "d", "e", "f", "g", "h"});

} // namespace

TEST(BoardView, KeysAskForActions)
{
    BoardView view;
    EXPECT_EQ(view.handleKey(BoardKey::Quit), BoardAction::Quit);
    EXPECT_EQ(view.handleKey(BoardKey::PerformanceMode), BoardAction::PerformanceMode);
    EXPECT_EQ(view.handleKey(BoardKey::TimeSavingMode), BoardAction::TimeSavingMode);
    EXPECT_EQ(view.handleKey(BoardKey::ToggleGovernor), BoardAction::ToggleGovernor);
    EXPECT_EQ(view.handleKey(BoardKey::Other), BoardAction::None);
}

TEST(BoardView, AnyKeyClosesTheHelpAndDoesNothingElse)
{
    BoardView view;
    press(view, {BoardKey::Help});
    EXPECT_TRUE(view.showsHelp());
    EXPECT_EQ(view.handleKey(BoardKey::TimeSavingMode), BoardAction::Redraw);
    EXPECT_FALSE(view.showsHelp());
    press(view, {BoardKey::Help});
    EXPECT_EQ(view.handleKey(BoardKey::Quit), BoardAction::Quit);
}

TEST(BoardView, SortsTheWorstFirst)
{
    std::vector<Row> rows = letters;
    rows[2].framesPerSecond = 0;
    rows[5].state = Row::State::Failed;
    rows[6].state = Row::State::Ended;
    BoardView view;
    EXPECT_THAT(names(rows, view.arrange(rows, 8)), ElementsAre("f", "c", "g", "a", "b", "d", "e", "h"));
    press(view, {BoardKey::ReverseSort});
    EXPECT_THAT(names(rows, view.arrange(rows, 8)), ElementsAre("a", "b", "d", "e", "h", "g", "c", "f"));
}

TEST(BoardView, KeepsTheOrderOfTheInput)
{
    const std::vector<Row> rows = rowsNamed({"b", "c", "a"});
    BoardView view = sortedBy(SortColumn::Input);
    EXPECT_THAT(names(rows, view.arrange(rows, 8)), ElementsAre("b", "c", "a"));
    press(view, {BoardKey::ReverseSort});
    EXPECT_THAT(names(rows, view.arrange(rows, 8)), ElementsAre("a", "c", "b"));
}

TEST(BoardView, SortsNamesByTheNumbersInThem)
{
    const std::vector<Row> rows = rowsNamed({"cam-10 video", "cam-9", "cam-10 audio", "", "cam-9 video", "9", "a"});
    BoardView view = sortedBy(SortColumn::Name);
    EXPECT_THAT(names(rows, view.arrange(rows, 8)),
                ElementsAre("", "9", "a", "cam-9", "cam-9 video", "cam-10 audio", "cam-10 video"));
    press(view, {BoardKey::ReverseSort});
    EXPECT_THAT(names(rows, view.arrange(rows, 8)),
                ElementsAre("cam-10 video", "cam-10 audio", "cam-9 video", "cam-9", "a", "9", ""));
}

TEST(BoardView, SortsByFiguresWithUnknownOnesLast)
{
    std::vector<Row> rows = rowsNamed({"a", "b", "c", "d", "e"});
    rows[0].framesPerSecond.reset();
    rows[1].framesPerSecond = 30;
    rows[2].framesPerSecond = std::numeric_limits<double>::quiet_NaN();
    rows[3].framesPerSecond = 5;
    rows[4].framesPerSecond = 30;
    BoardView view = sortedBy(SortColumn::FramesPerSecond);
    EXPECT_THAT(names(rows, view.arrange(rows, 8)), ElementsAre("d", "b", "e", "a", "c"));
    press(view, {BoardKey::ReverseSort});
    EXPECT_THAT(names(rows, view.arrange(rows, 8)), ElementsAre("b", "e", "d", "a", "c"));
}

TEST(BoardView, SortsTheGreatestLossAndLatencyFirst)
{
    std::vector<Row> rows = rowsNamed({"a", "b", "c"});
    rows[1].lost = 3;
    rows[2].latencyMs = 200;
    rows[0].latencyMs.reset();
    BoardView byLoss = sortedBy(SortColumn::Lost);
    EXPECT_THAT(names(rows, byLoss.arrange(rows, 8)), ElementsAre("b", "a", "c"));
    BoardView byLatency = sortedBy(SortColumn::Latency);
    EXPECT_THAT(names(rows, byLatency.arrange(rows, 8)), ElementsAre("c", "b", "a"));
}

TEST(BoardView, EqualRowsKeepTheOrderOfTheInput)
{
    std::vector<Row> rows(1000, MadeUpState::row("a"));
    rows[500].state = Row::State::Failed;
    for (const SortColumn column : {SortColumn::Health, SortColumn::Name, SortColumn::Lost}) {
        BoardView view = sortedBy(column);
        std::vector<std::size_t> order = view.arrange(rows, 8).order;
        if (column == SortColumn::Health)
            std::rotate(order.begin(), order.begin() + 1, order.begin() + 501);
        EXPECT_TRUE(std::is_sorted(order.begin(), order.end())) << static_cast<int>(column);
    }
}

TEST(BoardView, TheLastSortIsFollowedByTheFirst)
{
    BoardView view = sortedBy(SortColumn::Latency);
    press(view, {BoardKey::ReverseSort, BoardKey::NextSort});
    EXPECT_EQ(view.sortColumn(), SortColumn::Health);
    EXPECT_FALSE(view.isReversed());
}

TEST(BoardView, ScrollsAsFarAsTheSelectionNeedsIt)
{
    BoardView view = sortedBy(SortColumn::Input);
    EXPECT_EQ(sight(view, letters, 3), "a, 1-3");
    press(view, {BoardKey::Down, BoardKey::Down});
    EXPECT_EQ(sight(view, letters, 3), "c, 1-3");
    press(view, {BoardKey::Down});
    EXPECT_EQ(sight(view, letters, 3), "d, 2-4");
    press(view, {BoardKey::Up, BoardKey::Up});
    EXPECT_EQ(sight(view, letters, 3), "b, 2-4");
    press(view, {BoardKey::PageDown});
    EXPECT_EQ(sight(view, letters, 3), "e, 3-5");
    press(view, {BoardKey::End});
    EXPECT_EQ(sight(view, letters, 3), "h, 6-8");
    press(view, {BoardKey::PageUp});
    EXPECT_EQ(sight(view, letters, 3), "e, 5-7");
    press(view, {BoardKey::Home});
    EXPECT_EQ(sight(view, letters, 3), "a, 1-3");
}

TEST(BoardView, StopsAtTheEnds)
{
    BoardView view = sortedBy(SortColumn::Input);
    EXPECT_EQ(sight(view, letters, 3), "a, 1-3");
    press(view, {BoardKey::Up, BoardKey::PageUp});
    EXPECT_EQ(sight(view, letters, 3), "a, 1-3");
    press(view, {BoardKey::End, BoardKey::End, BoardKey::Down, BoardKey::PageDown});
    EXPECT_EQ(sight(view, letters, 3), "h, 6-8");
    press(view, {BoardKey::Up});
    EXPECT_EQ(sight(view, letters, 3), "g, 6-8");
}

TEST(BoardView, LeavesNoBlankRowsWhenStreamsGoOrThePageGrows)
{
    BoardView view = sortedBy(SortColumn::Input);
    view.arrange(letters, 3);
    press(view, {BoardKey::End});
    EXPECT_EQ(sight(view, letters, 3), "h, 6-8");
    EXPECT_EQ(sight(view, letters, 5), "h, 4-8");
    EXPECT_EQ(sight(view, rowsNamed({"a", "b", "c", "d"}), 3), "d, 2-4");
    EXPECT_EQ(sight(view, rowsNamed({"a"}), 3), "a, 1-1");
}

TEST(BoardView, TheSelectionStaysOnItsStream)
{
    BoardView view = sortedBy(SortColumn::Input);
    view.arrange(letters, 8);
    press(view, {BoardKey::Down, BoardKey::Down});
    EXPECT_EQ(sight(view, letters, 8), "c, 1-8");
    EXPECT_EQ(sight(view, rowsNamed({"x", "y", "a", "b", "c"}), 8), "c, 1-5");
    EXPECT_EQ(sight(view, rowsNamed({"a", "b", "d", "e", "f"}), 8), "f, 1-5") << "the place where it stood";
}

TEST(BoardView, ASelectionThatWasNotMovedStaysOnTheFirstRow)
{
    std::vector<Row> rows = letters;
    BoardView view;
    EXPECT_EQ(sight(view, rows, 3), "a, 1-3");
    rows[4].state = Row::State::Failed;
    EXPECT_EQ(sight(view, rows, 3), "e, 1-3");
    press(view, {BoardKey::Down});
    EXPECT_EQ(sight(view, rows, 3), "a, 1-3");
    press(view, {BoardKey::Up});
    EXPECT_EQ(sight(view, rows, 3), "e, 1-3");
    rows[4].state = Row::State::Running;
    EXPECT_EQ(sight(view, rows, 3), "a, 1-3");
}

TEST(BoardView, NoRowsAreNoTrouble)
{
    BoardView view;
    press(view, {BoardKey::Down, BoardKey::End});
    const BoardView::Arrangement arrangement = view.arrange({}, 0);
    EXPECT_TRUE(arrangement.order.empty());
    EXPECT_EQ(arrangement.top, 0U);
    EXPECT_EQ(view.arrange(letters, 0).order.size(), 8U);
}
