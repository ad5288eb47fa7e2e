#include <QTemporaryDir>

#include <array>
#include <atomic>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "PlaneBytes.h"
#include "host/sinks/FfmpegTool.h"
#include "host/sinks/Records.h"
#include "session/FrameMemory.h"
#include "sinks/SnapshotWriter.h"
#include <decoding/Error.h>
#include <decoding/VideoFrame.h>
#include <gmock/gmock.h>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

using decoding::VideoFrame;
using testing::ElementsAre;

/// A picture whose bytes differ with @p seed.
VideoFrameHandle noise(AVPixelFormat format, int width, int height, int seed = 1,
                       Records::Rows rows = Records::Rows::TopDown)
{
    return Records::picture(format, width, height, Records::packedBytes(format, width, height, seed), 50, rows);
}

/// A picture of one colour.
VideoFrameHandle plain(int y, int u, int v, AVColorRange range, AVColorSpace space)
{
    const VideoFrameHandle record = Records::picture(
        AV_PIX_FMT_YUV444P, 16, 16, QByteArray(256, char(y)) + QByteArray(256, char(u)) + QByteArray(256, char(v)), 0);
    Records::headerOf(record).colorRange = range;
    Records::headerOf(record).colorSpace = space;
    return record;
}

/// @return the first bytes of each plane.
std::vector<int> firstBytes(const VideoFrame &frame, int ofEach = 1)
{
    std::vector<int> bytes;
    for (int plane = 0; plane < frame.planeCount(); ++plane)
        bytes.insert(bytes.end(), frame.plane(plane).data, frame.plane(plane).data + ofEach);
    return bytes;
}

std::string errorOf(const VideoFrame &frame, const std::string &pixelFormat, int width, int height)
{
    try {
        frame.convertTo(pixelFormat, width, height);
    } catch (const decoding::Error &error) {
        return error.what();
    }
    return {};
}

} // namespace

TEST(VideoConversion, HasTheColoursOfASnapshot)
{
    constexpr int width = 33;
    constexpr int height = 17;
    const QTemporaryDir directory;
    SnapshotWriter writer({directory.filePath("clip").toStdString()}, std::chrono::seconds(1));
    std::vector<QByteArray> converted;
    std::vector<std::string> names;
    for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P10, AV_PIX_FMT_NV12, AV_PIX_FMT_RGB24,
                                       AV_PIX_FMT_GRAY8, AV_PIX_FMT_PAL8, AV_PIX_FMT_GBRP10}) {
        for (const AVColorRange range : {AVCOL_RANGE_UNSPECIFIED, AVCOL_RANGE_JPEG}) {
            for (const AVColorSpace space : {AVCOL_SPC_UNSPECIFIED, AVCOL_SPC_BT709, AVCOL_SPC_RGB}) {
                const VideoFrameHandle record = noise(format, width, height, 3, Records::Rows::BottomUp);
                Records::headerOf(record).colorRange = range;
                Records::headerOf(record).colorSpace = space;
                writer.noteBreak();
                ASSERT_GT(std::get<quint64>(writer.write(*PictureHeader::of(*record), 0)), 0U);
                converted.push_back(bytesOf(decoding::makeFrame(record).convertTo("rgb24", width, height)));
                names.push_back(std::string(av_get_pix_fmt_name(format)) + ", range " + std::to_string(range) +
                                ", space " + std::to_string(space));
            }
        }
    }
    // All at once, because the tool takes longer to start than to read them.
    const QByteArray snapshots =
        FfmpegTool::run("-i '" + directory.filePath("clip-%04d.png").toStdString() + "' -f rawvideo -");
    constexpr int size = width * height * 3;
    ASSERT_EQ(snapshots.size(), static_cast<int>(names.size()) * size);
    for (std::size_t index = 0; index < names.size(); ++index)
        EXPECT_EQ(converted[index], snapshots.mid(static_cast<int>(index) * size, size)) << names[index];
}

TEST(VideoConversion, KeepsToTheRangeAndTheMatrixOfThePicture)
{
    const auto red = [](AVColorRange range, AVColorSpace space) {
        return firstBytes(decoding::makeFrame(plain(100, 128, 180, range, space)).convertTo("rgb24", 16, 16))[0];
    };
    // Y + 1.402 V and Y + 1.5748 V, with luma and chroma stretched from the limited range first.
    EXPECT_NEAR(red(AVCOL_RANGE_JPEG, AVCOL_SPC_SMPTE170M), 173, 1);
    EXPECT_NEAR(red(AVCOL_RANGE_MPEG, AVCOL_SPC_SMPTE170M), 181, 1);
    EXPECT_NEAR(red(AVCOL_RANGE_MPEG, AVCOL_SPC_BT709), 191, 1);
    EXPECT_NEAR(red(AVCOL_RANGE_UNSPECIFIED, AVCOL_SPC_UNSPECIFIED), 181, 1);
}

