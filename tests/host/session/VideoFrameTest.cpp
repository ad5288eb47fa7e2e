#include <cmath>
#include <optional>
#include <thread>
#include <utility>

#include "PlaneBytes.h"
#include "host/sinks/Records.h"
#include "session/FrameMemory.h"
#include <decoding/VideoFrame.h>
#include <gmock/gmock.h>

namespace {

using decoding::VideoFrame;

VideoFrameHandle picture(AVPixelFormat format, int width, int height, Records::Rows rows = Records::Rows::TopDown)
{
    return Records::picture(format, width, height, Records::packedBytes(format, width, height, 1), 50, rows);
}

} // namespace

TEST(VideoFrame, TellsWhatItsHeaderSays)
{
    const VideoFrameHandle record = picture(AV_PIX_FMT_YUV420P, 6, 4);
    PictureHeader &header = Records::headerOf(record);
    header.timeBase[0] = 2;
    header.timeBase[1] = 25;
    header.frameRate[0] = 30000;
    header.frameRate[1] = 1001;
    header.sampleAspectRatio[0] = 16;
    header.sampleAspectRatio[1] = 11;
    const VideoFrame frame = decoding::makeFrame(record);
    EXPECT_EQ(frame.width(), 6);
    EXPECT_EQ(frame.height(), 4);
    EXPECT_EQ(frame.pixelFormat(), "yuv420p");
    EXPECT_EQ(frame.timestamp(), 50);
    EXPECT_DOUBLE_EQ(frame.seconds(), 4.0);
    EXPECT_EQ(frame.timeBase().numerator, 2);
    EXPECT_EQ(frame.timeBase().denominator, 25);
    EXPECT_EQ(frame.frameRate().numerator, 30000);
    EXPECT_EQ(frame.frameRate().denominator, 1001);
    EXPECT_EQ(frame.sampleAspectRatio().numerator, 16);
    EXPECT_EQ(frame.sampleAspectRatio().denominator, 11);
    EXPECT_FALSE(frame.isKeyFrame());
    EXPECT_FALSE(frame.isDamaged());
    header.flags = PictureHeader::KeyPicture;
    EXPECT_TRUE(frame.isKeyFrame());
    EXPECT_FALSE(frame.isDamaged());
    header.flags = PictureHeader::Damaged;
    EXPECT_FALSE(frame.isKeyFrame());
    EXPECT_TRUE(frame.isDamaged());
}

TEST(VideoFrame, SaysWhatIsNotKnown)
{
    const VideoFrameHandle record = picture(AV_PIX_FMT_GRAY8, 6, 4);
    PictureHeader &header = Records::headerOf(record);
    header.frameRate[0] = 0;
    header.sampleAspectRatio[1] = 0;
    header.pts = std::numeric_limits<qint64>::min();
    const VideoFrame frame = decoding::makeFrame(record);
    EXPECT_EQ(frame.timestamp(), VideoFrame::noTimestamp);
    EXPECT_TRUE(std::isnan(frame.seconds()));
    EXPECT_EQ(frame.timeBase().numerator, 1);
    EXPECT_EQ(frame.frameRate().numerator, 0);
    EXPECT_EQ(frame.frameRate().denominator, 1);
    EXPECT_EQ(frame.sampleAspectRatio().numerator, 0);
    EXPECT_EQ(frame.sampleAspectRatio().denominator, 1);

    // A number of nothing is no time.
    header.pts = 7;
    header.timeBase[0] = 0;
    EXPECT_EQ(frame.timestamp(), VideoFrame::noTimestamp);
    EXPECT_TRUE(std::isnan(frame.seconds()));
    EXPECT_EQ(frame.timeBase().numerator, 0);
    EXPECT_EQ(frame.timeBase().denominator, 1);
    header.timeBase[0] = 1;
    header.timeBase[1] = 0;
    EXPECT_EQ(frame.timestamp(), VideoFrame::noTimestamp);
    EXPECT_EQ(frame.timeBase().denominator, 1);
}

TEST(VideoFrame, ShowsThePlanesOfEveryKindOfFormat)
{
    const std::vector<std::pair<AVPixelFormat, int>> formats = {
        {AV_PIX_FMT_YUV420P, 3}, {AV_PIX_FMT_YUV422P10, 3}, {AV_PIX_FMT_YUVA420P, 4},
        {AV_PIX_FMT_NV12, 2},    {AV_PIX_FMT_GRAY8, 1},     {AV_PIX_FMT_RGB24, 1},
        {AV_PIX_FMT_GBRP, 3},    {AV_PIX_FMT_PAL8, 2},      {AV_PIX_FMT_MONOWHITE, 1}};
    for (const auto &[format, planes] : formats) {
        // Sizes that subsampling does not divide.
        const QByteArray bytes = Records::packedBytes(format, 13, 7, 3);
        const VideoFrame frame = decoding::makeFrame(Records::picture(format, 13, 7, bytes, 0));
        EXPECT_EQ(frame.planeCount(), planes) << frame.pixelFormat();
        EXPECT_EQ(bytesOf(frame), bytes) << frame.pixelFormat();
    }
}

TEST(VideoFrame, ShowsRowsThatLieUpsideDown)
{
    const VideoFrame frame = decoding::makeFrame(picture(AV_PIX_FMT_RGB24, 5, 3, Records::Rows::BottomUp));
    EXPECT_LT(frame.plane(0).stride, 0);
    EXPECT_EQ(bytesOf(frame), Records::packedBytes(AV_PIX_FMT_RGB24, 5, 3, 1));
}

TEST(VideoFrame, HasNoDataInPlanesThatItDoesNotHave)
{
    const VideoFrame frame = decoding::makeFrame(picture(AV_PIX_FMT_YUV420P, 6, 4));
    for (const int index : {-1, 3, 4, 1000}) {
        EXPECT_EQ(frame.plane(index).data, nullptr) << index;
        EXPECT_EQ(frame.plane(index).height, 0) << index;
    }
}

TEST(VideoFrame, CopiesShareTheMemoryUntilTheLastIsGone)
{
    const VideoFrameHandle record = picture(AV_PIX_FMT_GRAY8, 6, 4);
    std::optional<VideoFrame> frame = decoding::makeFrame(record);
    std::optional<VideoFrame> copy = frame;
    EXPECT_EQ(copy->plane(0).data, frame->plane(0).data);
    EXPECT_EQ(record->refCount, 2) << "copies share one reference";
    std::optional<VideoFrame> moved = std::move(*frame);
    frame.reset();
    *copy = *moved;
    std::thread([last = std::move(moved)] { EXPECT_EQ(last->width(), 6); }).join();
    EXPECT_EQ(record->refCount, 2);
    copy.reset();
    EXPECT_EQ(record->refCount, 1);
}
