#include "terminal/ProgressDisplay.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <sys/ioctl.h>

using namespace std::chrono_literals;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Phase = ProgressDisplay::Input::Phase;

namespace {

/// A terminal whose other end the test reads.
class Terminal {
public:
    Terminal(unsigned short width, unsigned short height)
        : _master(posix_openpt(O_RDWR | O_NOCTTY))
    {
        grantpt(_master);
        unlockpt(_master);
        _slave = open(ptsname(_master), O_RDWR | O_NOCTTY);
        const winsize size{height, width, 0, 0};
        ioctl(_slave, TIOCSWINSZ, &size);
    }
    ~Terminal()
    {
        close(_slave);
        close(_master);
    }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    int file() const { return _slave; }

    /// @return what was written since the last call, each end of line as the terminal makes it: "\r\n".
    std::string written()
    {
        // A mark of the test's own tells where the display's output ends; it comes through whatever was written before.
        const std::string mark("|");
        EXPECT_EQ(write(_slave, mark.data(), mark.size()), 1);
        std::string text;
        char character = 0;
        while (read(_master, &character, 1) == 1 && character != mark[0])
            text += character;
        return text;
    }

private:
    const int _master;
    int _slave = -1;
};

ProgressDisplay::Input input(const std::string &name, Phase phase, std::optional<double> progress, qint64 frames,
                             double framesPerSecond)
{
    return {name, phase, progress, frames, framesPerSecond};
}

const ProgressDisplay::State oneInput{input("a.mp4", Phase::Running, 0.5, 10, 20)};

} // namespace

TEST(ProgressDisplay, ShowsALineForEachInput)
{
    const ProgressDisplay::State state{
        input("clip.mp4", Phase::Running, 0.456, 1234, 98.4), input("live", Phase::Running, std::nullopt, 7, 25),
        input("b.avi", Phase::Done, 0.99, 24, 1500), input("c.avi", Phase::Failed, 0.25, 1, 0)};
    EXPECT_EQ(ProgressDisplay::render(state, 70, 4), //
              "clip.mp4  [###########..............]    45 %  1,234 frames     98 fps\n"
              "live                                               7 frames     25 fps\n"
              "b.avi     [#########################]    done     24 frames  1,500 fps\n"
              "c.avi     [######...................]  failed       1 frame      0 fps\n");
}

TEST(ProgressDisplay, FitsAnyWidth)
{
    const ProgressDisplay::State state{input("/a/long/way/to/clip.mp4", Phase::Running, 0.5, 1234567, 98)};
    EXPECT_EQ(ProgressDisplay::render(state, 50, 1), "...y/to/clip.mp4    50 %  1,234,567 frames  98 fps\n");
    for (int width = 1; width < 200; ++width) {
        const std::string text = ProgressDisplay::render(state, width, 1);
        EXPECT_LE(text.size(), static_cast<std::size_t>(width) + 1);
        EXPECT_THAT(text, EndsWith("\n"));
    }
    EXPECT_EQ(ProgressDisplay::render(state, 0, 1), "");
}

TEST(ProgressDisplay, SumsUpInOneLineWhenThereAreMoreInputsThanLines)
{
    ProgressDisplay::State state(200, input("a", Phase::Running, 0.5, 61, 5));
    for (std::size_t i = 0; i < 37; ++i)
        state[i] = input("b", Phase::Done, 1.0, 65, 1000);
    EXPECT_EQ(ProgressDisplay::render(state, 80, 199), "37 of 200 inputs done, 12,348 frames, 815 fps\n");
    state[199].phase = Phase::Failed;
    EXPECT_EQ(ProgressDisplay::render(state, 80, 199), "37 of 200 inputs done, 1 failed, 12,348 frames, 810 fps\n");
    EXPECT_EQ(ProgressDisplay::render(state, 9, 199), "37 of 200\n");
    EXPECT_EQ(ProgressDisplay::render(state, 80, 0), "");
    const std::string all = ProgressDisplay::render(state, 80, 200);
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 200);
}

TEST(ProgressDisplay, TakesAProgressBeyondItsEndsForTheEnd)
{
    EXPECT_THAT(ProgressDisplay::render({input("a", Phase::Running, 1.5, 1, 1)}, 60, 1),
                AllOf(HasSubstr("#]"), HasSubstr(" 100 %")));
    EXPECT_THAT(ProgressDisplay::render({input("a", Phase::Running, -0.5, 1, 1)}, 60, 1),
                AllOf(HasSubstr("[."), HasSubstr(" 0 %")));
}

TEST(ProgressDisplay, RedrawsInPlaceFiveTimesASecondAtMost)
{
    Terminal terminal(60, 10);
    ProgressDisplay display(terminal.file(), false);
    const std::chrono::steady_clock::time_point start(1h);
    display.update(oneInput, start);
    EXPECT_THAT(terminal.written(), AllOf(StartsWith("\x1b[?7la.mp4"), EndsWith("20 fps\r\n\x1b[?7h")));
    display.update(oneInput, start + 199ms);
    EXPECT_EQ(terminal.written(), "");
    display.update({oneInput[0], oneInput[0]}, start + 200ms);
    EXPECT_THAT(terminal.written(), StartsWith("\x1b[1A\r\x1b[J\x1b[?7la.mp4"));
    display.update(oneInput, start + 400ms);
    EXPECT_THAT(terminal.written(), StartsWith("\x1b[2A\r\x1b[J\x1b[?7la.mp4"));
}

TEST(ProgressDisplay, LeavesNothingBehindOnTheTerminal)
{
    Terminal terminal(60, 10);
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
    Terminal terminal(60, 3);
    ProgressDisplay display(terminal.file(), false);
    display.update(ProgressDisplay::State(2, oneInput[0]), std::chrono::steady_clock::time_point(1h));
    EXPECT_THAT(terminal.written(), HasSubstr("a.mp4"));
    display.update(ProgressDisplay::State(3, oneInput[0]), std::chrono::steady_clock::time_point(2h));
    EXPECT_THAT(terminal.written(), HasSubstr("0 of 3 inputs done"));
}

TEST(ProgressDisplay, ShowsNothingWhereItIsToBeQuiet)
{
    Terminal terminal(60, 10);
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
