#include <iterator>
#include <utility>

#include "format/PictureMemory.h"
#include "session/FrameMemory.h"
#include "session/FrameTime.h"
#include "sinks/PictureConversion.h"
#include "sinks/PictureFrame.h"
#include <decoding/Error.h>
#include <decoding/VideoFrame.h>

extern "C" {
#include <libavutil/common.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace {

AVPixelFormat formatOf(const PictureHeader &picture)
{
    return static_cast<AVPixelFormat>(picture.pixelFormat);
}

std::string sizeText(int width, int height)
{
    return std::to_string(width) + "x" + std::to_string(height);
}

} // namespace

namespace decoding {

VideoFrame makeFrame(const VideoFrameHandle &record)
{
    return VideoFrame(std::make_shared<const VideoFrame::Memory>(record));
}

VideoFrame::VideoFrame(std::shared_ptr<const Memory> memory)
    : _memory(std::move(memory))
{
}

VideoFrame::VideoFrame(const VideoFrame &) = default;
VideoFrame::VideoFrame(VideoFrame &&) noexcept = default;
VideoFrame &VideoFrame::operator=(const VideoFrame &) = default;
VideoFrame &VideoFrame::operator=(VideoFrame &&) noexcept = default;
VideoFrame::~VideoFrame() = default;

int VideoFrame::width() const
{
    return _memory->header().width;
}

int VideoFrame::height() const
{
    return _memory->header().height;
}

std::string VideoFrame::pixelFormat() const
{
    return av_get_pix_fmt_name(formatOf(_memory->header()));
}

int VideoFrame::planeCount() const
{
    const PictureHeader &picture = _memory->header();
    int count = 0;
    while (count < static_cast<int>(std::size(picture.planeOffset)) && picture.plane(count))
        ++count;
    return count;
}

Plane VideoFrame::plane(int index) const
{
    if (index < 0 || index >= planeCount())
        return {};
    const PictureHeader &picture = _memory->header();
    const AVPixelFormat format = formatOf(picture);
    const AVPixFmtDescriptor &description = *av_pix_fmt_desc_get(format);
    if (index == 1 && description.flags & AV_PIX_FMT_FLAG_PAL)
        return {picture.plane(index), AVPALETTE_SIZE, AVPALETTE_SIZE, 1};
    const bool isChroma = index == 1 || index == 2;
    return {picture.plane(index), picture.stride[index], av_image_get_linesize(format, picture.width, index),
            isChroma ? AV_CEIL_RSHIFT(picture.height, description.log2_chroma_h) : picture.height};
}

double VideoFrame::seconds() const
{
    return FrameTime{_memory->header()}.seconds();
}

std::int64_t VideoFrame::timestamp() const
{
    return FrameTime{_memory->header()}.timestamp();
}

Rational VideoFrame::timeBase() const
{
    return knownOr0(_memory->header().timeBase);
}

Rational VideoFrame::frameRate() const
{
    return knownOr0(_memory->header().frameRate);
}

Rational VideoFrame::sampleAspectRatio() const
{
    return knownOr0(_memory->header().sampleAspectRatio);
}

bool VideoFrame::isKeyFrame() const
{
    return (_memory->header().flags & PictureHeader::KeyPicture) != 0;
}

bool VideoFrame::isDamaged() const
{
    return (_memory->header().flags & PictureHeader::Damaged) != 0;
}

VideoFrame VideoFrame::convertTo(const std::string &pixelFormat, int width, int height) const
{
    const PictureHeader &picture = _memory->header();
    const std::string size = sizeText(width, height);
    const std::string failure = "cannot convert a picture to \"" + pixelFormat + "\"";
    const AVPixelFormat format = av_get_pix_fmt(pixelFormat.c_str());
    if (format == AV_PIX_FMT_NONE)
        throw Error(failure + ": there is no such pixel format");
    if (format != formatOf(picture) && !PictureConversion::isPossible(format))
        throw Error(failure + ": libswscale has no way to that pixel format");
    if (width <= 0 || height <= 0)
        throw Error(failure + ": " + size + " is no size");

    const VideoFrameHandle record =
        PictureMemory::create(PictureConversion::description(picture, format, width, height));
    if (record.isNull())
        throw Error(failure + ": there is no memory for " + size + " pixels");
    const AvPointer<AVFrame> target = frameOf(*PictureHeader::of(*record));
    if (!target || !PictureConversion::convert(picture, *target))
        throw Error(failure + ", " + size + ": libswscale has no way from " + this->pixelFormat() + ", " +
                    sizeText(picture.width, picture.height));
    return makeFrame(record);
}

} // namespace decoding
