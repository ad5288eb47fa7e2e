#include "sinks/ReaderSink.h"

#include <memory>
#include <thread>

#include "host/sinks/Records.h"
#include "strata/base/modkit/modkit"
#include <gmock/gmock.h>

namespace {

using Records::picture;
using testing::Optional;

class ReaderSinkTest : public testing::Test {
protected:
    qint64 takeStamp()
    {
        const auto frame = buffer->tryTake();
        return frame ? PictureHeader::of(**frame)->pts : -1;
    }

    const std::shared_ptr<PictureBuffer> buffer =
        std::make_shared<PictureBuffer>(2, Overflow::DropOldest, std::shared_ptr<Gate>());
    ModkitPtr<VideoReaderSink> sink{new VideoReaderSink("clip video", buffer)};
};

} // namespace

TEST_F(ReaderSinkTest, HandsFramesOnWithoutCopyingThem)
{
    const VideoFrameHandle frame = picture(1);
    sink->push(frame, 0, 0);
    EXPECT_EQ(buffer->tryTake()->data(), frame.data());
}

TEST_F(ReaderSinkTest, CountsWhatItTakesAndWhatTheReaderMisses)
{
    const VideoFrameHandle damaged = picture(1);
    Records::headerOf(damaged).flags = PictureHeader::Damaged;
    const VideoFrameHandle sound = picture(2);
    Records::headerOf(sound).flags = PictureHeader::KeyPicture;
    sink->push(damaged, 0, 0);
    sink->push(VideoFrameHandle(), 0, 0);
    sink->push(sound, 0, 0);
    sink->push(picture(3), 0, 0);
    const ISink::Status status = sink->status();
    EXPECT_EQ(status.records, 3U);
    EXPECT_EQ(status.damaged, 1U);
    EXPECT_EQ(status.foreign, 0U);
    EXPECT_EQ(status.nullBlocks, 1U);
    EXPECT_EQ(status.dropped, 1U);
    EXPECT_EQ(status.bytes, 3 * damaged->size);
    EXPECT_EQ(status.bytesWritten, 0U);
    EXPECT_EQ(status.error, std::nullopt);
    EXPECT_EQ(takeStamp(), 2);
    EXPECT_EQ(takeStamp(), 3);
    EXPECT_EQ(takeStamp(), -1);
}

TEST_F(ReaderSinkTest, KeepsForeignRecordsBackAndTellsOfThem)
{
    sink->push(Records::foreignPicture(), 0, 0);
    sink->push(VideoFrameHandle(new VideoFrameBuffer), 0, 0);
    sink->push(picture(7), 0, 0);
    const ISink::Status status = sink->status();
    EXPECT_EQ(status.records, 3U);
    EXPECT_EQ(status.foreign, 2U);
    EXPECT_THAT(status.error, Optional(std::string(
                                  "clip video: a record is not of this host's codec decoders, so it cannot be read")));
    EXPECT_EQ(buffer->frames(), 1);
    EXPECT_EQ(takeStamp(), 7);
}

TEST_F(ReaderSinkTest, HandsSamplesOn)
{
    const auto samples = std::make_shared<SamplesBuffer>(4, Overflow::DropOldest, std::shared_ptr<Gate>());
    AudioReaderSink audio("clip audio", samples);
    audio.push(Records::samples({1, 2, 3, 4}, 8000, 2, 9), 0, 0);
    audio.push(Records::foreignSamples(), 0, 0);
    audio.push(AudioSampleHandle(), 0, 0);
    EXPECT_EQ(audio.status().records, 2U);
    EXPECT_EQ(audio.status().foreign, 1U);
    EXPECT_EQ(audio.status().nullBlocks, 1U);
    EXPECT_EQ(audio.status().bytes, sizeof(SamplesHeader) + 8);
    EXPECT_EQ(SamplesHeader::of(**samples->tryTake())->pts, 9);
    EXPECT_FALSE(samples->tryTake());
}

TEST_F(ReaderSinkTest, FinishingEndsTheBufferBehindItsFrames)
{
    sink->push(picture(1), 0, 0);
    sink->hurry();
    sink->finish();
    EXPECT_FALSE(buffer->hasEnded());
    EXPECT_EQ(takeStamp(), 1);
    EXPECT_TRUE(buffer->hasEnded());
    sink->finish();
    sink->push(picture(2), 0, 0);
    EXPECT_EQ(takeStamp(), -1);
}

TEST_F(ReaderSinkTest, ABufferWhoseSinkIsGoneHasEnded)
{
    sink->push(picture(1), 0, 0);
    sink = ModkitPtr<VideoReaderSink>();
    EXPECT_EQ(takeStamp(), 1);
    EXPECT_TRUE(buffer->hasEnded());
}

TEST_F(ReaderSinkTest, ShowsItsStatusWhileItIsUsed)
{
    std::thread decoder([this] {
        for (int number = 0; number < 2000; ++number)
            sink->push(number % 100 == 0 ? Records::foreignPicture() : picture(number), 0, 0);
        sink->finish();
    });
    quint64 records = 0;
    while (!buffer->hasEnded()) {
        const ISink::Status status = sink->status();
        EXPECT_GE(status.records, records);
        records = status.records;
        buffer->tryTake();
    }
    decoder.join();
    EXPECT_EQ(sink->status().records, 2000U);
    EXPECT_EQ(sink->status().foreign, 20U);
}
