#include "decoders/VideoStreamDecoder.h"

#include <QDebug>

#include "QtVersions.h"

namespace {

constexpr quint32 videoStreamId = 0;

} // namespace

VideoStreamDecoder::VideoStreamDecoder(DecodingManager *manager, const ModkitPtr<IAVFormatManager> &formatManager,
                                       const ModkitPtr<IIndicationManager> &indicationManager,
                                       const ModkitPtr<IInputQueue> &inputQueue, quint32 threadIndex, int flags,
                                       bool performanceMode, const QString &name)
    : CodecStreamDecoder(manager, formatManager, indicationManager, inputQueue, threadIndex, videoStreamId, flags,
                         performanceMode, name.isEmpty() ? addressName("VideoDecoder @%p", this) : name)
{
}

void VideoStreamDecoder::discardCodecDecoder()
{
    CodecStreamDecoder::discardCodecDecoder();
    qDebug() << "Decoder discarded";
}

void VideoStreamDecoder::createCodecDecoder(quint32 fourcc)
{
    setCodecDecoder(formatFactory().createVideoCodecDecoder(fourcc));
    qDebug(hasCodecDecoder() ? "Created video decoder %c%c%c%c" : "Failed to create video decoder %c%c%c%c",
           fourcc & 0xff, fourcc >> 8 & 0xff, fourcc >> 16 & 0xff, fourcc >> 24);
}
