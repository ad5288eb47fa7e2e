#include "terminal/BoardView.h"

#include <algorithm>
#include <limits>

#include "MadeUpSnapshot.h"
#include <gmock/gmock.h>

using SortColumn = BoardView::SortColumn;
using decoding::Snapshot;
using decoding::State;
using testing::ElementsAre;

namespace {

/// @return the names of all rows, as they are arranged where there is room for eight.
std::vector<std::string> names(BoardView &view, const Snapshot &snapshot)
{
    const std::vector<StreamRow> rows = StreamRow::of(snapshot);
    std::vector<std::string> result;
    for (const std::size_t index : view.arrange(rows, 8).order)
        result.push_back(rows.at(index).name());
    return result;
}

Snapshot streamsNamed(std::initializer_list<const char *> names)
{
    Snapshot snapshot;
    for (const char *const name : names)
        snapshot.inputs.push_back(MadeUpSnapshot::input(name));
    return snapshot;
}

Snapshot::Stream &stream(Snapshot &snapshot, std::size_t position)
{
    return snapshot.inputs.at(position).streams.at(0);
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
std::string sight(BoardView &view, const Snapshot &snapshot, std::size_t pageRows)
{
    const std::vector<StreamRow> rows = StreamRow::of(snapshot);
    const BoardView::Arrangement arrangement = view.arrange(rows, pageRows);
    EXPECT_GE(arrangement.selected, arrangement.top);
    EXPECT_LT(arrangement.selected, arrangement.top + pageRows);
    return rows.at(arrangement.order.at(arrangement.selected)).name() + ", " + std::to_string(arrangement.top + 1) +
           "-" + std::to_string(std::min(arrangement.top + pageRows, rows.size()));
}

const auto letters = streamsNamed({"a", "b", "c", "d", "e", "f", "g", "h"});

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
    Snapshot snapshot = letters;
    stream(snapshot, 2).framesPerSecond = 0;
    snapshot.inputs[5].state = State::Failed;
    snapshot.inputs[6].state = State::Ended;
    BoardView view;
    EXPECT_THAT(names(view, snapshot), ElementsAre("f", "c", "g", "a", "b", "d", "e", "h"));
    press(view, {BoardKey::ReverseSort});
    EXPECT_THAT(names(view, snapshot), ElementsAre("a", "b", "d", "e", "h", "g", "c", "f"));
}

TEST(BoardView, KeepsTheOrderOfTheInput)
{
    const Snapshot snapshot = streamsNamed({"b", "c", "a"});
    BoardView view = sortedBy(SortColumn::Input);
    EXPECT_THAT(names(view, snapshot), ElementsAre("b", "c", "a"));
    press(view, {BoardKey::ReverseSort});
    EXPECT_THAT(names(view, snapshot), ElementsAre("a", "c", "b"));
}

TEST(BoardView, SortsNamesByTheNumbersInThem)
{
    const Snapshot snapshot = streamsNamed({"cam-10 video", "cam-9", "cam-10 audio", "", "cam-9 video", "9", "a"});
    BoardView view = sortedBy(SortColumn::Name);
    EXPECT_THAT(names(view, snapshot),
                ElementsAre("", "9", "a", "cam-9", "cam-9 video", "cam-10 audio", "cam-10 video"));
    press(view, {BoardKey::ReverseSort});
    EXPECT_THAT(names(view, snapshot),
                ElementsAre("cam-10 video", "cam-10 audio", "cam-9 video", "cam-9", "a", "9", ""));
}

TEST(BoardView, SortsByFiguresWithUnknownOnesLast)
{
    Snapshot snapshot = streamsNamed({"a", "b", "c", "d", "e"});
    stream(snapshot, 0).framesPerSecond.reset();
    stream(snapshot, 1).framesPerSecond = 30;
    stream(snapshot, 2).framesPerSecond = std::numeric_limits<double>::quiet_NaN();
    stream(snapshot, 3).framesPerSecond = 5;
    stream(snapshot, 4).framesPerSecond = 30;
    BoardView view = sortedBy(SortColumn::FramesPerSecond);
    EXPECT_THAT(names(view, snapshot), ElementsAre("d", "b", "e", "a", "c"));
    press(view, {BoardKey::ReverseSort});
    EXPECT_THAT(names(view, snapshot), ElementsAre("b", "e", "d", "a", "c"));
}

TEST(BoardView, SortsTheGreatestLossAndLatencyFirst)
{
    Snapshot snapshot = streamsNamed({"a", "b", "c"});
    stream(snapshot, 1).lost = 3;
    stream(snapshot, 2).latency->lastMs = 200;
    stream(snapshot, 0).latency.reset();
    BoardView byLoss = sortedBy(SortColumn::Lost);
    EXPECT_THAT(names(byLoss, snapshot), ElementsAre("b", "a", "c"));
    BoardView byLatency = sortedBy(SortColumn::Latency);
    EXPECT_THAT(names(byLatency, snapshot), ElementsAre("c", "b", "a"));
}

TEST(BoardView, EqualRowsKeepTheOrderOfTheInput)
{
    Snapshot snapshot;
    snapshot.inputs.assign(1000, MadeUpSnapshot::input("a"));
    snapshot.inputs[500].state = State::Failed;
    for (const SortColumn column : {SortColumn::Health, SortColumn::Name, SortColumn::Lost}) {
        BoardView view = sortedBy(column);
        std::vector<std::size_t> order = view.arrange(StreamRow::of(snapshot), 8).order;
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
    view.arrange(StreamRow::of(letters), 3);
    press(view, {BoardKey::End});
    EXPECT_EQ(sight(view, letters, 3), "h, 6-8");
    EXPECT_EQ(sight(view, letters, 5), "h, 4-8");
    EXPECT_EQ(sight(view, streamsNamed({"a", "b", "c", "d"}), 3), "d, 2-4");
    EXPECT_EQ(sight(view, streamsNamed({"a"}), 3), "a, 1-1");
}

TEST(BoardView, TheSelectionStaysOnItsStream)
{
    BoardView view = sortedBy(SortColumn::Input);
    view.arrange(StreamRow::of(letters), 8);
    press(view, {BoardKey::Down, BoardKey::Down});
    EXPECT_EQ(sight(view, letters, 8), "c, 1-8");
    EXPECT_EQ(sight(view, streamsNamed({"x", "y", "a", "b", "c"}), 8), "c, 1-5");
    EXPECT_EQ(sight(view, streamsNamed({"a", "b", "d", "e", "f"}), 8), "f, 1-5") << "the place where it stood";
}

TEST(BoardView, ASelectionThatWasNotMovedStaysOnTheFirstRow)
{
    Snapshot snapshot = letters;
    BoardView view;
    EXPECT_EQ(sight(view, snapshot, 3), "a, 1-3");
    snapshot.inputs[4].state = State::Failed;
    EXPECT_EQ(sight(view, snapshot, 3), "e, 1-3");
    press(view, {BoardKey::Down});
    EXPECT_EQ(sight(view, snapshot, 3), "a, 1-3");
    press(view, {BoardKey::Up});
    EXPECT_EQ(sight(view, snapshot, 3), "e, 1-3");
    snapshot.inputs[4].state = State::Running;
    EXPECT_EQ(sight(view, snapshot, 3), "a, 1-3");
}

TEST(BoardView, NoRowsAreNoTrouble)
{
    BoardView view;
    press(view, {BoardKey::Down, BoardKey::End});
    const BoardView::Arrangement arrangement = view.arrange({}, 0);
    EXPECT_TRUE(arrangement.order.empty());
    EXPECT_EQ(arrangement.top, 0U);
    EXPECT_EQ(view.arrange(StreamRow::of(letters), 0).order.size(), 8U);
}
