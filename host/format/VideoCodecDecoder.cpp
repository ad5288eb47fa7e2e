#include "format/VideoCodecDecoder.h"

#include <functional>
#include <utility>

#include "format/PictureHeader.h"
#include "format/PictureMemory.h"

namespace {

void store(AVRational value, qint32 (&parts)[2])
{
    parts[0] = value.num;
    parts[1] = value.den;
}

PictureHeader describe(const MediaBlock::Parameters &stream, const AVCodecContext &codec, const AVFrame &frame)
{
    PictureHeader description;
    if (frame.key_frame)
        description.flags |= PictureHeader::KeyPicture;
    if (CodecContext::isDamaged(frame))
        description.flags |= PictureHeader::Damaged;
    description.pixelFormat = frame.format;
    description.width = frame.width;
    description.height = frame.height;
    description.pts = frame.best_effort_timestamp;
    description.duration = frame.pkt_duration;
    store(codec.pkt_timebase, description.timeBase);
    // The codec's own rate may be of fields, or missing.
    store({stream.frameRateNumerator, stream.frameRateDenominator}, description.frameRate);
    const AVRational ofContainer = {stream.sampleAspectNumerator, stream.sampleAspectDenominator};
    store(ofContainer.num != 0 ? ofContainer : frame.sample_aspect_ratio, description.sampleAspectRatio);
    description.colorRange = frame.color_range;
    description.colorPrimaries = frame.color_primaries;
    description.colorTransfer = frame.color_trc;
    description.colorSpace = frame.colorspace;
    return description;
}

} // namespace

VideoCodecDecoder::VideoCodecDecoder(std::shared_ptr<DamageCounts> damage)
    : _codec(AVMEDIA_TYPE_VIDEO, std::move(damage))
{
}

void VideoCodecDecoder::decode(const QByteArray &data, bool keyBlock, qint64 /*timestamp*/, qint64 blockTime,
                               const ModkitPtr<IVideoOutputQueue> *outputs, int outputCount)
{
    const auto push = [&](const AVCodecContext &codec, const AVFrame &frame, qint64 blockTimeMs) {
        if (outputCount == 0)
            return;
        const PictureHeader description = describe(_codec.stream(), codec, frame);
        const VideoFrameHandle picture = PictureMemory::share(codec, frame, description);
        if (picture.isNull()) {
            _codec.count(DamageCounts::UndecodableBlock, "no memory for a picture");
            return;
        }
        const qint64 timeMs = CodecContext::milliseconds(description.pts, codec.pkt_timebase).value_or(blockTimeMs);
        for (int index = 0; index < outputCount; ++index)
            outputs[index]->push(picture, description.pts, timeMs);
    };
    _codec.decode(data, keyBlock, blockTime, std::ref(push));
}
