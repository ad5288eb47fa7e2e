#include "terminal/Board.h"

#include <QFile>
#include <QTemporaryDir>

#include <algorithm>

#include "Tmux.h"
#include "fakes/WaitUntil.h"
#include <gmock/gmock.h>

using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

/// Shows the board in a terminal. @param arguments of the demo, @param settings "NAME=value" for its environment.
void show(const Tmux &terminal, const QString &arguments, const QString &settings = QString())
{
    terminal.type("echo before; env " + settings + " " DEMO_FILE " " + arguments + "; echo ended $?");
    // The last line that is drawn when the streams come.
    terminal.screenWhen([](const auto &screen) {
        return testing::Matches(testing::Contains(EndsWith(" cam-2 video: connection refused")))(screen);
    });
}

int streamsIn(const Tmux::Screen &screen)
{
    return static_cast<int>(std::count_if(screen.begin(), screen.end(), [](const std::string &line) {
        return line.compare(0, 6, "  cam-") == 0 || line.compare(0, 6, "! cam-") == 0;
    }));
}

std::string firstStream(const Tmux::Screen &screen)
{
    return screen.at(4).substr(0, screen.at(4).find(" video"));
}

/// Fails the calling test unless the shell has got its terminal back as it was.
void expectRestored(const Tmux &terminal)
{
    EXPECT_EQ(terminal.value("alternate_on"), "0");
    EXPECT_EQ(terminal.value("cursor_flag"), "1");
    terminal.screenWith("before");
    terminal.type("stty -a | tr ' ' '\\n' | grep -x -e echo -e icanon -e ixon | paste -sd,");
    terminal.screenWith("ixon,icanon,echo");
}

} // namespace

TEST(Board, FitsAFewStreamsInto80By24)
{
    const Tmux terminal(80, 24);
    show(terminal, "3");
    const Tmux::Screen screen = terminal.screen();
    EXPECT_THAT(screen[0], AllOf(StartsWith("3 streams   1 unwell   running 0:00:"), EndsWith(" worst first")));
    EXPECT_THAT(screen[1], AllOf(StartsWith("CPU load  37 %  ▄▄▅▆"),
                                 EndsWith("  component's   1 %  3 decoders  performance mode")));
    EXPECT_EQ(screen[3], "  Stream      State   MLCTKND   Frames   fps   Lost Latency  Worst Mode");
    EXPECT_EQ(screen[5], "  cam-1 video run     GGGG··G   19,251  25.0      0      17     41 perf");
    EXPECT_EQ(streamsIn(screen), 3);
    EXPECT_EQ(terminal.value("cursor_flag"), "0");
}

TEST(Board, Fills80By24WithAHundredStreams)
{
    const Tmux terminal(80, 24);
    show(terminal, "100");
    const Tmux::Screen screen = terminal.screen();
    EXPECT_THAT(screen[0], AllOf(StartsWith("100 streams   5 unwell "), EndsWith(" worst first   1-16 of 100")));
    EXPECT_EQ(streamsIn(screen), 16);
    EXPECT_THAT(screen[23], StartsWith("q quit"));
}

TEST(Board, Fills200By50)
{
    const Tmux terminal(200, 50);
    show(terminal, "100");
    const Tmux::Screen screen = terminal.screen();
    EXPECT_EQ(streamsIn(screen), 42);
    EXPECT_THAT(screen[3], HasSubstr("  M L C T K N D  "));
    EXPECT_THAT(screen[5], AllOf(StartsWith("! cam-2 video "), HasSubstr("  performance  Decoder/2  "),
                                 EndsWith("  connection refused, next try in 4 s")));
    EXPECT_THAT(screen[49], StartsWith("q quit"));
}

TEST(Board, LeavesTheRestOf200By50Blank)
{
    const Tmux terminal(200, 50);
    show(terminal, "3");
    const Tmux::Screen screen = terminal.screen();
    EXPECT_EQ(streamsIn(screen), 3);
    EXPECT_TRUE(std::all_of(screen.begin() + 7, screen.begin() + 46, [](const auto &line) { return line.empty(); }));
}

TEST(Board, ObeysKeys)
{
    const Tmux terminal(80, 24);
    show(terminal, "100");
    terminal.press({"s", "S"});
    terminal.screenWhen([](const auto &screen) { return firstStream(screen) == "  cam-100"; });
    terminal.press({"End"});
    terminal.screenWith("cam-1 video on Decoder/1: well");
    terminal.press({"Up"});
    terminal.screenWith("cam-2 video on Decoder/2: waiting");
    terminal.press({"PPage"});
    terminal.screenWith("cam-18 video on Decoder/2: well");
    terminal.press({"Home", "Down", "NPage"});
    terminal.screenWith("cam-83 video on Decoder/1: well");
    terminal.press({"t"});
    terminal.screenWhen([](const auto &screen) { return testing::Matches(HasSubstr("time-saving mode"))(screen[1]); });
    terminal.press({"p"});
    terminal.screenWhen([](const auto &screen) { return testing::Matches(HasSubstr("performance mode"))(screen[1]); });
    terminal.press({"g"});
    terminal.screenWith("Governor 0.60:0.90");
    terminal.press({"?"});
    terminal.screenWhen([](const auto &screen) {
        return testing::Matches(testing::Contains(HasSubstr("Any key closes this help")))(screen);
    });
}

