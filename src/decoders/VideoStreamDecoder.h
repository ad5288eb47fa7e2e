#ifndef DECODERS_VIDEOSTREAMDECODER_H
#define DECODERS_VIDEOSTREAMDECODER_H

#include "decoders/CodecStreamDecoder.h"
#include "interfaces/IVideoCodecDecoder.h"
#include "interfaces/IVideoOutputQueue.h"

class DecodingManager;

/// Decodes the video stream, stream id 0, of an input queue. Reports codec decoders created, not created and discarded
/// on the debug channel.
class VideoStreamDecoder final : public CodecStreamDecoder<IVideoCodecDecoder, IVideoOutputQueue, VideoFrameHandle> {
public:
    /// Parameters as for BaseSingleStreamDecoder. @param manager only kept. @param formatManager must not be empty.
    /// @param name when empty, the decoder is named "VideoDecoder @" and its address.
    VideoStreamDecoder(DecodingManager *manager, const ModkitPtr<IAVFormatManager> &formatManager,
                       const ModkitPtr<IIndicationManager> &indicationManager, const ModkitPtr<IInputQueue> &inputQueue,
                       quint32 threadIndex, int flags, bool performanceMode, const QString &name);

    void discardCodecDecoder() override;
    void createCodecDecoder(quint32 fourcc) override;
};

#endif