TEST(VideoConversion, FromYuvToYuvOrGrayKeepsTheNumbers)
{
    for (const AVColorRange range : {AVCOL_RANGE_MPEG, AVCOL_RANGE_JPEG}) {
        const VideoFrame frame = decoding::makeFrame(plain(100, 90, 180, range, AVCOL_SPC_BT709));
        EXPECT_THAT(firstBytes(frame.convertTo("yuv420p", 16, 16)), ElementsAre(100, 90, 180));
        EXPECT_THAT(firstBytes(frame.convertTo("yuv422p", 64, 8)), ElementsAre(100, 90, 180));
        EXPECT_THAT(firstBytes(frame.convertTo("gray", 8, 8)), ElementsAre(100));
        EXPECT_EQ(firstBytes(frame.convertTo("yuv420p", 16, 16).convertTo("rgb24", 8, 8), 3),
                  firstBytes(frame.convertTo("rgb24", 16, 16), 3));
    }
}

TEST(VideoConversion, ToAFormatOfTheFullRangeStretches)
{
    const VideoFrame frame = decoding::makeFrame(plain(235, 128, 128, AVCOL_RANGE_MPEG, AVCOL_SPC_BT709));
    const VideoFrame stretched = frame.convertTo("yuvj444p", 16, 16);
    EXPECT_NEAR(firstBytes(stretched)[0], 255, 1);
    EXPECT_NEAR(firstBytes(stretched.convertTo("rgb24", 16, 16))[0], 255, 1);
}

TEST(VideoConversion, ThereAndBackAgainIsTheSameColour)
{
    const VideoFrame frame = decoding::makeFrame(plain(100, 110, 160, AVCOL_RANGE_MPEG, AVCOL_SPC_BT709));
    const VideoFrame rgb = frame.convertTo("rgb24", 16, 16);
    const std::vector<int> colour = firstBytes(rgb, 3);
    for (const char *format : {"yuv444p", "yuv420p", "bgr24", "rgba", "gbrp10le", "rgb48le"}) {
        const VideoFrame other = rgb.convertTo(format, 16, 16);
        const std::vector<int> back = firstBytes(other.convertTo("rgb24", 16, 16), 3);
        for (std::size_t channel = 0; channel < 3; ++channel)
            EXPECT_NEAR(back[channel], colour[channel], 2) << format;
    }
    EXPECT_EQ(firstBytes(rgb.convertTo("bgr24", 16, 16), 3), (std::vector<int>{colour[2], colour[1], colour[0]}));
    EXPECT_EQ(firstBytes(rgb.convertTo("rgba", 16, 16), 4), (std::vector<int>{colour[0], colour[1], colour[2], 255}));
}

TEST(VideoConversion, ToItsOwnFormatAndSizeIsACopyInMemoryOfItsOwn)
{
    for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_PAL8, AV_PIX_FMT_GBRP10, AV_PIX_FMT_NV12}) {
        const auto rows = format == AV_PIX_FMT_NV12 ? Records::Rows::TopDown : Records::Rows::BottomUp;
        const VideoFrameHandle record = noise(format, 33, 17, 5, rows);
        std::optional<VideoFrame> frame = decoding::makeFrame(record);
        const VideoFrame copy = frame->convertTo(frame->pixelFormat(), 33, 17);
        EXPECT_EQ(copy.pixelFormat(), frame->pixelFormat());
        EXPECT_NE(copy.plane(0).data, frame->plane(0).data);
        EXPECT_EQ(bytesOf(copy), bytesOf(*frame)) << frame->pixelFormat();
        EXPECT_GT(copy.plane(0).stride, 0);
        frame.reset();
        EXPECT_EQ(record->refCount, 1) << "the copy holds the original";
    }
}

TEST(VideoConversion, KeepsWhatIsKnownOfTheFrame)
{
    const VideoFrameHandle record = noise(AV_PIX_FMT_YUV420P, 40, 20);
    PictureHeader &header = Records::headerOf(record);
    header.flags = PictureHeader::Damaged | PictureHeader::KeyPicture;
    header.sampleAspectRatio[0] = 3;
    header.sampleAspectRatio[1] = 2;
    const VideoFrame frame = decoding::makeFrame(record);
    const VideoFrame converted = frame.convertTo("rgb24", 20, 20);
    EXPECT_EQ(converted.width(), 20);
    EXPECT_EQ(converted.height(), 20);
    EXPECT_EQ(converted.pixelFormat(), "rgb24");
    EXPECT_EQ(converted.planeCount(), 1);
    EXPECT_EQ(converted.plane(0).width, 60);
    EXPECT_EQ(converted.plane(0).height, 20);
    EXPECT_EQ(converted.plane(0).stride % 64, 0);
    EXPECT_EQ(converted.timestamp(), 50);
    EXPECT_DOUBLE_EQ(converted.seconds(), 2.0);
    EXPECT_EQ(converted.frameRate().numerator, 25);
    EXPECT_TRUE(converted.isKeyFrame());
    EXPECT_TRUE(converted.isDamaged());
    // 60 by 20 it is to be shown, 20 by 20 it has.
    EXPECT_EQ(converted.sampleAspectRatio().numerator, 3);
    EXPECT_EQ(converted.sampleAspectRatio().denominator, 1);

    header.sampleAspectRatio[0] = 0;
    EXPECT_EQ(frame.convertTo("rgb24", 20, 20).sampleAspectRatio().numerator, 0);
    EXPECT_EQ(frame.convertTo("rgb24", 20, 20).sampleAspectRatio().denominator, 1);
}

