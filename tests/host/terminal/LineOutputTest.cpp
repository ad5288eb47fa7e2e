#include "terminal/LineOutput.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include <gmock/gmock.h>

namespace {

using namespace std::chrono_literals;

/// A pipe that holds two pages, and gives what is in it at once.
class SmallPipe : public testing::Test {
protected:
    SmallPipe()
    {
        EXPECT_EQ(::pipe(_ends.data()), 0);
        EXPECT_GE(::fcntl(_ends[1], F_SETPIPE_SZ, 8192), 0);
        EXPECT_EQ(::fcntl(_ends[0], F_SETFL, O_NONBLOCK), 0);
    }
    ~SmallPipe() override
    {
        closeReader();
        ::close(_ends[1]);
    }

    int writer() const { return _ends[1]; }
    std::string read() const
    {
        std::string text(1 << 20, '\0');
        const ssize_t size = ::read(_ends[0], text.data(), text.size());
        text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return text;
    }
    void closeReader()
    {
        if (_ends[0] >= 0)
            ::close(_ends[0]);
        _ends[0] = -1;
    }

private:
    std::array<int, 2> _ends = {-1, -1};
};

} // namespace

TEST_F(SmallPipe, TakesLinesAtOnceWhileItHasRoom)
{
    LineOutput output(writer());
    output.write("a\n");
    output.write("b\n");
    EXPECT_EQ(read(), "a\nb\n");
    EXPECT_EQ(output.finish(std::nullopt), 0);
}

TEST_F(SmallPipe, KeepsNobodyWaitingAndGetsTheRestLater)
{
    LineOutput output(writer());
    const std::string first(10000, 'a');
    output.write(first);
    output.write("b");
    EXPECT_FALSE(output.writeOn());
    std::string received = read();
    EXPECT_TRUE(output.writeOn());
    received += read();
    EXPECT_EQ(received, first + "b");
}

TEST_F(SmallPipe, IsGivenUpAfterAWhile)
{
    LineOutput output(writer());
    output.write(std::string(10000, 'a'));
    EXPECT_EQ(output.finish(10ms), ETIMEDOUT);
}

TEST_F(SmallPipe, IsGivenNoMoreThanSomeHundredKilobytesBehindWhatWaits)
{
    LineOutput output(writer());
    const std::string line(1000, 'a');
    for (int number = 0; number < 2000; ++number)
        output.write(line);
    std::size_t received = 0;
    for (bool isAll = false; !isAll;) {
        received += read().size();
        isAll = output.writeOn();
    }
    received += read().size();
    EXPECT_EQ(received % line.size(), 0U);
    EXPECT_GT(received, 100U << 10);
    EXPECT_LT(received, 300U << 10);
}

TEST_F(SmallPipe, TellsThatItsReaderHasGone)
{
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    LineOutput output(writer());
    closeReader();
    output.write("a");
    EXPECT_EQ(output.finish(std::nullopt), EPIPE);
    static_cast<void>(std::signal(SIGPIPE, before));
}
