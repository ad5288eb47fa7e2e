#include "terminal/ProgressDisplay.h"

#include <algorithm>
#include <cmath>
#include <unistd.h>

#include "MadeUpSnapshot.h"
#include "PseudoTerminal.h"
#include <gmock/gmock.h>

using namespace std::chrono_literals;
using decoding::Snapshot;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

enum class Phase { Running, Done, Failed };

Snapshot::Input input(const std::string &name, Phase phase, std::optional<double> progress, std::int64_t frames,
                      double framesPerSecond)
{
    Snapshot::Input input = MadeUpSnapshot::input(name);
    input.progress = progress;
    input.finished = phase != Phase::Running;
    if (phase == Phase::Failed)
        input.error = name + ": damaged";
    input.streams[0].frames = frames;
    if (framesPerSecond > 0)
        input.decoding = std::chrono::milliseconds(std::lround(static_cast<double>(frames) * 1000 / framesPerSecond));
    return input;
}

Snapshot snapshotOf(const std::vector<Snapshot::Input> &inputs)
{
    Snapshot snapshot;
    snapshot.inputs = inputs;
    return snapshot;
}

const Snapshot oneInput = snapshotOf({input("a.mp4", Phase::Running, 0.5, 10, 20)});

/// @return so many of that one.
Snapshot manyInputs(std::size_t count)
{
    return snapshotOf(std::vector<Snapshot::Input>(count, oneInput.inputs[0]));
}

} // namespace

TEST(ProgressDisplay, ShowsALineForEachInput)
{
    const Snapshot snapshot = snapshotOf(
        {input("clip.mp4", Phase::Running, 0.456, 1234, 98.4), input("live", Phase::Running, std::nullopt, 7, 25),
         input("b.avi", Phase::Done, 1.0, 24, 1500), input("c.avi", Phase::Failed, 0.25, 1, 0)});
    EXPECT_EQ(ProgressDisplay::render(snapshot, 70, 4), //
              "clip.mp4  [###########..............]    45 %  1,234 frames     98 fps\n"
              "live                                               7 frames     25 fps\n"
              "b.avi     [#########################]    done     24 frames  1,500 fps\n"
              "c.avi     [######...................]  failed       1 frame      0 fps\n");
}

TEST(ProgressDisplay, LeavesOutInputsWithoutStreams)
{
    Snapshot snapshot = oneInput;
    snapshot.inputs.insert(snapshot.inputs.begin(), Snapshot::Input());
    EXPECT_EQ(ProgressDisplay::render(snapshot, 60, 9), ProgressDisplay::render(oneInput, 60, 9));
    snapshot.inputs.pop_back();
    EXPECT_EQ(ProgressDisplay::render(snapshot, 60, 9), "");
}

TEST(ProgressDisplay, ShowsThatAnInputWaitsForItsTurn)
{
    Snapshot snapshot = oneInput;
    snapshot.inputs.emplace_back();
    snapshot.inputs[1].name = "b.mp4";
    snapshot.inputs[1].state = decoding::State::Queued;
    EXPECT_EQ(ProgressDisplay::render(snapshot, 60, 2), //
              "a.mp4  [############............]    50 %  10 frames  20 fps\n"
              "b.mp4                              queued   0 frames   0 fps\n");
    EXPECT_THAT(ProgressDisplay::render(snapshot, 60, 1), StartsWith("0 of 2 inputs done"));
}

TEST(ProgressDisplay, CountsTheFramesOfTheFirstStream)
{
    Snapshot snapshot = oneInput;
    snapshot.inputs[0].streams.push_back(snapshot.inputs[0].streams[0]);
    snapshot.inputs[0].streams[1].frames = 1000;
    EXPECT_EQ(ProgressDisplay::render(snapshot, 60, 9), ProgressDisplay::render(oneInput, 60, 9));
}

TEST(ProgressDisplay, AnInputIsFailedByAnyOfItsErrors)
{
    Snapshot snapshot = snapshotOf({input("a", Phase::Done, 1.0, 24, 24)});
    EXPECT_THAT(ProgressDisplay::render(snapshot, 60, 1), HasSubstr("  done "));
    snapshot.inputs[0].streams[0].damaged = 1;
    EXPECT_THAT(ProgressDisplay::render(snapshot, 60, 1), HasSubstr("  failed "));
    snapshot.inputs[0].finished = false;
    EXPECT_THAT(ProgressDisplay::render(snapshot, 60, 1), HasSubstr("  100 % "));
}

TEST(ProgressDisplay, AnInputThatWasEndedEarlyGoesOnShowingHowFarItCame)
{
    Snapshot snapshot =
        snapshotOf({input("a", Phase::Done, 0.42, 24, 24), input("b", Phase::Done, std::nullopt, 1, 1)});
    const std::string text = ProgressDisplay::render(snapshot, 60, 2);
    EXPECT_THAT(text, AllOf(HasSubstr("#."), HasSubstr("  42 % ")));
    EXPECT_THAT(text, HasSubstr("  done ")) << "what has no length is done when it ends";
    EXPECT_THAT(ProgressDisplay::render(snapshot, 60, 1), StartsWith("1 of 2 inputs done"));
}

