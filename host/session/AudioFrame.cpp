#include <cstring>
#include <limits>
#include <new>
#include <utility>
#include <vector>

#include "session/FrameMemory.h"
#include "session/FrameTime.h"
#include "sinks/SampleConverter.h"
#include <decoding/AudioFrame.h>
#include <decoding/Error.h>

extern "C" {
#include <libavutil/samplefmt.h>
}

namespace {

AVSampleFormat formatOf(const SamplesHeader &samples)
{
    return static_cast<AVSampleFormat>(samples.sampleFormat);
}

/// @return a new record for @p samples in another format; null when they would be too many.
AudioSampleHandle createRecord(const SamplesHeader &samples, AVSampleFormat format)
{
    const bool isPlanar = av_sample_fmt_is_planar(format) != 0;
    const qint64 planeSize =
        qint64(av_get_bytes_per_sample(format)) * samples.sampleCount * (isPlanar ? 1 : samples.channelCount);
    if (planeSize > std::numeric_limits<qint32>::max())
        return AudioSampleHandle();
    SamplesHeader header = samples;
    header.sampleFormat = format;
    header.planeCount = isPlanar ? samples.channelCount : 1;
    header.planeSize = static_cast<qint32>(planeSize);
    header.planeOffset = sizeof header;
    auto record = std::make_unique<AudioSampleBuffer>();
    record->data = new char[sizeof header + static_cast<std::size_t>(header.planeCount * planeSize)];
    new (record->data) SamplesHeader(header);
    return AudioSampleHandle(record.release());
}

} // namespace

namespace decoding {

AudioFrame makeFrame(const AudioSampleHandle &record)
{
    return AudioFrame(std::make_shared<const AudioFrame::Memory>(record));
}

AudioFrame::AudioFrame(std::shared_ptr<const Memory> memory)
    : _memory(std::move(memory))
{
}

AudioFrame::AudioFrame(const AudioFrame &) = default;
AudioFrame::AudioFrame(AudioFrame &&) noexcept = default;
AudioFrame &AudioFrame::operator=(const AudioFrame &) = default;
AudioFrame &AudioFrame::operator=(AudioFrame &&) noexcept = default;
AudioFrame::~AudioFrame() = default;

int AudioFrame::sampleRate() const
{
    return _memory->header().sampleRate;
}

int AudioFrame::channels() const
{
    return _memory->header().channelCount;
}

std::uint64_t AudioFrame::channelMask() const
{
    return _memory->header().channelMask;
}

int AudioFrame::samples() const
{
    return _memory->header().sampleCount;
}

std::string AudioFrame::sampleFormat() const
{
    return av_get_sample_fmt_name(formatOf(_memory->header()));
}

int AudioFrame::planeCount() const
{
    return _memory->header().planeCount;
}

Plane AudioFrame::plane(int index) const
{
    const SamplesHeader &samples = _memory->header();
    if (index < 0 || index >= samples.planeCount)
        return {};
    const int channelsOfPlane = samples.planeCount == 1 ? samples.channelCount : 1;
    return {samples.plane(index), samples.planeSize,
            av_get_bytes_per_sample(formatOf(samples)) * samples.sampleCount * channelsOfPlane, 1};
}

double AudioFrame::seconds() const
{
    return FrameTime{_memory->header()}.seconds();
}

std::int64_t AudioFrame::timestamp() const
{
    return FrameTime{_memory->header()}.timestamp();
}

Rational AudioFrame::timeBase() const
{
    return knownOr0(_memory->header().timeBase);
}

bool AudioFrame::isDamaged() const
{
    return (_memory->header().flags & SamplesHeader::Damaged) != 0;
}

AudioFrame AudioFrame::convertTo(const std::string &sampleFormat) const
{
    const SamplesHeader &samples = _memory->header();
    const std::string failure = "cannot convert samples to \"" + sampleFormat + "\"";
    const AVSampleFormat format = av_get_sample_fmt(sampleFormat.c_str());
    if (format == AV_SAMPLE_FMT_NONE)
        throw Error(failure + ": there is no such sample format");
    const AudioSampleHandle record = createRecord(samples, format);
    if (record.isNull())
        throw Error(failure + ": they are too many");

    auto &header = *reinterpret_cast<SamplesHeader *>(record->data);
    std::vector<quint8 *> planes(static_cast<std::size_t>(header.planeCount));
    for (int plane = 0; plane < header.planeCount; ++plane)
        planes[static_cast<std::size_t>(plane)] = const_cast<quint8 *>(header.plane(plane));
    if (format == formatOf(samples)) {
        for (int plane = 0; plane < header.planeCount; ++plane)
            std::memcpy(planes[static_cast<std::size_t>(plane)], samples.plane(plane),
                        static_cast<std::size_t>(header.planeSize));
        return makeFrame(record);
    }
    // Programs convert every frame, and most of a stream's are alike.
    thread_local SampleConverter converter;
    if (!converter.convert(samples, format, planes.data()))
        throw Error(failure + ": libswresample has no way from " + this->sampleFormat() + " with " +
                    std::to_string(samples.channelCount) + " channels");
    return makeFrame(record);
}

} // namespace decoding
