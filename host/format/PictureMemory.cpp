#include "format/PictureMemory.h"

#include <climits>
#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <optional>

#include "interfaces/BigBlocks.h"
#include "slab/BlockOwner.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace {

/// In place of the magic number while only libavcodec has the picture. Set and looked at in a way that orders what one
/// of its threads has written before what ours reads, so that this does not rest on its own locks alone.
constexpr quint32 unshared = 0;

constexpr std::size_t alignment = 64;
// libavcodec reads, and writes what nobody will see, a little past a plane's end.
constexpr std::size_t planePadding = 64;

// Its address marks the buffers that lie in blocks of this file.
char ownBuffer = 0;

constexpr std::size_t aligned(std::size_t size)
{
    return (size + alignment - 1) / alignment * alignment;
}

struct Planes {
    std::uint8_t *data[4] = {};
    int stride[4] = {};
};

struct Block {
    PictureHeader *header = nullptr;
    Planes planes;
};

bool makeStrides(AVPixelFormat format, int width, int *strides)
{
    // All rows grow together, since codecs expect the strides of planes to keep their proportion.
    bool isAligned = false;
    while (!isAligned) {
        if (av_image_fill_linesizes(strides, format, width) < 0)
            return false;
        isAligned = true;
        for (int plane = 0; plane < 4; ++plane)
            isAligned = isAligned && strides[plane] % static_cast<int>(alignment) == 0;
        width += width & -width;
    }
    return true;
}

slab::BlockOwner &ownerOf(const AVCodecContext &codec)
{
    return *static_cast<slab::BlockOwner *>(codec.opaque);
}

/// @return a block with one reference and room for such a picture, its header marked as not shared yet. Without an
///         @p owner, whose earlier pictures it may hold, its contents are undefined.
std::optional<Block> allocate(slab::BlockOwner *owner, AVPixelFormat format, int width, int height)
{
    Block block;
    if (!makeStrides(format, width, block.planes.stride))
        return std::nullopt;
    const std::ptrdiff_t strides[4] = {block.planes.stride[0], block.planes.stride[1], block.planes.stride[2],
                                       block.planes.stride[3]};
    std::size_t planeSizes[4] = {};
    if (av_image_fill_plane_sizes(planeSizes, format, height, strides) < 0)
        return std::nullopt;

    std::size_t offsets[4] = {};
    std::size_t size = aligned(sizeof(PictureHeader));
    for (int plane = 0; plane < 4; ++plane) {
        offsets[plane] = size;
        if (planeSizes[plane] != 0)
            size += aligned(planeSizes[plane] + planePadding);
    }
    // Offsets in the header are signed.
    if (size > static_cast<std::size_t>(std::numeric_limits<qint32>::max()))
        return std::nullopt;
    const auto bytes = static_cast<quint32>(size);
    void *const memory = owner ? owner->allocate(bytes) : slab::bigBlockAllocate(bytes);
    if (!memory)
        return std::nullopt;
    block.header = new (memory) PictureHeader;
    block.header->magic = unshared;
    block.header->size = bytes;
    for (int plane = 0; plane < 4; ++plane) {
        if (planeSizes[plane] != 0)
            block.planes.data[plane] = static_cast<std::uint8_t *>(memory) + offsets[plane];
    }
    return block;
}

/// Shows what was written of the picture to whoever looks at the mark next.
void release(PictureHeader *header)
{
    __atomic_store_n(&header->magic, header->magic, __ATOMIC_RELEASE);
}

void giveBack(void * /*mark*/, std::uint8_t *data)
{
    const auto *const header = reinterpret_cast<const PictureHeader *>(data);
    (void)__atomic_load_n(&header->magic, __ATOMIC_ACQUIRE);
    slab::bigBlockDeallocate(data, header->size);
}

/// @return the header of the block that @p frame's picture lies in; null when it lies elsewhere or was shared before.
PictureHeader *unsharedHeaderOf(const AVFrame &frame)
{
    if (!frame.buf[0] || av_buffer_get_opaque(frame.buf[0]) != &ownBuffer)
        return nullptr;
    auto *const header = reinterpret_cast<PictureHeader *>(frame.buf[0]->data);
    if (__atomic_load_n(&header->magic, __ATOMIC_ACQUIRE) != unshared)
        return nullptr;
    for (const std::uint8_t *const data : frame.data) {
        if (data && (data < frame.buf[0]->data || data >= frame.buf[0]->data + header->size))
            return nullptr;
    }
    return header;
}

/// Describes the block at @p header for consumers, and marks it as shared.
void describe(PictureHeader *header, const PictureHeader &description, const std::uint8_t *const *planes,
              const int *strides)
{
    const quint32 size = header->size;
    *header = description;
    header->size = size;
    for (int plane = 0; plane < 4; ++plane) {
        const auto *const begin = reinterpret_cast<const std::uint8_t *>(header);
        header->planeOffset[plane] = planes[plane] ? static_cast<qint32>(planes[plane] - begin) : 0;
        header->stride[plane] = planes[plane] ? strides[plane] : 0;
    }
    release(header);
}

