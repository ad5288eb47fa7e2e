#include "sinks/MediaForm.h"

#include <tuple>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

auto asTuple(const MediaForm &form)
{
    return std::tie(form.width, form.height, form.pixelFormat, form.sampleAspectNumerator, form.sampleAspectDenominator,
                    form.frameRateNumerator, form.frameRateDenominator, form.colorRange, form.sampleRate,
                    form.channelCount, form.channelMask);
}

} // namespace

bool MediaForm::operator==(const MediaForm &other) const
{
    return asTuple(*this) == asTuple(other);
}

std::string MediaForm::text() const
{
    if (width == 0)
        return std::to_string(channelCount) + " channels of " + std::to_string(sampleRate) + " Hz";
    const char *const pixelFormatName = av_get_pix_fmt_name(static_cast<AVPixelFormat>(pixelFormat));
    return std::string(pixelFormatName ? pixelFormatName : "pixels of no known format") + " " + std::to_string(width) +
           "x" + std::to_string(height);
}
