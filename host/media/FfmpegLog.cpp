#include "media/FfmpegLog.h"

#include <array>
#include <atomic>
#include <cstddef>

extern "C" {
#include <libavutil/log.h>
}

namespace {

std::array<std::atomic<FfmpegLog::Taker>, 2> takers = {};

void passOn(void *sender, int level, const char *format, va_list arguments)
{
    for (const auto &each : takers) {
        if (const FfmpegLog::Taker taker = each.load(std::memory_order_acquire)) {
            va_list own;
            va_copy(own, arguments);
            taker(sender, level, format, own);
            va_end(own);
        }
    }
}

} // namespace

void FfmpegLog::take(Of part, Taker taker)
{
    takers[static_cast<std::size_t>(part)].store(taker, std::memory_order_release);
    static const bool areTaken = (av_log_set_callback(passOn), true);
    static_cast<void>(areTaken);
}
