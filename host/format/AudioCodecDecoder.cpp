#include "format/AudioCodecDecoder.h"

#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <utility>

#include "format/SamplesHeader.h"
#include "interfaces/AudioSampleHandle.h"

namespace {

SamplesHeader describe(const AVCodecContext &codec, const AVFrame &frame)
{
    const auto format = static_cast<AVSampleFormat>(frame.format);
    const bool isPlanar = av_sample_fmt_is_planar(format) != 0;
    const int channelCount = frame.ch_layout.nb_channels;

    SamplesHeader description;
    if (CodecContext::isDamaged(frame))
        description.flags |= SamplesHeader::Damaged;
    description.sampleFormat = format;
    description.sampleRate = frame.sample_rate;
    description.channelCount = channelCount;
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_NATIVE)
        description.channelMask = frame.ch_layout.u.mask;
    description.sampleCount = frame.nb_samples;
    description.planeCount = isPlanar ? channelCount : 1;
    description.planeSize = frame.nb_samples * av_get_bytes_per_sample(format) * (isPlanar ? 1 : channelCount);
    description.planeOffset = sizeof(SamplesHeader);
    description.pts = frame.pts;
    description.timeBase[0] = codec.pkt_timebase.num;
    description.timeBase[1] = codec.pkt_timebase.den;
    return description;
}

AudioSampleHandle copySamples(const SamplesHeader &description, const AVFrame &frame)
{
    auto record = std::make_unique<AudioSampleBuffer>();
    const auto planeSize = static_cast<std::size_t>(description.planeSize);
    record->data = new char[sizeof description + planeSize * static_cast<std::size_t>(description.planeCount)];
    new (record->data) SamplesHeader(description);
    char *to = record->data + sizeof description;
    for (int plane = 0; plane < description.planeCount; ++plane, to += planeSize)
        std::memcpy(to, frame.extended_data[plane], planeSize);
    return AudioSampleHandle(record.release());
}

} // namespace

AudioCodecDecoder::AudioCodecDecoder(std::shared_ptr<DamageCounts> damage)
    : _codec(AVMEDIA_TYPE_AUDIO, std::move(damage))
{
}

void AudioCodecDecoder::decode(const QByteArray &data, bool keyBlock, qint64 /*timestamp*/, qint64 blockTime,
                               const ModkitPtr<IAudioOutputQueue> *outputs, int outputCount)
{
    const auto push = [&](const AVCodecContext &codec, const AVFrame &frame, qint64 blockTimeMs) {
        if (outputCount == 0)
            return;
        const SamplesHeader description = describe(codec, frame);
        const AudioSampleHandle samples = copySamples(description, frame);
        const qint64 timeMs = CodecContext::milliseconds(description.pts, codec.pkt_timebase).value_or(blockTimeMs);
        for (int index = 0; index < outputCount; ++index)
            outputs[index]->push(samples, description.pts, timeMs);
    };
    _codec.decode(data, keyBlock, blockTime, std::ref(push));
}