TEST(Board, FollowsTheSizeOfTheTerminal)
{
    const Tmux terminal(80, 24);
    show(terminal, "100");
    terminal.resize(130, 40);
    const Tmux::Screen large = terminal.screenWhen([](const auto &screen) { return streamsIn(screen) == 32; });
    EXPECT_THAT(large[3], HasSubstr("  M L C T K N D  "));
    terminal.resize(40, 10);
    const Tmux::Screen small = terminal.screenWhen([](const auto &screen) { return streamsIn(screen) == 5; });
    EXPECT_THAT(small[9], StartsWith("q quit"));
    terminal.resize(20, 5);
    terminal.screenWhen([](const auto &screen) { return streamsIn(screen) == 2; });
}

TEST(Board, ShowsLightsInColour)
{
    const Tmux terminal(80, 24);
    show(terminal, "13");
    EXPECT_THAT(terminal.look(), AllOf(HasSubstr("\x1b[32m"), HasSubstr("\x1b[31m"), HasSubstr("\x1b[41m")));
}

TEST(Board, HonoursNoColor)
{
    const Tmux terminal(80, 24);
    show(terminal, "13", "NO_COLOR=1");
    EXPECT_THAT(terminal.look(), AllOf(HasSubstr("mR\x1b["), Not(ContainsRegex("\x1b\\[[34][0-7]m"))));
}

TEST(Board, AnEmptyNoColorMeansColours)
{
    const Tmux terminal(80, 24);
    show(terminal, "13", "NO_COLOR=");
    EXPECT_THAT(terminal.look(), HasSubstr("\x1b[32m"));
}

TEST(Board, GivesTheTerminalBack)
{
    const Tmux terminal(80, 24);
    show(terminal, "3");
    EXPECT_EQ(terminal.value("alternate_on"), "1");
    terminal.press({"q"});
    terminal.screenWith("ended 0");
    expectRestored(terminal);
}

TEST(Board, GivesTheTerminalBackAfterAnException)
{
    const Tmux terminal(80, 24);
    show(terminal, "3 throw");
    terminal.press({"q"});
    terminal.screenWith("thrown");
    terminal.screenWith("ended 1");
    expectRestored(terminal);
}

TEST(Board, GivesTheTerminalBackAtExit)
{
    const Tmux terminal(80, 24);
    show(terminal, "3 exit");
    terminal.press({"q"});
    terminal.screenWith("ended 3");
    expectRestored(terminal);
}

TEST(Board, GivesTheTerminalBackWhenTheProgramAborts)
{
    const Tmux terminal(80, 24);
    show(terminal, "3 abort");
    terminal.press({"q"});
    terminal.screenWith("ended 134");
    expectRestored(terminal);
}

TEST(Board, GivesTheTerminalBackWhenTheProgramIsInterrupted)
{
    const Tmux terminal(80, 24);
    show(terminal, "3");
    terminal.press({"C-c"});
    terminal.screenWith("$");
    expectRestored(terminal);
}

TEST(Board, HoldsMessagesOfARunBackUntilTheTerminalIsGivenBack)
{
    const Tmux terminal(80, 24);
    show(terminal, "3 run");
    terminal.press({"g", "q"});
    terminal.screenWith("decoding-host: told behind the ?[2J?board");
    terminal.screenWith("ended 0");
    expectRestored(terminal);
}

TEST(Board, OfARunIsDrawnAtOnceForAKeyOrANewSize)
{
    const Tmux terminal(80, 24);
    show(terminal, "100 run");
    terminal.press({"?"});
    terminal.screenWhen([](const auto &screen) {
        return testing::Matches(testing::Contains(HasSubstr("Any key closes this help")))(screen);
    });
    terminal.press({"x"});
    terminal.screenWhen([](const auto &screen) {
        return !testing::Matches(testing::Contains(HasSubstr("Any key closes this help")))(screen);
    });
    terminal.resize(130, 40);
    terminal.screenWhen([](const auto &screen) { return streamsIn(screen) == 32; });
}

TEST(Board, IsShownWithKeysFromTheTerminalWhereTheInputIsAnotherOne)
{
    const Tmux terminal(80, 24);
    show(terminal, "3 return </dev/null");
    terminal.press({"q"});
    terminal.screenWith("ended 0");
    expectRestored(terminal);
}

TEST(Board, TellsWhenTheTerminalIsGone)
{
    const QTemporaryDir folder;
    QFile result(folder.filePath("result"));
    {
        const Tmux terminal(80, 24);
        // The shell of a terminal that is gone ends, one without a terminal goes on.
        terminal.type("sh -c \"trap '' HUP; " DEMO_FILE " 3; echo ended \\$? > " + result.fileName() + '"');
        terminal.screenWith("q quit");
    }
    QByteArray text;
    EXPECT_TRUE(waitUntil([&] {
        text = result.open(QIODevice::ReadOnly) ? result.readAll() : QByteArray();
        result.close();
        return text.endsWith('\n');
    }));
    EXPECT_EQ(text.toStdString(), "ended 4\n");
}

TEST(Board, SaysWhyThereIsNone)
{
    const Tmux terminal(120, 24);
    terminal.type("TERM=dumb " DEMO_FILE);
    terminal.screenWith("no board: the terminal \"dumb\", which TERM names, cannot place its cursor");
    terminal.type("TERM=nonsense " DEMO_FILE);
    terminal.screenWith("no board: the terminal \"nonsense\", which TERM names, is unknown");
    terminal.type("TERM= " DEMO_FILE);
    terminal.screenWith("no board: TERM does not say what terminal this is");
    terminal.type(DEMO_FILE " | cat");
    terminal.screenWith("no board: the standard output is no terminal");
    EXPECT_EQ(terminal.value("alternate_on"), "0");
}
