#include "sinks/SampleFileWriter.h"

#include <climits>
#include <utility>

extern "C" {
#include <libavutil/mathematics.h>
}

SampleFileWriter::SampleFileWriter(const OutputPlace &place, const FileFormat &format, qint64 startTimeUs)
    : _startTimeUs(startTimeUs)
    , _files(place, format)
    , _rescaled(AV_NOPTS_VALUE)
{
}

SampleFileWriter::Result SampleFileWriter::write(const SamplesHeader &samples, qint64 /*blockTimeMs*/)
{
    if (!SampleConverter::isSound(samples))
        return "cannot write " + _files.name() + ": a header of samples does not describe samples";
    if (samples.sampleCount == 0)
        return quint64(0);
    const AvPointer<AVPacket> packet(av_packet_alloc());
    if (!packet || !convert(samples, packet.get()))
        return "cannot write " + _files.name() + ": the samples cannot be converted to interleaved 16-bit ones";

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

/// Gives @p packet the samples in the form that they are written in. @return whether that went well.
bool SampleFileWriter::convert(const SamplesHeader &samples, AVPacket *packet)
{
    const qint64 size = qint64(samples.sampleCount) * samples.channelCount * 2;
    if (size > INT_MAX - AV_INPUT_BUFFER_PADDING_SIZE || av_new_packet(packet, static_cast<int>(size)) < 0)
        return false;
    return _converter.convert(samples, AV_SAMPLE_FMT_S16, &packet->data);
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
