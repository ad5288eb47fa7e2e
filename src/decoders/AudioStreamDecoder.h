#ifndef DECODERS_AUDIOSTREAMDECODER_H
#define DECODERS_AUDIOSTREAMDECODER_H

#include "decoders/CodecStreamDecoder.h"
#include "interfaces/IAudioCodecDecoder.h"
#include "interfaces/IAudioOutputQueue.h"

class DecodingManager;

/// Decodes the audio stream, stream id 8, of an input queue. Warns of codec decoders that cannot be created, and is
/// silent otherwise.
class AudioStreamDecoder final : public CodecStreamDecoder<IAudioCodecDecoder, IAudioOutputQueue, AudioSampleHandle> {
public:
    /// Parameters as for BaseSingleStreamDecoder. @param manager only kept. @param formatManager must not be empty.
    /// @param name when empty, the decoder is named "AudioDecoder @" and its address.
    AudioStreamDecoder(DecodingManager *manager, const ModkitPtr<IAVFormatManager> &formatManager,
                       const ModkitPtr<IIndicationManager> &indicationManager, const ModkitPtr<IInputQueue> &inputQueue,
                       quint32 threadIndex, int flags, bool performanceMode, const QString &name);

    void createCodecDecoder(quint32 fourcc) override;
};

#endif
