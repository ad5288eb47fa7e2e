#include "format/PictureMemory.h"

#include <climits>
#include <cstring>
#include <memory>
#include <utility>

#include "CountingSlab.h"
#include "Records.h"
#include "slab/BlockOwner.h"
#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace {

struct FreeCodec {
    void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
    void operator()(AVFrame *frame) const { av_frame_free(&frame); }
};
using Frame = std::unique_ptr<AVFrame, FreeCodec>;

class PictureMemoryTest : public testing::Test {
protected:
    void SetUp() override { PictureMemory::use(owner, codec.get()); }
    void TearDown() override
    {
        CountingSlab::failAfter(-1);
        EXPECT_EQ(CountingSlab::liveBlocks(), 0);
    }

    /// A picture of one grey in memory that libavcodec would get; null when it would get none.
    Frame decoded(AVPixelFormat format, int width, int height, int grey = 100)
    {
        Frame frame(av_frame_alloc());
        frame->format = format;
        frame->width = width;
        frame->height = height;
        codec->pix_fmt = format;
        codec->width = codec->coded_width = width;
        codec->height = codec->coded_height = height;
        if (codec->get_buffer2(codec.get(), frame.get(), 0) < 0)
            return nullptr;
        fill(*frame, grey);
        return frame;
    }

    /// The same in libavcodec's own memory.
    static Frame elsewhere(AVPixelFormat format, int width, int height, int grey = 100)
    {
        Frame frame(av_frame_alloc());
        frame->format = format;
        frame->width = width;
        frame->height = height;
        av_frame_get_buffer(frame.get(), 0);
        fill(*frame, grey);
        return frame;
    }

    static void fill(AVFrame &frame, int grey)
    {
        for (int row = 0; row < frame.height; ++row)
            std::memset(frame.data[0] + row * frame.linesize[0], grey + row, static_cast<std::size_t>(frame.width));
    }

    slab::BlockOwner owner;
    const std::unique_ptr<AVCodecContext, FreeCodec> codec{
        avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_MPEG4))};
};

PictureHeader sizedDescription(int width, int height, AVPixelFormat format)
{
    PictureHeader description;
    description.width = width;
    description.height = height;
    description.pixelFormat = format;
    return description;
}

TEST_F(PictureMemoryTest, DecodedPictureIsSharedWhereItIs)
{
    Frame frame = decoded(AV_PIX_FMT_GRAY8, 100, 50);
    const VideoFrameHandle record = PictureMemory::share(*codec, *frame, sizedDescription(100, 50, AV_PIX_FMT_GRAY8));
    ASSERT_FALSE(record.isNull());
    const PictureHeader *const header = PictureHeader::of(*record);
    ASSERT_NE(header, nullptr);
    EXPECT_EQ(header->plane(0), frame->data[0]);
    EXPECT_EQ(header->stride[0], frame->linesize[0]);
    EXPECT_EQ(header->size, record->size);
    EXPECT_EQ(CountingSlab::liveBlocks(), 1);
    frame.reset();
    EXPECT_EQ(CountingSlab::liveBlocks(), 1) << "the record keeps it";
}

TEST_F(PictureMemoryTest, PictureThatWasSharedIsCopiedTheNextTime)
{
    const Frame frame = decoded(AV_PIX_FMT_GRAY8, 100, 50);
    PictureHeader description = sizedDescription(100, 50, AV_PIX_FMT_GRAY8);
    description.pts = 1;
    const VideoFrameHandle first = PictureMemory::share(*codec, *frame, description);
    description.pts = 2;
    const VideoFrameHandle second = PictureMemory::share(*codec, *frame, description);
    ASSERT_FALSE(second.isNull());
    EXPECT_NE(first->data, second->data);
    EXPECT_EQ(PictureHeader::of(*first)->pts, 1);
    EXPECT_EQ(PictureHeader::of(*second)->pts, 2);
    EXPECT_EQ(pictureHash(*first), pictureHash(*second));
}

