#include <chrono>
#include <ctime>

#include "LiveFixture.h"
#include "host/live/ByteServer.h"
#include "host/live/Loopback.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Live sources that do not deliver, or no more.
class LiveSourceOutageTest : public LiveFixture {
protected:
    /// 4 seconds, whose last frames libavformat holds back until it knows that nothing follows them.
    QString broadcast() const
    {
        return make(QStringLiteral("-f lavfi -i testsrc=size=64x48:rate=25:duration=4 -f lavfi -i sine=duration=4 "
                                   "-c:v libx264 -pix_fmt yuv420p -g 25 -c:a mp2"),
                    QStringLiteral("broadcast.ts"));
    }

    /// What all threads of this process have computed for so far.
    static std::chrono::nanoseconds processorTime()
    {
        timespec time = {};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    }
};

TEST_F(LiveSourceOutageTest, AServerThatNeverAnswersIsReportedOnceHoweverOftenItIsTried)
{
    const ByteServer server({{QByteArray(), true}});
    LiveSource::Options options = impatient();
    options.openLimit = milliseconds(300);
    start(server.url(), options);
    ASSERT_TRUE(takeUntil([&] { return server.clients() >= 4; }));
    EXPECT_THAT(reports, ElementsAre("camera: nothing came within 0.3 s; trying again"));
    EXPECT_EQ(source->status().trouble, "nothing came within 0.3 s");
    EXPECT_EQ(source->status().connections, 0u);
    EXPECT_THAT(source->streams(), IsEmpty());
}

TEST_F(LiveSourceOutageTest, AStallIsNoticedAndMended)
{
    const QByteArray clip = contents(makeClip(QStringLiteral("clip.ts")));
    const ByteServer server({{clip, true}});
    LiveSource::Options options = impatient();
    options.stallLimit = milliseconds(400);
    start(server.url(), options);
    ASSERT_TRUE(takeReports(2));
    const std::string name = "camera";
    EXPECT_EQ(reports[0], name + ": no packet for 0.4 s; reconnecting");
    EXPECT_THAT(reports[1], testing::MatchesRegex(name + ": delivers again after [0-9.]+ s, 1 attempt"));
    EXPECT_EQ(breaksIn(videoBlocks).size(), 1u);
    EXPECT_EQ(breaksIn(audioBlocks).size(), 1u);
    expectDecodable(videoBlocks);
    expectDecodable(audioBlocks);
}

TEST_F(LiveSourceOutageTest, AStallIsNoticedInTimeAtNoCostAndWithEveryFrameThatCame)
{
    const QString file = broadcast();
    const std::size_t pictures = packetsOf(file, 0).size();
    const std::size_t sounds = packetsOf(file, 1).size();
    const ByteServer server({{contents(file), true}, {QByteArray(), true}});
    LiveSource::Options options = impatient();
    options.stallLimit = milliseconds(3000);
    start(server.url(), options);
    ASSERT_TRUE(takeUntil([&] { return source->status().packets >= pictures; }));
    const auto begin = Clock::now();
    const std::chrono::nanoseconds computedBefore = processorTime();
    ASSERT_TRUE(takeReports(1));
    EXPECT_LT(Clock::now() - begin, options.stallLimit * 3 / 2);
    EXPECT_LT(processorTime() - computedBefore, options.stallLimit / 2);
    EXPECT_EQ(reports[0], "camera: no packet for 3 s; reconnecting");
    EXPECT_EQ(pictures, 100u);
    EXPECT_EQ(source->status().packets, pictures + sounds);
}

TEST_F(LiveSourceOutageTest, AConnectionThatStallsBeforeItIsSteadyIsWaitedForLongerEachTime)
{
    const ByteServer server({{contents(broadcast()), true}});
    LiveSource::Options options = impatient();
    options.stallLimit = milliseconds(1000);
    options.steadyAfter = milliseconds(900);
    options.firstRetryDelay = milliseconds(100);
    options.lastRetryDelay = milliseconds(60'000);
    start(server.url(), options);
    ASSERT_TRUE(takeUntil([&] { return source->status().connections >= 5; }));
    ASSERT_TRUE(takeReports(8));
    const std::string beginning = "camera: delivers again after ";
    ASSERT_EQ(reports[7].find(beginning), 0u) << reports[7];
    // The fourth time, 0.8 s less a third, and half a tenth for the words.
    EXPECT_GT(std::stod(reports[7].substr(beginning.size())), 0.45);
}

TEST_F(LiveSourceOutageTest, AServerThatComesLateIsFound)
{
    const quint16 port = Loopback::freePort(SOCK_STREAM);
    start(QStringLiteral("tcp://127.0.0.1:%1").arg(port));
    ASSERT_TRUE(takeReports(1));
    const std::string name = "camera";
    EXPECT_EQ(reports[0], name + ": cannot be opened: Connection refused; trying again");
    const ByteServer server({{contents(makeClip(QStringLiteral("clip.ts"))), true}}, port);
    ASSERT_TRUE(takeReports(2));
    EXPECT_THAT(reports[1], testing::MatchesRegex(name + ": delivers after [0-9.]+ s, [0-9]+ attempts?"));
}

TEST_F(LiveSourceOutageTest, WhatNoFurtherAttemptWouldMendEndsIt)
{
    for (const char *const url :
         {"lavfi:testsrx", "lavfi:testsrc=size=wide", "lavfi:testsrc=nosuch=1", "tcp://127.0.0.1", "srt://127.0.0.1"}) {
        SCOPED_TRACE(url);
        start(QLatin1String(url));
        ASSERT_TRUE(takeUntil([&] { return source->status().state == LiveSource::State::Ended; }));
        EXPECT_THAT(source->status().trouble, testing::StartsWith("cannot be opened: "));
        EXPECT_THAT(reports, IsEmpty());
        EXPECT_TRUE(source->streams().empty());
    }
}

TEST_F(LiveSourceOutageTest, APathThatIsUnknownEndsItUnlessItWasThereBefore)
{
    const QByteArray refusal = "RTSP/1.0 404 Not Found\r\nCSeq: 1\r\n\r\n";
    const ByteServer never({{refusal, true}});
    start(QString(never.url()).replace("tcp:", "rtsp:"));
    ASSERT_TRUE(takeUntil([&] { return source->status().state == LiveSource::State::Ended; }));
    EXPECT_EQ(source->status().trouble, "cannot be opened: Server returned 404 Not Found");
    EXPECT_EQ(never.clients(), 1);

    const LiveUrl url("rtsp://127.0.0.1/live");
    EXPECT_FALSE(url.isHopeless(AVERROR_HTTP_NOT_FOUND, true));
    EXPECT_TRUE(url.isHopeless(AVERROR_HTTP_UNAUTHORIZED, true));
}

} // namespace
