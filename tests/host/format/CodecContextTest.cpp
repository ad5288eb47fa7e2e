#include "format/CodecContext.h"

#include <limits>

#include <gtest/gtest.h>

namespace {

TEST(CodecContext, FrameIsDamagedWhenLibavcodecSaysSoInEitherWay)
{
    AVFrame *frame = av_frame_alloc();
    EXPECT_FALSE(CodecContext::isDamaged(*frame));
    frame->flags = AV_FRAME_FLAG_CORRUPT;
    EXPECT_TRUE(CodecContext::isDamaged(*frame));
    frame->flags = 0;
    frame->decode_error_flags = FF_DECODE_ERROR_MISSING_REFERENCE;
    EXPECT_TRUE(CodecContext::isDamaged(*frame));
    av_frame_free(&frame);
}

TEST(CodecContext, MillisecondsOfAnUnknownTimeAreUnknown)
{
    EXPECT_EQ(CodecContext::milliseconds(std::numeric_limits<qint64>::min(), {1, 90000}), std::nullopt);
    EXPECT_EQ(CodecContext::milliseconds(90045, {1, 90000}), 1001);
    EXPECT_EQ(CodecContext::milliseconds(-90000, {1, 90000}), -1000);
}

} // namespace