TEST_F(PictureMemoryTest, PictureElsewhereIsCopied)
{
    const Frame frame = elsewhere(AV_PIX_FMT_GRAY8, 100, 50);
    const VideoFrameHandle record = PictureMemory::share(*codec, *frame, sizedDescription(100, 50, AV_PIX_FMT_GRAY8));
    const PictureHeader *const header = PictureHeader::of(*record);
    ASSERT_NE(header, nullptr);
    for (int row = 0; row < 50; ++row) {
        for (const int column : {0, 99})
            ASSERT_EQ(header->plane(0)[row * header->stride[0] + column], 100 + row);
    }
}

TEST_F(PictureMemoryTest, PictureWithAPlaneElsewhereIsCopied)
{
    const Frame frame = decoded(AV_PIX_FMT_PAL8, 64, 8);
    std::uint8_t palette[AVPALETTE_SIZE] = {1, 2, 3};
    frame->data[1] = palette;
    const VideoFrameHandle record = PictureMemory::share(*codec, *frame, sizedDescription(64, 8, AV_PIX_FMT_PAL8));
    const PictureHeader *const header = PictureHeader::of(*record);
    ASSERT_NE(header, nullptr);
    EXPECT_NE(header->plane(0), frame->data[0]);
    EXPECT_EQ(std::memcmp(header->plane(1), palette, sizeof palette), 0);
}

TEST_F(PictureMemoryTest, UpsideDownPictureKeepsItsRows)
{
    const Frame frame = decoded(AV_PIX_FMT_GRAY8, 100, 50);
    frame->data[0] += 49 * frame->linesize[0];
    frame->linesize[0] = -frame->linesize[0];
    const PictureHeader description = sizedDescription(100, 50, AV_PIX_FMT_GRAY8);
    const VideoFrameHandle shared = PictureMemory::share(*codec, *frame, description);
    const VideoFrameHandle copied = PictureMemory::share(*codec, *frame, description);
    EXPECT_LT(PictureHeader::of(*shared)->stride[0], 0);
    EXPECT_EQ(PictureHeader::of(*shared)->plane(0)[0], 149);
    EXPECT_EQ(pictureHash(*shared), pictureHash(*copied));
}

TEST_F(PictureMemoryTest, LibavcodecMayNotWriteWhatItAloneHolds)
{
    const Frame frame = decoded(AV_PIX_FMT_YUV420P, 33, 17);
    EXPECT_FALSE(av_frame_is_writable(frame.get()));
    for (int plane = 0; plane < 3; ++plane) {
        EXPECT_EQ(reinterpret_cast<quintptr>(frame->data[plane]) % 64, 0U);
        EXPECT_EQ(frame->linesize[plane] % 64, 0);
    }
    EXPECT_EQ(frame->linesize[0], 2 * frame->linesize[1]);
}

TEST_F(PictureMemoryTest, BytesThatNobodyWroteAreNoOtherOnes)
{
    // Neither those that the codec leaves as they were, nor those beside a copy.
    const auto expectZerosBesideThePicture = [](const VideoFrameBuffer &record) {
        const PictureHeader &header = *PictureHeader::of(record);
        const quint8 *const begin = static_cast<const quint8 *>(record.data);
        const quint8 *const end = begin + record.size;
        const quint8 *byte = begin + sizeof header;
        for (int row = 0; row < header.height; ++row) {
            const quint8 *const visible = header.plane(0) + row * header.stride[0];
            for (; byte < visible; ++byte)
                ASSERT_EQ(*byte, 0) << "before row " << row;
            byte = visible + header.width;
        }
        for (; byte < end; ++byte)
            ASSERT_EQ(*byte, 0) << "behind the last row";
    };
    const PictureHeader description = sizedDescription(100, 50, AV_PIX_FMT_GRAY8);
    const Frame frame = decoded(AV_PIX_FMT_GRAY8, 100, 50);
    const VideoFrameHandle shared = PictureMemory::share(*codec, *frame, description);
    const VideoFrameHandle copied = PictureMemory::share(*codec, *frame, description);
    expectZerosBesideThePicture(*shared);
    expectZerosBesideThePicture(*copied);
}

