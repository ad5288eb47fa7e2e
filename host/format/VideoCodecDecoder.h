#ifndef HOST_FORMAT_VIDEOCODECDECODER_H
#define HOST_FORMAT_VIDEOCODECDECODER_H

#include <memory>

#include "format/CodecContext.h"
#include "interfaces/IVideoCodecDecoder.h"

/// Decodes one video stream with libavcodec: unpacks MediaBlocks, be they bursts or not, and pushes records that begin
/// with a PictureHeader. Time stamps are those of the pictures in units of the stream's time base (the smallest number
/// when unknown), block times the same in milliseconds; those of a picture without one are the packet's that it came
/// out on. Reentrant.
class VideoCodecDecoder final : public IVideoCodecDecoder {
public:
    explicit VideoCodecDecoder(std::shared_ptr<DamageCounts> damage);

    void decode(const QByteArray &data, bool keyBlock, qint64 timestamp, qint64 blockTime,
                const ModkitPtr<IVideoOutputQueue> *outputs, int outputCount) override;

private:
    CodecContext _codec;
};

#endif
