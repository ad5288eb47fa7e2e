#include "format/FormatManager.h"

ModkitPtr<IVideoCodecDecoder> FormatManager::createVideoCodecDecoder(quint32 /*fourcc*/)
{
    return ModkitPtr<IVideoCodecDecoder>();
}

ModkitPtr<IAudioCodecDecoder> FormatManager::createAudioCodecDecoder(quint32 /*fourcc*/)
{
    return ModkitPtr<IAudioCodecDecoder>();
}
