#include "media/FfmpegError.h"

#include <array>

#include "media/DescriptorLimit.h"

extern "C" {
#include <libavutil/error.h>
}

std::string ffmpegErrorText(int error)
{
    if (DescriptorLimit::isReached(AVUNERROR(error)))
        return DescriptorLimit::text(AVUNERROR(error));
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text = {};
    av_strerror(error, text.data(), text.size());
    return text.data();
}