TEST_F(PictureMemoryTest, LackOfMemoryGivesNoPicture)
{
    CountingSlab::failAfter(0);
    EXPECT_EQ(decoded(AV_PIX_FMT_GRAY8, 100, 50), nullptr);
    const Frame frame = elsewhere(AV_PIX_FMT_GRAY8, 100, 50);
    EXPECT_TRUE(PictureMemory::share(*codec, *frame, sizedDescription(100, 50, AV_PIX_FMT_GRAY8)).isNull());
}

TEST_F(PictureMemoryTest, PictureTooLargeForItsHeaderIsRefused)
{
    EXPECT_EQ(decoded(AV_PIX_FMT_RGBA64LE, 20000, 20000), nullptr);
}

TEST_F(PictureMemoryTest, ANewPictureIsDescribedAndHasRoomInAlignedRows)
{
    for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_RGB24, AV_PIX_FMT_NV12, AV_PIX_FMT_YUVA444P}) {
        PictureHeader description = sizedDescription(37, 11, format);
        description.pts = 7;
        const VideoFrameHandle record = PictureMemory::create(description);
        ASSERT_FALSE(record.isNull());
        const PictureHeader *const header = PictureHeader::of(*record);
        ASSERT_NE(header, nullptr);
        EXPECT_EQ(header->size, record->size);
        EXPECT_EQ(header->pts, 7);
        EXPECT_EQ(header->width, 37);
        for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(header->plane(plane)) % 64, 0U);
            EXPECT_EQ(header->stride[plane] % 64, 0);
            EXPECT_GE(header->stride[plane], av_image_get_linesize(format, 37, plane));
        }
    }
}

TEST_F(PictureMemoryTest, WhatIsNotSeenOfANewPictureIs0)
{
    // CountingSlab gives out no clean memory.
    const VideoFrameHandle record = PictureMemory::create(sizedDescription(37, 11, AV_PIX_FMT_YUV420P));
    const PictureHeader *const header = PictureHeader::of(*record);
    const auto *const bytes = static_cast<const quint8 *>(record->data);
    for (quint32 offset = sizeof(PictureHeader); offset < record->size; ++offset) {
        bool isVisible = false;
        for (int plane = 0; plane < 3; ++plane) {
            const qint64 inPlane = qint64(offset) - header->planeOffset[plane];
            isVisible = isVisible || (inPlane >= 0 && inPlane / header->stride[plane] < (plane == 0 ? 11 : 6) &&
                                      inPlane % header->stride[plane] < (plane == 0 ? 37 : 19));
        }
        ASSERT_TRUE(isVisible || bytes[offset] == 0) << offset;
    }
}

TEST_F(PictureMemoryTest, ThereIsNoNewPictureThatCannotBe)
{
    for (const auto &[width, height] :
         {std::pair{0, 10}, {10, 0}, {-1, 10}, {10, -1}, {1 << 30, 1}, {INT_MAX, INT_MAX}, {30'000, 30'000}})
        EXPECT_TRUE(PictureMemory::create(sizedDescription(width, height, AV_PIX_FMT_GRAY8)).isNull()) << width;
    EXPECT_TRUE(PictureMemory::create(sizedDescription(10, 10, AV_PIX_FMT_VAAPI)).isNull());
    EXPECT_TRUE(PictureMemory::create(sizedDescription(10, 10, AV_PIX_FMT_NONE)).isNull());
    EXPECT_FALSE(PictureMemory::create(sizedDescription(1, 1, AV_PIX_FMT_PAL8)).isNull());
    CountingSlab::failAfter(0);
    EXPECT_TRUE(PictureMemory::create(sizedDescription(10, 10, AV_PIX_FMT_GRAY8)).isNull());
}

} // namespace
