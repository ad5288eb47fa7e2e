#ifndef HOST_FORMAT_AUDIOCODECDECODER_H
#define HOST_FORMAT_AUDIOCODECDECODER_H

#include <memory>

#include "format/CodecContext.h"
#include "interfaces/IAudioCodecDecoder.h"

/// Decodes one audio stream with libavcodec: unpacks MediaBlocks, be they bursts or not, and pushes records that begin
/// with a SamplesHeader. Time stamps are those of the first sample in units of the stream's time base (the smallest
/// number when unknown), block times the same in milliseconds; those of samples without one are the packet's that they
/// came out on. Reentrant.
class AudioCodecDecoder final : public IAudioCodecDecoder {
public:
    explicit AudioCodecDecoder(std::shared_ptr<DamageCounts> damage);

    void decode(const QByteArray &data, bool keyBlock, qint64 timestamp, qint64 blockTime,
                const ModkitPtr<IAudioOutputQueue> *outputs, int outputCount) override;

private:
    CodecContext _codec;
};

#endif
