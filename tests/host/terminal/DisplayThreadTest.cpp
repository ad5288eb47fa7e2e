#include "terminal/DisplayThread.h"

#include <array>
#include <fcntl.h>
#include <optional>
#include <string>
#include <unistd.h>

#include "MadeUpSnapshot.h"
#include "StandardError.h"
#include "fakes/WaitUntil.h"
#include <gmock/gmock.h>

using namespace std::chrono_literals;
using testing::EndsWith;
using testing::StartsWith;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;
using Clock = std::chrono::steady_clock;

namespace {

/// A pipe that takes nothing until it is read.
class FullPipe final {
public:
    FullPipe()
    {
        EXPECT_EQ(pipe2(_ends.data(), O_CLOEXEC), 0);
        fcntl(_ends[1], F_SETFL, O_NONBLOCK);
        while (write(_ends[1], "x", 1) == 1)
            ++_filled;
        fcntl(_ends[1], F_SETFL, 0);
    }
    ~FullPipe()
    {
        close(_ends[0]);
        close(_ends[1]);
    }
    FullPipe(const FullPipe &) = delete;
    FullPipe &operator=(const FullPipe &) = delete;

    int writingEnd() const { return _ends[1]; }

    /// @return what was written behind the filling, up to and with @p end.
    std::string readUpTo(const std::string &end)
    {
        std::string text;
        char character = 0;
        for (; _filled > 0; --_filled)
            EXPECT_EQ(read(_ends[0], &character, 1), 1);
        while (!endsWith(text, end) && read(_ends[0], &character, 1) == 1)
            text += character;
        return text;
    }

private:
    static bool endsWith(const std::string &text, const std::string &end)
    {
        return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
    }

    std::array<int, 2> _ends = {-1, -1};
    int _filled = 0;
};

constexpr RunDisplay::Options messagesOnly{false, true};
constexpr RunDisplay::Options boardLines{true, false};

} // namespace

TEST(DisplayThread, ShowsMessagesInTheirOrderBeforeItEnds)
{
    CaptureStderr();
    {
        DisplayThread display(messagesOnly);
        for (const char *const message : {"one", "two", "three"})
            display.tell(message);
    }
    EXPECT_EQ(GetCapturedStderr(), "decoding-host: one\ndecoding-host: two\ndecoding-host: three\n");
}

TEST(DisplayThread, ShowsASnapshotWheneverItWantsOne)
{
    CaptureStdout();
    {
        DisplayThread display(boardLines);
        EXPECT_TRUE(waitUntil([&display] { return display.wantsSnapshot(); }));
        display.show(MadeUpSnapshot::streams(2));
        EXPECT_FALSE(display.wantsSnapshot());
        EXPECT_TRUE(waitUntil([&display] { return display.wantsSnapshot(); }));
        EXPECT_TRUE(display.takeActions().empty());
    }
    EXPECT_EQ(GetCapturedStdout(), BoardLines::render(MadeUpSnapshot::streams(2)));
}

TEST(DisplayThread, NobodyWaitsForATerminalThatTakesNothing)
{
    FullPipe pipe;
    const StandardError error(pipe.writingEnd());
    std::optional<DisplayThread> display(messagesOnly);
    const Clock::time_point start = Clock::now();
    for (int index = 0; index < 1000; ++index)
        display->tell("message " + std::to_string(index));
    EXPECT_LT(Clock::now() - start, 1s);
    display.reset(); // after half a second
    EXPECT_LT(Clock::now() - start, 10s);

    const std::string text = pipe.readUpTo("message 999\n");
    EXPECT_THAT(text, StartsWith("decoding-host: message 0\n"));
    EXPECT_THAT(text, EndsWith("decoding-host: message 999\n"));
}

TEST(DisplayThread, TellsHowManyMessagesCouldNotBeShown)
{
    FullPipe pipe;
    const StandardError error(pipe.writingEnd());
    DisplayThread display(messagesOnly);
    // As many as wait at most may be on their way to the terminal by then.
    const std::size_t count = 2 * DisplayThread::maxWaiting + 10;
    for (std::size_t index = 1; index <= count; ++index)
        display.tell(std::to_string(index));
    const std::string text = pipe.readUpTo(": " + std::to_string(count) + "\n");
    EXPECT_NE(text.find(" messages before this one could not be shown\n"), std::string::npos);
}
