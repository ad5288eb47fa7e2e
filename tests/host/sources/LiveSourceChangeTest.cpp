#include "LiveFixture.h"
#include "format/MediaBlock.h"
#include "host/live/ByteServer.h"

namespace {

using testing::IsEmpty;

/// Live sources that become others than they were.
class LiveSourceChangeTest : public LiveFixture {
protected:
    /// @return a transport stream with pictures of 64x48, 25 a second. @param options for the ffmpeg tool.
    QByteArray transportStream(int seconds, const QString &options = QStringLiteral("-c:v mpeg2video -g 10")) const
    {
        return contents(make(QStringLiteral("-f lavfi -i testsrc=size=64x48:rate=25:duration=%1 %2")
                                 .arg(QString::number(seconds), options),
                             QStringLiteral("stream.ts")));
    }
};

TEST_F(LiveSourceChangeTest, AKindThatALaterConnectionBringsAppears)
{
    const QByteArray pictures = transportStream(1);
    const QByteArray both =
        transportStream(1, QStringLiteral("-f lavfi -i sine=duration=1 -s 96x64 -c:v mpeg2video -g 10 -c:a mp2"));
    const ByteServer server({{pictures}, {both, true}});
    start(server.url());
    ASSERT_TRUE(takeUntil([&] { return !videoBlocks.empty(); }));
    ASSERT_EQ(source->streams().size(), 1u);
    EXPECT_EQ(source->streams()[0].origin, "camera video");
    EXPECT_EQ(source->streams()[0].width, 64);
    ASSERT_TRUE(takeUntil([&] { return !audioBlocks.empty(); }));
    const auto streams = source->streams();
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[0].width, 96);
    EXPECT_EQ(streams[1].origin, "camera audio");
    EXPECT_EQ(streams[1].streamId, 8u);
    // The key block behind the break brings the other parameters.
    timeToStop();
    takeMore();
    expectDecodable(videoBlocks);
    expectDecodable(audioBlocks);
    const std::size_t first = breaksIn(videoBlocks).front();
    AVPacket *packet = av_packet_alloc();
    QByteArray before;
    QByteArray behind;
    EXPECT_TRUE(MediaBlock::unpack(videoBlocks.front().data, true, packet, &before));
    EXPECT_TRUE(MediaBlock::unpack(videoBlocks[first + 1].data, true, packet, &behind));
    EXPECT_NE(before, behind);
    av_packet_free(&packet);
}

TEST_F(LiveSourceChangeTest, AStreamThatComesLaterOnTheSameConnectionIsTakenIn)
{
    const QByteArray pictures = transportStream(4);
    const QByteArray both = transportStream(
        2, QStringLiteral("-f lavfi -i sine=duration=2 -c:v mpeg2video -g 10 -c:a mp2 -output_ts_offset 4"));
    const ByteServer server({{pictures + both, true}});
    start(server.url());
    ASSERT_TRUE(takeUntil([&] { return audioBlocks.size() >= 20; }));
    const auto streams = source->streams();
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[0].kind, "video");
    EXPECT_EQ(streams[1].origin, "camera audio");
    EXPECT_EQ(streams[1].codec, "mp2");
    EXPECT_EQ(source->status().connections, 1u);
    timeToStop();
    takeMore();
    expectDecodable(audioBlocks);
}

TEST_F(LiveSourceChangeTest, AStreamThatComesInThePlaceOfAnotherIsFollowed)
{
    const QByteArray before = transportStream(4);
    const QByteArray behind =
        transportStream(2, QStringLiteral("-c:v libx264 -g 10 -bf 0 -mpegts_start_pid 0x200 -output_ts_offset 6"));
    const ByteServer server({{before + behind, true}});
    start(server.url());
    ASSERT_TRUE(takeUntil([&] { return source->streams().size() == 1 && source->streams()[0].codec == "h264"; }));
    ASSERT_TRUE(takeUntil([&] { return breaksIn(videoBlocks).size() == 1; }));
    EXPECT_EQ(source->status().connections, 1u);
    EXPECT_TRUE(takeUntil([&] { return videoBlocks.size() >= 98u + 40u; }));
    timeToStop();
    takeMore();
    EXPECT_GE(breaksIn(videoBlocks).front(), 98u);
    expectDecodable(videoBlocks);
}

TEST_F(LiveSourceChangeTest, StreamsThatGoOnSideBySideAreNotTakenForOneAnother)
{
    const QByteArray one = transportStream(4);
    const QByteArray two =
        transportStream(2, QStringLiteral("-map 0 -map 0 -c:v mpeg2video -g 10 -output_ts_offset 4"));
    const ByteServer server({{one + two, true}});
    start(server.url());
    ASSERT_TRUE(takeVideo(140));
    EXPECT_THAT(breaksIn(videoBlocks), IsEmpty());
}

TEST_F(LiveSourceChangeTest, WhatIsToBeDescribedAnewIsConnectedAgainAtOnce)
{
    LiveSource::Options options = impatient();
    options.firstRetryDelay = milliseconds(60'000);
    options.lastRetryDelay = milliseconds(60'000);
    start(generated(QStringLiteral("testsrc=size=64x48:rate=25")), options);
    ASSERT_TRUE(takeVideo(5));
    source->describeAnew();
    ASSERT_TRUE(takeUntil([&] { return source->status().connections == 2; }));
    ASSERT_TRUE(takeReports(1));
    EXPECT_EQ(reports[0], "camera: it has changed, and cannot be decoded as it began; reconnecting");
}

} // namespace
