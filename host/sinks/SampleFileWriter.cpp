#include "sinks/SampleFileWriter.h"

#include <climits>
#include <utility>
#include <vector>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/mathematics.h>
}

namespace {

/// Whether the header describes samples that are there.
bool isSound(const SamplesHeader &samples)
{
    const auto format = static_cast<AVSampleFormat>(samples.sampleFormat);
    const qint64 bytesPerSample = av_get_bytes_per_sample(format);
    if (bytesPerSample <= 0 || samples.sampleRate <= 0 || samples.channelCount <= 0 || samples.sampleCount < 0)
        return false;
    const bool isPlanar = av_sample_fmt_is_planar(format) != 0;
    return samples.planeCount == (isPlanar ? samples.channelCount : 1) &&
           samples.planeSize >= bytesPerSample * samples.sampleCount * (isPlanar ? 1 : samples.channelCount);
}

} // namespace

SampleFileWriter::SampleFileWriter(const OutputPlace &place, const FileFormat &format, qint64 startTimeUs)
    : _base(place.base)
    , _format(format)
    , _startTimeUs(startTimeUs)
    , _files(place, format)
    , _rescaled(AV_NOPTS_VALUE)
{
}

SampleFileWriter::Result SampleFileWriter::write(const SamplesHeader &samples, qint64 /*blockTimeMs*/)
{
    const std::string path = _base + _format.suffix;
    if (!isSound(samples))
        return "cannot write " + path + ": a header of samples does not describe samples";
    if (samples.sampleCount == 0)
        return quint64(0);
    const AvPointer<AVPacket> packet(av_packet_alloc());
    if (!packet || !prepareConverter(samples) || !convert(samples, packet.get()))
        return "cannot write " + path + ": the samples cannot be converted to interleaved 16-bit ones";

    MediaForm form;
    form.sampleRate = samples.sampleRate;
    form.channelCount = samples.channelCount;
    form.channelMask = samples.channelMask;
    packet->time_base = {1, samples.sampleRate};
    packet->pts = timestampOf(samples);
    const auto size = static_cast<quint64>(packet->size);
    if (auto error = _files.write(form, packet.get(), samples.sampleCount))
        return *error;
    return size;
}

void SampleFileWriter::noteBreak()
{
    _rescaled = AV_NOPTS_VALUE;
    _files.noteBreak();
}

bool SampleFileWriter::prepareConverter(const SamplesHeader &samples)
{
    if (_converter && samples.sampleFormat == _sampleFormat && samples.sampleRate == _sampleRate &&
        samples.channelCount == _channelCount && samples.channelMask == _channelMask)
        return true;
    // Equal layouts on both sides: the channels are to stay as they are, whatever they mean.
    AVChannelLayout layout = {};
    if (samples.channelMask == 0 || av_channel_layout_from_mask(&layout, samples.channelMask) < 0 ||
        layout.nb_channels != samples.channelCount)
        av_channel_layout_default(&layout, samples.channelCount);
    SwrContext *converter = nullptr;
    const int code =
        swr_alloc_set_opts2(&converter, &layout, AV_SAMPLE_FMT_S16, samples.sampleRate, &layout,
                            static_cast<AVSampleFormat>(samples.sampleFormat), samples.sampleRate, 0, nullptr);
    _converter.reset(converter);
    if (code < 0 || swr_init(converter) < 0) {
        _converter.reset();
        return false;
    }
    _sampleFormat = samples.sampleFormat;
    _sampleRate = samples.sampleRate;
    _channelCount = samples.channelCount;
    _channelMask = samples.channelMask;
    return true;
}

/// Gives @p packet the samples in the form that they are written in. @return whether that went well.
bool SampleFileWriter::convert(const SamplesHeader &samples, AVPacket *packet)
{
    const qint64 size = qint64(samples.sampleCount) * samples.channelCount * 2;
    if (size > INT_MAX - AV_INPUT_BUFFER_PADDING_SIZE || av_new_packet(packet, static_cast<int>(size)) < 0)
        return false;
    std::vector<const quint8 *> planes(static_cast<std::size_t>(samples.planeCount));
    for (int plane = 0; plane < samples.planeCount; ++plane)
        planes[static_cast<std::size_t>(plane)] = samples.plane(plane);
    return swr_convert(_converter.get(), &packet->data, samples.sampleCount, planes.data(), samples.sampleCount) ==
           samples.sampleCount;
}

/// @return the time stamp in samples. A coarser time base than that must not make the samples overlap or leave gaps, so
/// it is what the samples before make it, as long as the time base does not contradict.
qint64 SampleFileWriter::timestampOf(const SamplesHeader &samples)
{
    const AVRational timeBase = {samples.timeBase[0], samples.timeBase[1]};
    if (samples.pts == AV_NOPTS_VALUE || timeBase.num <= 0 || timeBase.den <= 0)
        return AV_NOPTS_VALUE;
    const AVRational samplePeriod = {1, samples.sampleRate};
    return av_rescale_delta(timeBase, samples.pts - av_rescale_q(_startTimeUs, AV_TIME_BASE_Q, timeBase), samplePeriod,
                            samples.sampleCount, &_rescaled, samplePeriod);
}