/// Where a picture's visible bytes lie.
struct VisibleRows {
    quint8 *first;
    std::ptrdiff_t stride;
    std::size_t bytes; // of each
    int count;
};

VisibleRows rowsOf(PictureHeader *header, int plane)
{
    const auto format = static_cast<AVPixelFormat>(header->pixelFormat);
    const AVPixFmtDescriptor &description = *av_pix_fmt_desc_get(format);
    quint8 *const first = reinterpret_cast<quint8 *>(header) + header->planeOffset[plane];
    const int shift = plane == 1 || plane == 2 ? description.log2_chroma_h : 0;
    return {first, header->stride[plane], static_cast<std::size_t>(av_image_get_linesize(format, header->width, plane)),
            AV_CEIL_RSHIFT(header->height, shift)};
}

/// Clears what the block at @p header has around the visible rows, where nothing of earlier pictures is to be read, and
/// a palette, whose rows have no size.
void clearPadding(PictureHeader *header)
{
    auto *const begin = reinterpret_cast<quint8 *>(header);
    quint8 *gap = begin + sizeof(PictureHeader);
    for (int plane = 0; plane < 4 && header->plane(plane); ++plane) {
        const VisibleRows rows = rowsOf(header, plane);
        for (int row = 0; row < rows.count; ++row) {
            quint8 *const visible = rows.first + row * rows.stride;
            std::memset(gap, 0, static_cast<std::size_t>(visible - gap));
            gap = visible + rows.bytes;
        }
    }
    std::memset(gap, 0, static_cast<std::size_t>(begin + header->size - gap));
}

/// Beyond it, libavutil has no such picture.
bool isTooLarge(const PictureHeader &picture)
{
    constexpr qint64 border = 128;
    return (picture.width + border) * (picture.height + border) >= INT_MAX / 8;
}

/// For AVCodecContext::get_buffer2.
int getBuffer(AVCodecContext *codec, AVFrame *frame, int flags)
{
    if ((codec->codec->capabilities & AV_CODEC_CAP_DR1) == 0)
        return avcodec_default_get_buffer2(codec, frame, flags);
    int width = frame->width;
    int height = frame->height;
    int strideAlignment[AV_NUM_DATA_POINTERS] = {};
    avcodec_align_dimensions2(codec, &width, &height, strideAlignment);
    const std::optional<Block> block =
        allocate(&ownerOf(*codec), static_cast<AVPixelFormat>(frame->format), width, height);
    if (!block)
        return AVERROR(ENOMEM);
    auto *const bytes = reinterpret_cast<std::uint8_t *>(block->header);
    frame->buf[0] = av_buffer_create(bytes, block->header->size, giveBack, &ownBuffer, AV_BUFFER_FLAG_READONLY);
    if (!frame->buf[0]) {
        giveBack(nullptr, bytes);
        return AVERROR(ENOMEM);
    }
    for (int plane = 0; plane < 4; ++plane) {
        frame->data[plane] = block->planes.data[plane];
        frame->linesize[plane] = block->planes.stride[plane];
    }
    frame->extended_data = frame->data;
    release(block->header);
    return 0;
}

} // namespace

void PictureMemory::use(slab::BlockOwner &owner, AVCodecContext *codec)
{
    codec->opaque = &owner;
    codec->get_buffer2 = getBuffer;
}

VideoFrameHandle PictureMemory::share(const AVCodecContext &codec, const AVFrame &frame,
                                      const PictureHeader &description)
{
    auto record = std::make_unique<VideoFrameBuffer>();
    PictureHeader *header = unsharedHeaderOf(frame);
    if (header) {
        describe(header, description, frame.data, frame.linesize);
        slab::bigBlockRetain(header);
    } else {
        const auto format = static_cast<AVPixelFormat>(frame.format);
        std::optional<Block> copy = allocate(&ownerOf(codec), format, frame.width, frame.height);
        if (!copy)
            return VideoFrameHandle();
        Planes &planes = copy->planes;
        const std::uint8_t *source[4] = {frame.data[0], frame.data[1], frame.data[2], frame.data[3]};
        av_image_copy(planes.data, planes.stride, source, frame.linesize, format, frame.width, frame.height);
        header = copy->header;
        describe(header, description, planes.data, planes.stride);
    }
    record->data = header;
    record->size = header->size;
    return VideoFrameHandle(record.release());
}

VideoFrameHandle PictureMemory::create(const PictureHeader &description)
{
    if (description.width <= 0 || description.height <= 0 || isTooLarge(description))
        return VideoFrameHandle();
    auto record = std::make_unique<VideoFrameBuffer>();
    const std::optional<Block> block =
        allocate(nullptr, static_cast<AVPixelFormat>(description.pixelFormat), description.width, description.height);
    if (!block)
        return VideoFrameHandle();
    describe(block->header, description, block->planes.data, block->planes.stride);
    clearPadding(block->header);
    record->data = block->header;
    record->size = block->header->size;
    return VideoFrameHandle(record.release());
}
