#include "format/FormatManager.h"

#include <new>
#include <utility>

#include "format/AudioCodecDecoder.h"
#include "format/Fourcc.h"
#include "format/VideoCodecDecoder.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

/// @return an empty pointer when there is no memory, as the interface does not throw.
template <class CodecDecoder, class Interface>
ModkitPtr<Interface> create(const std::shared_ptr<DamageCounts> &damage)
try {
    return ModkitPtr<Interface>(new CodecDecoder(damage));
} catch (const std::bad_alloc &) {
    return ModkitPtr<Interface>();
}

} // namespace

FormatManager::FormatManager(std::shared_ptr<DamageCounts> damage)
    : _damage(std::move(damage))
{
    av_log_set_level(AV_LOG_QUIET);
}

ModkitPtr<IVideoCodecDecoder> FormatManager::createVideoCodecDecoder(quint32 fourcc)
{
    return isKnownFourcc(fourcc, AVMEDIA_TYPE_VIDEO) ? create<VideoCodecDecoder, IVideoCodecDecoder>(_damage)
                                                     : ModkitPtr<IVideoCodecDecoder>();
}

ModkitPtr<IAudioCodecDecoder> FormatManager::createAudioCodecDecoder(quint32 fourcc)
{
    return isKnownFourcc(fourcc, AVMEDIA_TYPE_AUDIO) ? create<AudioCodecDecoder, IAudioCodecDecoder>(_damage)
                                                     : ModkitPtr<IAudioCodecDecoder>();
}
