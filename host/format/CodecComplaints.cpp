#include "format/CodecComplaints.h"

#include <cstdarg>
#include <mutex>
#include <unordered_map>

#include "media/FfmpegLog.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
}

namespace {

struct Listeners {
    std::mutex mutex; // guards the next one
    std::unordered_map<const void *, CodecComplaints *> byOpaque;
};

/// Never destroyed: threads may write messages while the process ends.
Listeners &listeners()
{
    static Listeners *const theListeners = new Listeners;
    return *theListeners;
}

} // namespace

struct CodecComplaintsTaker {
    static void take(void *sender, int level, const char * /*format*/, va_list /*arguments*/)
    {
        if (level > AV_LOG_INFO || !sender || *static_cast<const AVClass **>(sender) != avcodec_get_class())
            return;
        Listeners &all = listeners();
        const std::lock_guard<std::mutex> lock(all.mutex);
        const auto found = all.byOpaque.find(static_cast<const AVCodecContext *>(sender)->opaque);
        if (found != all.byOpaque.end())
            found->second->_areThere.store(true, std::memory_order_release);
    }
};

CodecComplaints::CodecComplaints(const void *opaque)
    : _opaque(opaque)
{
    Listeners &all = listeners();
    {
        const std::lock_guard<std::mutex> lock(all.mutex);
        all.byOpaque[_opaque] = this;
    }
    FfmpegLog::take(FfmpegLog::Of::Codecs, CodecComplaintsTaker::take);
}

CodecComplaints::~CodecComplaints()
{
    Listeners &all = listeners();
    const std::lock_guard<std::mutex> lock(all.mutex);
    all.byOpaque.erase(_opaque);
}
