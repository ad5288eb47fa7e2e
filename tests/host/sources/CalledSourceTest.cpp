#include "LiveServersFixture.h"
#include "host/live/Loopback.h"
#include "host/live/ServerProcess.h"

namespace {

using testing::IsEmpty;

/// A source that others call, by an url with a port to be filled in, and the url that they call.
struct Called {
    const char *url;
    const char *caller;
    const char *muxer;
};

void PrintTo(const Called &called, std::ostream *stream)
{
    *stream << called.url;
}

class CalledSource : public LiveServersTest, public testing::WithParamInterface<Called> {
protected:
    CalledSource() { start(QString(GetParam().url).arg(_port), waiting()); }

    static LiveSource::Options waiting()
    {
        LiveSource::Options options = pictures();
        options.openLimit = milliseconds(4000);
        options.firstRetryDelay = milliseconds(60'000);
        options.lastRetryDelay = milliseconds(60'000);
        return options;
    }

    std::unique_ptr<ServerProcess> call() const
    {
        return ServerProcess::transportStream(clip(), QString(GetParam().caller).arg(_port),
                                              QLatin1String(GetParam().muxer));
    }

    const quint16 _port = Loopback::freePort(std::string(GetParam().url).find("srt") == 0 ? SOCK_DGRAM : SOCK_STREAM);
};

TEST_P(CalledSource, WaitsForItsFirstCallerAsLongAsThatTakes)
{
    EXPECT_FALSE(takeUntilOrFor(milliseconds(5000), [&] { return !reports.empty(); }));
    EXPECT_EQ(source->status().state, LiveSource::State::Connecting);
    const auto caller = call();
    ASSERT_TRUE(takeVideo(20));
    EXPECT_EQ(pictureIn(videoBlocks.front()), 0);
    EXPECT_THAT(reports, IsEmpty());
    EXPECT_LT(timeToStop(), milliseconds(400));
}

TEST_P(CalledSource, TakesTheNextCallerAtOnce)
{
    for (quint64 callers = 1; callers <= 3; ++callers) {
        auto caller = call();
        const std::size_t before = videoBlocks.size();
        // One that calls in the very moment in which the port is opened again is refused, and calls once more.
        ASSERT_TRUE(takeUntil([&] {
            if (!caller->isRunning() && videoBlocks.size() == before)
                caller = call();
            return videoBlocks.size() >= before + 20;
        }));
        caller->end();
        caller = nullptr;
        ASSERT_TRUE(takeUntil([&] { return breaksIn(videoBlocks).size() == callers; }));
        EXPECT_EQ(source->status().connections, callers);
    }
    expectDecodable(videoBlocks);
}

TEST_P(CalledSource, EndsWithItsDurationThoughNobodyCalls)
{
    LiveSource::Options options = waiting();
    options.duration = milliseconds(300);
    timeToStop();
    start(QString(GetParam().url).arg(_port), options);
    EXPECT_TRUE(takeUntilOrFor(milliseconds(3000), [&] { return source->status().state == LiveSource::State::Ended; }));
}

TEST_P(CalledSource, StopsAtOnceWhileNobodyCalls)
{
    EXPECT_LT(timeToStop(), milliseconds(400));
}

INSTANTIATE_TEST_SUITE_P(
    Live, CalledSource,
    testing::Values(Called{"tcp://127.0.0.1:%1?listen", "tcp://127.0.0.1:%1", "mpegts"},
                    Called{"srt://127.0.0.1:%1?mode=listener", "srt://127.0.0.1:%1?connect_timeout=10000", "mpegts"},
                    Called{"rtmp://127.0.0.1:%1/app/key?listen", "rtmp://127.0.0.1:%1/app/key", "flv"}),
    [](const auto &test) { return std::string(test.param.url, 3); });

TEST_F(LiveServersTest, ACallerByRtmpThatSaysNothingIsGivenUpForTheNextOne)
{
    const quint16 port = Loopback::freePort(SOCK_STREAM);
    start(QStringLiteral("rtmp://127.0.0.1:%1/app/key?listen").arg(port), pictures());
    const sockaddr_in address = Loopback::at(port);
    const int silent = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_TRUE(eventually(
        [&] { return ::connect(silent, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0; }));
    EXPECT_TRUE(takeReports(1));
    std::unique_ptr<ServerProcess> caller;
    EXPECT_TRUE(takeUntil([&] {
        if (!caller || (!caller->isRunning() && videoBlocks.empty()))
            caller = ServerProcess::transportStream(clip(), QStringLiteral("rtmp://127.0.0.1:%1/app/key").arg(port),
                                                    QStringLiteral("flv"));
        return videoBlocks.size() >= 20;
    }));
    ::close(silent);
}

} // namespace