TEST(VideoConversion, ScalesTheWholePicture)
{
    // Black and white above, white and black below.
    QByteArray bytes;
    for (int row = 0; row < 32; ++row)
        bytes += QByteArray(32, char(row < 16 ? 0 : 255)) + QByteArray(32, char(row < 16 ? 255 : 0));
    const VideoFrame frame = decoding::makeFrame(Records::picture(AV_PIX_FMT_GRAY8, 64, 32, bytes, 0));
    for (const auto &[width, height] : {std::pair{16, 8}, {200, 100}, {64, 8}, {16, 32}}) {
        const VideoFrame scaled = frame.convertTo("gray", width, height);
        const decoding::Plane plane = scaled.plane(0);
        const quint8 *const last = plane.data + std::ptrdiff_t(height - 1) * plane.stride;
        EXPECT_LT(plane.data[0], 5) << width << "x" << height;
        EXPECT_GT(plane.data[width - 1], 250) << width << "x" << height;
        EXPECT_GT(last[0], 250) << width << "x" << height;
        EXPECT_LT(last[width - 1], 5) << width << "x" << height;
    }
}

TEST(VideoConversion, SaysWhatCannotBe)
{
    const VideoFrame frame = decoding::makeFrame(noise(AV_PIX_FMT_YUV420P, 32, 16));
    EXPECT_EQ(errorOf(frame, "foo", 32, 16), "cannot convert a picture to \"foo\": there is no such pixel format");
    EXPECT_EQ(errorOf(frame, "", 32, 16), "cannot convert a picture to \"\": there is no such pixel format");
    for (const char *format : {"pal8", "vaapi"})
        EXPECT_EQ(errorOf(frame, format, 32, 16), std::string("cannot convert a picture to \"") + format +
                                                      "\": libswscale has no way to that pixel format");
    EXPECT_EQ(errorOf(frame, "rgb24", 0, 16), "cannot convert a picture to \"rgb24\": 0x16 is no size");
    EXPECT_EQ(errorOf(frame, "rgb24", 32, -5), "cannot convert a picture to \"rgb24\": 32x-5 is no size");
    EXPECT_EQ(errorOf(frame, "rgb24", 100'000, 100'000),
              "cannot convert a picture to \"rgb24\": there is no memory for 100000x100000 pixels");
    const VideoFrame palette = decoding::makeFrame(noise(AV_PIX_FMT_PAL8, 32, 16));
    EXPECT_EQ(errorOf(palette, "pal8", 16, 8),
              "cannot convert a picture to \"pal8\", 16x8: libswscale has no way from pal8, 32x16");
    EXPECT_EQ(errorOf(frame, "rgb24", 32, 16), "");
}

TEST(VideoConversion, MayBeMixedAtWillOnAnyThread)
{
    // More kinds than a thread keeps scalers for; of the same format and size, too, but not of the same colours.
    struct Kind {
        VideoFrame frame;
        const char *format;
        int width;
    };
    std::vector<Kind> kinds;
    for (const AVColorRange range : {AVCOL_RANGE_MPEG, AVCOL_RANGE_JPEG}) {
        for (const AVColorSpace space : {AVCOL_SPC_BT709, AVCOL_SPC_SMPTE170M}) {
            const VideoFrameHandle record = noise(AV_PIX_FMT_YUV420P, 64, 48);
            Records::headerOf(record).colorRange = range;
            Records::headerOf(record).colorSpace = space;
            kinds.push_back({decoding::makeFrame(record), "rgb24", 64});
        }
    }
    kinds.push_back({kinds[0].frame, "bgr24", 64});
    kinds.push_back({kinds[0].frame, "rgb24", 32});
    const auto converted = [](const Kind &kind) { return bytesOf(kind.frame.convertTo(kind.format, kind.width, 48)); };

    std::vector<QByteArray> expected(kinds.size());
    for (std::size_t index = 0; index < kinds.size(); ++index)
        std::thread([&, index] { expected[index] = converted(kinds[index]); }).join();
    for (std::size_t index = 1; index < kinds.size(); ++index)
        EXPECT_NE(expected[index], expected[index - 1]);

    std::atomic<int> different{0};
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < 3; ++thread)
        threads.emplace_back([&, thread] {
            for (std::size_t round = 0; round < 40; ++round) {
                const std::size_t index = (round * (thread + 1) + round / 7) % kinds.size();
                different += converted(kinds[index]) == expected[index] ? 0 : 1;
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(different, 0);
}
