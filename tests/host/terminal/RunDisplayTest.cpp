#include "terminal/RunDisplay.h"

#include <cstdio>
#include <string>

#include "MadeUpSnapshot.h"
#include "PseudoTerminal.h"
#include "StandardError.h"
#include <gmock/gmock.h>

using namespace std::chrono_literals;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

namespace {

constexpr RunDisplay::Options withBoard{true, false};
constexpr RunDisplay::Options withProgress{false, false};
constexpr RunDisplay::Options quiet{false, true};
const RunDisplay::Instant start(1h);

} // namespace

TEST(RunDisplay, MessagesCanNeitherCommandTheTerminalNorTurnTheDirectionOfWriting)
{
    CaptureStderr();
    RunDisplay(quiet).tell("cam: \x1b]0;title\x07 \u202e4pm.gpj\u2066\n\u009b2J\xff");
    EXPECT_EQ(GetCapturedStderr(), "decoding-host: cam: ?]0;title? ?4pm.gpj???2J?\n");
}

TEST(RunDisplay, ShowsTheBoardAsLinesWhereThereIsNoTerminal)
{
    const decoding::Snapshot snapshot = MadeUpSnapshot::streams(2);
    CaptureStdout();
    RunDisplay display(withBoard);
    EXPECT_EQ(display.update(snapshot, start), BoardAction::None);
    EXPECT_EQ(GetCapturedStdout(), BoardLines::render(snapshot));
    CaptureStdout();
    display.update(snapshot, start + 1s);
    EXPECT_EQ(GetCapturedStdout(), "");
    CaptureStdout();
    display.update(snapshot, start + 5s);
    EXPECT_EQ(GetCapturedStdout(), BoardLines::render(snapshot));
}

TEST(RunDisplay, ShowsTheProgressOnTheTerminalAndMessagesInItsPlace)
{
    PseudoTerminal terminal(60, 10);
    const StandardError error(terminal.file());
    RunDisplay display(withProgress);
    display.update(MadeUpSnapshot::streams(1), start);
    EXPECT_THAT(terminal.written(), AllOf(HasSubstr("cam-1 "), HasSubstr(" 19,251 frames ")));
    display.tell("hello");
    EXPECT_EQ(terminal.written(), "\x1b[1A\r\x1b[Jdecoding-host: hello\r\n");
}

TEST(RunDisplay, ShowsNoProgressBesideTheBoard)
{
    PseudoTerminal terminal(60, 10);
    const StandardError error(terminal.file());
    CaptureStdout();
    RunDisplay display(withBoard);
    display.update(MadeUpSnapshot::streams(1), start);
    EXPECT_THAT(GetCapturedStdout(), HasSubstr(" board running_s="));
    EXPECT_EQ(terminal.written(), "");
}

TEST(RunDisplay, ShowsMessagesOnlyWhereItIsToBeQuiet)
{
    PseudoTerminal terminal(60, 10);
    const StandardError error(terminal.file());
    for (const bool showsBoard : {false, true}) {
        CaptureStdout();
        RunDisplay display({showsBoard, true});
        EXPECT_FALSE(display.wantsUpdate(start));
        display.update(MadeUpSnapshot::streams(1), start);
        EXPECT_EQ(GetCapturedStdout(), "");
        EXPECT_EQ(terminal.written(), "");
        display.tell("hello");
        EXPECT_EQ(terminal.written(), "decoding-host: hello\r\n");
    }
}

TEST(RunDisplay, WantsASnapshotOnlyWhenItShowsOne)
{
    CaptureStdout();
    RunDisplay display(withBoard);
    EXPECT_TRUE(display.wantsUpdate(start));
    display.update(MadeUpSnapshot::streams(1), start);
    EXPECT_FALSE(display.wantsUpdate(start + 249ms));
    EXPECT_TRUE(display.wantsUpdate(start + 250ms));
    GetCapturedStdout();
}

TEST(RunDisplay, WantsNoSnapshotWhereNobodyCouldSeeIt)
{
    CaptureStderr();
    const RunDisplay display(withProgress);
    EXPECT_FALSE(display.wantsUpdate(start));
    EXPECT_EQ(GetCapturedStderr(), "");
}
