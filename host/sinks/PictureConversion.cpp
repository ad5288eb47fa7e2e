#include "sinks/PictureConversion.h"

#include <algorithm>
#include <array>
#include <climits>
#include <vector>

#include "sinks/PictureFrame.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace {

/// Of one input and one output at a time, as most threads need it, or of a few that take turns.
constexpr std::size_t keptScalers = 4;

/// A scaler and what it was made for.
struct Scaler {
    using Purpose = std::array<int, 8>;

    Purpose purpose;
    AvPointer<SwsContext> context;
};

bool hasFlag(AVPixelFormat format, quint64 flag)
{
    const AVPixFmtDescriptor *const description = av_pix_fmt_desc_get(format);
    return description && (description->flags & flag) != 0;
}

bool isRgb(AVPixelFormat format)
{
    return hasFlag(format, AV_PIX_FMT_FLAG_RGB);
}

/// Whether the format itself, one of libavutil's old ones, says that the full range is used.
bool impliesFullRange(AVPixelFormat format)
{
    constexpr std::array<AVPixelFormat, 5> formats = {AV_PIX_FMT_YUVJ411P, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUVJ422P,
                                                      AV_PIX_FMT_YUVJ440P, AV_PIX_FMT_YUVJ444P};
    return std::find(formats.begin(), formats.end(), format) != formats.end();
}

AvPointer<SwsContext> makeScaler(const PictureHeader &picture, const AVFrame &target)
{
    const auto sourceFormat = static_cast<AVPixelFormat>(picture.pixelFormat);
    const auto targetFormat = static_cast<AVPixelFormat>(target.format);
    AvPointer<SwsContext> scaler(
        sws_getContext(picture.width, picture.height, sourceFormat, target.width, target.height, targetFormat,
                       SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr, nullptr));
    if (!scaler)
        return nullptr;
    const bool namesNoMatrix = isRgb(sourceFormat) && picture.colorSpace == AVCOL_SPC_RGB;
    // The same on both sides, also from RGB to RGB, where libswscale may go by way of YUV. RGB itself has none.
    const int *const matrix = sws_getCoefficients(namesNoMatrix ? SWS_CS_DEFAULT : picture.colorSpace);
    const int fullRange = picture.colorRange == AVCOL_RANGE_JPEG ? 1 : 0;
    // Neutral brightness, contrast and saturation. Not all pixel formats have a matrix and a range: failing is no harm.
    sws_setColorspaceDetails(scaler.get(), matrix, fullRange, matrix, impliesFullRange(targetFormat) ? 1 : fullRange, 0,
                             1 << 16, 1 << 16);
    return scaler;
}

/// @return a scaler of this thread; null when libswscale has none for that.
SwsContext *scalerFor(const PictureHeader &picture, const AVFrame &target)
{
    thread_local std::vector<Scaler> scalers; // the one used last comes first
    const Scaler::Purpose purpose = {picture.width,      picture.height, picture.pixelFormat, picture.colorRange,
                                     picture.colorSpace, target.width,   target.height,       target.format};
    auto found = std::find_if(scalers.begin(), scalers.end(),
                              [&purpose](const Scaler &scaler) { return scaler.purpose == purpose; });
    if (found == scalers.end()) {
        AvPointer<SwsContext> made = makeScaler(picture, target);
        if (!made)
            return nullptr;
        if (scalers.size() == keptScalers)
            scalers.pop_back();
        scalers.push_back({purpose, std::move(made)});
        found = scalers.end() - 1;
    }
    std::rotate(scalers.begin(), found, found + 1);
    return scalers.front().context.get();
}

} // namespace

bool PictureConversion::isPossible(AVPixelFormat pixelFormat)
{
    return sws_isSupportedOutput(pixelFormat) != 0;
}

PictureHeader PictureConversion::description(const PictureHeader &picture, AVPixelFormat pixelFormat, int width,
                                             int height)
{
    PictureHeader converted = picture;
    converted.pixelFormat = pixelFormat;
    converted.width = width;
    converted.height = height;
    // The picture keeps its shape, so its pixels change theirs.
    av_reduce(&converted.sampleAspectRatio[0], &converted.sampleAspectRatio[1],
              qint64(picture.sampleAspectRatio[0]) * picture.width * height,
              qint64(picture.sampleAspectRatio[1]) * picture.height * width, INT_MAX);
    if (isRgb(pixelFormat)) {
        converted.colorSpace = AVCOL_SPC_RGB;
        converted.colorRange = AVCOL_RANGE_JPEG;
    } else {
        if (picture.colorSpace == AVCOL_SPC_RGB && isRgb(static_cast<AVPixelFormat>(picture.pixelFormat)))
            converted.colorSpace = AVCOL_SPC_SMPTE170M;
        if (impliesFullRange(pixelFormat))
            converted.colorRange = AVCOL_RANGE_JPEG;
    }
    return converted;
}

bool PictureConversion::convert(const PictureHeader &picture, AVFrame &target)
{
    const AvPointer<AVFrame> source = frameOf(picture);
    if (!source)
        return false;
    if (source->format == target.format && source->width == target.width && source->height == target.height) {
        std::array<const quint8 *, 4> planes = {source->data[0], source->data[1], source->data[2], source->data[3]};
        av_image_copy(target.data, target.linesize, planes.data(), source->linesize,
                      static_cast<AVPixelFormat>(target.format), target.width, target.height);
        return true;
    }
    SwsContext *const scaler = scalerFor(picture, target);
    return scaler && sws_scale(scaler, source->data, source->linesize, 0, picture.height, target.data,
                               target.linesize) == target.height;
}
