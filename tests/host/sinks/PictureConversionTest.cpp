#include "sinks/PictureConversion.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace {

PictureHeader picture(AVPixelFormat format, AVColorRange range, AVColorSpace space)
{
    PictureHeader header;
    header.pixelFormat = format;
    header.width = 720;
    header.height = 576;
    header.colorRange = range;
    header.colorSpace = space;
    header.colorPrimaries = AVCOL_PRI_BT470BG;
    header.pts = 12;
    return header;
}

} // namespace

TEST(PictureConversion, DescribesWhatBecomesOfTheColours)
{
    const PictureHeader limited = picture(AV_PIX_FMT_YUV420P, AVCOL_RANGE_MPEG, AVCOL_SPC_BT709);
    const PictureHeader rgb = PictureConversion::description(limited, AV_PIX_FMT_BGR24, 720, 576);
    EXPECT_EQ(rgb.pixelFormat, AV_PIX_FMT_BGR24);
    EXPECT_EQ(rgb.colorRange, AVCOL_RANGE_JPEG);
    EXPECT_EQ(rgb.colorSpace, AVCOL_SPC_RGB);
    EXPECT_EQ(rgb.colorPrimaries, AVCOL_PRI_BT470BG);
    EXPECT_EQ(rgb.pts, 12);

    const PictureHeader other = PictureConversion::description(limited, AV_PIX_FMT_NV12, 720, 576);
    EXPECT_EQ(other.colorRange, AVCOL_RANGE_MPEG);
    EXPECT_EQ(other.colorSpace, AVCOL_SPC_BT709);

    const PictureHeader full = PictureConversion::description(limited, AV_PIX_FMT_YUVJ420P, 720, 576);
    EXPECT_EQ(full.colorRange, AVCOL_RANGE_JPEG);
    EXPECT_EQ(full.colorSpace, AVCOL_SPC_BT709);

    const PictureHeader fromRgb = PictureConversion::description(rgb, AV_PIX_FMT_YUV420P, 720, 576);
    EXPECT_EQ(fromRgb.colorRange, AVCOL_RANGE_JPEG);
    EXPECT_EQ(fromRgb.colorSpace, AVCOL_SPC_SMPTE170M);
}

TEST(PictureConversion, AScaledPictureKeepsItsShape)
{
    PictureHeader wide = picture(AV_PIX_FMT_YUV420P, AVCOL_RANGE_MPEG, AVCOL_SPC_BT709);
    wide.sampleAspectRatio[0] = 64;
    wide.sampleAspectRatio[1] = 45;
    const PictureHeader square = PictureConversion::description(wide, AV_PIX_FMT_YUV420P, 1024, 576);
    EXPECT_EQ(square.width, 1024);
    EXPECT_EQ(square.height, 576);
    EXPECT_EQ(square.sampleAspectRatio[0], 1);
    EXPECT_EQ(square.sampleAspectRatio[1], 1);
    const PictureHeader half = PictureConversion::description(wide, AV_PIX_FMT_YUV420P, 360, 288);
    EXPECT_EQ(half.sampleAspectRatio[0], 64);
    EXPECT_EQ(half.sampleAspectRatio[1], 45);
}

TEST(PictureConversion, KnowsWhatItCannotMake)
{
    EXPECT_TRUE(PictureConversion::isPossible(AV_PIX_FMT_RGB24));
    EXPECT_FALSE(PictureConversion::isPossible(AV_PIX_FMT_PAL8));
    EXPECT_FALSE(PictureConversion::isPossible(AV_PIX_FMT_NONE));
}
