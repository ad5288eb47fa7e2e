#include "sinks/SampleConverter.h"

#include <vector>

extern "C" {
#include <libavutil/channel_layout.h>
}

bool SampleConverter::isSound(const SamplesHeader &samples)
{
    const auto format = static_cast<AVSampleFormat>(samples.sampleFormat);
    const qint64 bytesPerSample = av_get_bytes_per_sample(format);
    if (bytesPerSample <= 0 || samples.sampleRate <= 0 || samples.channelCount <= 0 || samples.sampleCount < 0)
        return false;
    const bool isPlanar = av_sample_fmt_is_planar(format) != 0;
    return samples.planeCount == (isPlanar ? samples.channelCount : 1) &&
           samples.planeSize >= bytesPerSample * samples.sampleCount * (isPlanar ? 1 : samples.channelCount);
}

bool SampleConverter::convert(const SamplesHeader &samples, AVSampleFormat format, quint8 **planes)
{
    if (!prepare(samples, format))
        return false;
    std::vector<const quint8 *> from(static_cast<std::size_t>(samples.planeCount));
    for (int plane = 0; plane < samples.planeCount; ++plane)
        from[static_cast<std::size_t>(plane)] = samples.plane(plane);
    return swr_convert(_context.get(), planes, samples.sampleCount, from.data(), samples.sampleCount) ==
           samples.sampleCount;
}

bool SampleConverter::prepare(const SamplesHeader &samples, AVSampleFormat format)
{
    if (_context && samples.sampleFormat == _sampleFormat && samples.sampleRate == _sampleRate &&
        samples.channelCount == _channelCount && samples.channelMask == _channelMask && format == _format)
        return true;
    // Equal layouts on both sides: the channels are to stay as they are, whatever they mean.
    AVChannelLayout layout = {};
    if (samples.channelMask == 0 || av_channel_layout_from_mask(&layout, samples.channelMask) < 0 ||
        layout.nb_channels != samples.channelCount)
        av_channel_layout_default(&layout, samples.channelCount);
    SwrContext *context = nullptr;
    const int code =
        swr_alloc_set_opts2(&context, &layout, format, samples.sampleRate, &layout,
                            static_cast<AVSampleFormat>(samples.sampleFormat), samples.sampleRate, 0, nullptr);
    _context.reset(context);
    if (code < 0 || swr_init(context) < 0) {
        _context.reset();
        return false;
    }
    _sampleFormat = samples.sampleFormat;
    _sampleRate = samples.sampleRate;
    _channelCount = samples.channelCount;
    _channelMask = samples.channelMask;
    _format = format;
    return true;
}
