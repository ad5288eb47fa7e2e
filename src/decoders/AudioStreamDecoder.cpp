#include "decoders/AudioStreamDecoder.h"

#include <QDebug>

#include "QtVersions.h"

namespace {

constexpr quint32 audioStreamId = 8;

} // namespace

AudioStreamDecoder::AudioStreamDecoder(DecodingManager *manager, const ModkitPtr<IAVFormatManager> &formatManager,
                                       const ModkitPtr<IIndicationManager> &indicationManager,
                                       const ModkitPtr<IInputQueue> &inputQueue, quint32 threadIndex, int flags,
                                       bool performanceMode, const QString &name)
    : CodecStreamDecoder(manager, formatManager, indicationManager, inputQueue, threadIndex, audioStreamId, flags,
                         performanceMode, name.isEmpty() ? addressName("AudioDecoder @%p", this) : name)
{
}

void AudioStreamDecoder::createCodecDecoder(quint32 fourcc)
{
    setCodecDecoder(formatFactory().createAudioCodecDecoder(fourcc));
    if (!hasCodecDecoder())
        qWarning("Failed to create decoder for fourcc %c%c%c%c", fourcc & 0xff, fourcc >> 8 & 0xff, fourcc >> 16 & 0xff,
                 fourcc >> 24);
}
