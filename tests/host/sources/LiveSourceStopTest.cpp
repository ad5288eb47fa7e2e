#include <chrono>

#include "LiveFixture.h"
#include "host/live/ByteServer.h"
#include "host/live/Loopback.h"

namespace {

using testing::IsEmpty;

/// How live sources end, on request or by themselves.
class LiveSourceStopTest : public LiveFixture {};

TEST_F(LiveSourceStopTest, StopsAtOnceWhileItOpens)
{
    const ByteServer server({{QByteArray(), true}});
    start(server.url());
    ASSERT_TRUE(eventually([&] { return server.clients() == 1; }));
    EXPECT_LT(timeToStop(), milliseconds(200));
    EXPECT_EQ(source->status().state, LiveSource::State::Ended);
    EXPECT_EQ(source->status().trouble, "nothing came until the end");
    takeMore();
    EXPECT_THAT(reports, IsEmpty());
}

TEST_F(LiveSourceStopTest, StopsAtOnceWhileItReads)
{
    const ByteServer server({{contents(makeClip(QStringLiteral("clip.ts"))), true}});
    start(server.url());
    ASSERT_TRUE(takeVideo(40));
    EXPECT_LT(timeToStop(), milliseconds(200));
}

TEST_F(LiveSourceStopTest, StopsAtOnceWhileItWaitsToConnectAgain)
{
    LiveSource::Options options = impatient();
    options.firstRetryDelay = milliseconds(60'000);
    options.lastRetryDelay = milliseconds(60'000);
    start(QStringLiteral("tcp://127.0.0.1:%1").arg(Loopback::freePort(SOCK_STREAM)), options);
    ASSERT_TRUE(eventually([&] { return source->status().state == LiveSource::State::Waiting; }));
    EXPECT_LT(timeToStop(), milliseconds(200));
}

TEST_F(LiveSourceStopTest, StopsAtOnceWhileItHoldsAGeneratedPictureBack)
{
    start(generated(QStringLiteral("testsrc=size=64x48:rate=1/60")));
    ASSERT_TRUE(takeVideo(1));
    EXPECT_LT(timeToStop(), milliseconds(200));
}

TEST_F(LiveSourceStopTest, ItsDestructorStopsIt)
{
    const ByteServer server({{QByteArray(), true}});
    start(server.url());
    ASSERT_TRUE(eventually([&] { return server.clients() == 1; }));
    const auto begin = Clock::now();
    source.reset();
    EXPECT_LT(Clock::now() - begin, milliseconds(200));
}

TEST_F(LiveSourceStopTest, EndsWhenItsDurationIsOver)
{
    LiveSource::Options options = impatient();
    options.duration = milliseconds(800);
    const auto begin = Clock::now();
    start(generated(QStringLiteral("testsrc=size=64x48:rate=25")), options);
    source->join();
    EXPECT_GE(Clock::now() - begin, milliseconds(800));
    EXPECT_LT(Clock::now() - begin, milliseconds(5000));
    takeMore();
    EXPECT_GT(videoBlocks.size(), 2u);
    EXPECT_TRUE(videoBlocks.back().data.isEmpty());
    EXPECT_TRUE(video->isDrained());
    EXPECT_THAT(reports, IsEmpty());
    EXPECT_EQ(source->status().trouble, "");
}

TEST_F(LiveSourceStopTest, EndsWhenItsDurationIsOverAlsoWithoutAnAnswer)
{
    const ByteServer server({{QByteArray(), true}});
    LiveSource::Options options = impatient();
    options.duration = milliseconds(300);
    start(server.url(), options);
    source->join();
    takeMore();
    EXPECT_THAT(reports, IsEmpty());
    EXPECT_EQ(source->status().state, LiveSource::State::Ended);
    EXPECT_THAT(source->status().trouble, testing::StartsWith("nothing came "));
}

} // namespace