TEST(ProgressDisplay, FitsAnyWidth)
{
    const Snapshot snapshot = snapshotOf({input("/a/long/way/to/clip.mp4", Phase::Running, 0.5, 1234567, 98)});
    EXPECT_EQ(ProgressDisplay::render(snapshot, 50, 1), "...y/to/clip.mp4    50 %  1,234,567 frames  98 fps\n");
    for (int width = 1; width < 200; ++width) {
        const std::string text = ProgressDisplay::render(snapshot, width, 1);
        EXPECT_LE(text.size(), static_cast<std::size_t>(width) + 1);
        EXPECT_THAT(text, EndsWith("\n"));
    }
    EXPECT_EQ(ProgressDisplay::render(snapshot, 0, 1), "");
}

TEST(ProgressDisplay, SumsUpInOneLineWhenThereAreMoreInputsThanLines)
{
    Snapshot snapshot = snapshotOf(std::vector<Snapshot::Input>(200, input("a", Phase::Running, 0.5, 61, 5)));
    for (std::size_t i = 0; i < 37; ++i)
        snapshot.inputs[i] = input("b", Phase::Done, 1.0, 65, 1000);
    EXPECT_EQ(ProgressDisplay::render(snapshot, 80, 199), "37 of 200 inputs done, 12,348 frames, 815 fps\n");
    snapshot.inputs[199] = input("a", Phase::Failed, 0.5, 61, 5);
    EXPECT_EQ(ProgressDisplay::render(snapshot, 80, 199), "37 of 200 inputs done, 1 failed, 12,348 frames, 810 fps\n");
    EXPECT_EQ(ProgressDisplay::render(snapshot, 9, 199), "37 of 200\n");
    EXPECT_EQ(ProgressDisplay::render(snapshot, 80, 0), "");
    const std::string all = ProgressDisplay::render(snapshot, 80, 200);
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 200);
}

TEST(ProgressDisplay, TakesAProgressBeyondItsEndsForTheEnd)
{
    EXPECT_THAT(ProgressDisplay::render(snapshotOf({input("a", Phase::Running, 1.5, 1, 1)}), 60, 1),
                AllOf(HasSubstr("#]"), HasSubstr(" 100 %")));
    EXPECT_THAT(ProgressDisplay::render(snapshotOf({input("a", Phase::Running, -0.5, 1, 1)}), 60, 1),
                AllOf(HasSubstr("[."), HasSubstr(" 0 %")));
}

TEST(ProgressDisplay, RedrawsInPlaceFiveTimesASecondAtMost)
{
    PseudoTerminal terminal(60, 10);
    ProgressDisplay display(terminal.file(), false);
    const std::chrono::steady_clock::time_point start(1h);
    display.update(oneInput, start);
    EXPECT_THAT(terminal.written(), AllOf(StartsWith("\x1b[?7la.mp4"), EndsWith("20 fps\r\n\x1b[?7h")));
    display.update(oneInput, start + 199ms);
    EXPECT_EQ(terminal.written(), "");
    display.update(manyInputs(2), start + 200ms);
    EXPECT_THAT(terminal.written(), StartsWith("\x1b[1A\r\x1b[J\x1b[?7la.mp4"));
    display.update(oneInput, start + 400ms);
    EXPECT_THAT(terminal.written(), StartsWith("\x1b[2A\r\x1b[J\x1b[?7la.mp4"));
}

TEST(ProgressDisplay, LeavesNothingBehindOnTheTerminal)
{
    PseudoTerminal terminal(60, 10);
    {
        ProgressDisplay display(terminal.file(), false);
        display.update(oneInput, std::chrono::steady_clock::time_point(1h));
        EXPECT_THAT(terminal.written(), HasSubstr("a.mp4"));
        display.clear();
        EXPECT_EQ(terminal.written(), "\x1b[1A\r\x1b[J");
        display.update(oneInput, std::chrono::steady_clock::time_point(2h));
        EXPECT_THAT(terminal.written(), StartsWith("\x1b[?7la.mp4"));
    }
    EXPECT_EQ(terminal.written(), "\x1b[1A\r\x1b[J");
}

TEST(ProgressDisplay, LeavesALineOfTheTerminalForTheCursor)
{
    PseudoTerminal terminal(60, 3);
    ProgressDisplay display(terminal.file(), false);
    display.update(manyInputs(2), std::chrono::steady_clock::time_point(1h));
    EXPECT_THAT(terminal.written(), HasSubstr("a.mp4"));
    display.update(manyInputs(3), std::chrono::steady_clock::time_point(2h));
    EXPECT_THAT(terminal.written(), HasSubstr("0 of 3 inputs done"));
}

TEST(ProgressDisplay, ShowsNothingWhereItIsToBeQuiet)
{
    PseudoTerminal terminal(60, 10);
    ProgressDisplay display(terminal.file(), true);
    display.update(oneInput, std::chrono::steady_clock::time_point(1h));
    EXPECT_EQ(terminal.written(), "");
}

TEST(ProgressDisplay, ShowsNothingWhereThereIsNoTerminal)
{
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    {
        ProgressDisplay display(ends[1], false);
        display.update(oneInput, std::chrono::steady_clock::time_point(1h));
    }
    close(ends[1]);
    char character = 0;
    EXPECT_EQ(read(ends[0], &character, 1), 0);
    close(ends[0]);
}
