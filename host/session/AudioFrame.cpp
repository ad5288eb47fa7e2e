#include <utility>

#include "session/FrameMemory.h"
#include "session/FrameTime.h"
#include <decoding/AudioFrame.h>

extern "C" {
#include <libavutil/samplefmt.h>
}

namespace {

AVSampleFormat formatOf(const SamplesHeader &samples)
{
    return static_cast<AVSampleFormat>(samples.sampleFormat);
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

} // namespace decoding
