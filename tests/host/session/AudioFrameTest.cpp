#include <cmath>
#include <cstring>
#include <new>
#include <optional>
#include <vector>

#include "host/sinks/Records.h"
#include "session/FrameMemory.h"
#include <decoding/AudioFrame.h>
#include <gmock/gmock.h>

extern "C" {
#include <libavutil/samplefmt.h>
}

namespace {

using decoding::AudioFrame;

template <class Sample>
std::vector<Sample> samplesIn(const decoding::Plane &plane)
{
    std::vector<Sample> samples(static_cast<std::size_t>(plane.width) / sizeof(Sample));
    std::memcpy(samples.data(), plane.data, static_cast<std::size_t>(plane.width));
    return samples;
}

/// @return 2 channels of floating-point samples, one plane for each.
AudioSampleHandle planarFloats(const std::vector<float> &left, const std::vector<float> &right)
{
    SamplesHeader header;
    header.sampleFormat = AV_SAMPLE_FMT_FLTP;
    header.sampleRate = 48000;
    header.channelCount = 2;
    header.channelMask = 3;
    header.sampleCount = static_cast<qint32>(left.size());
    header.planeCount = 2;
    header.planeSize = static_cast<qint32>(left.size() * sizeof(float)) + 16; // a little longer than it need be
    header.planeOffset = sizeof header;
    header.pts = 96000;
    header.timeBase[0] = 1;
    header.timeBase[1] = 48000;
    auto *const record = new AudioSampleBuffer;
    record->data = new char[sizeof header + 2 * static_cast<std::size_t>(header.planeSize)];
    auto *const own = new (record->data) SamplesHeader(header);
    std::memcpy(const_cast<quint8 *>(own->plane(0)), left.data(), left.size() * sizeof(float));
    std::memcpy(const_cast<quint8 *>(own->plane(1)), right.data(), right.size() * sizeof(float));
    return AudioSampleHandle(record);
}

} // namespace

TEST(AudioFrame, TellsWhatItsHeaderSays)
{
    const AudioSampleHandle record = planarFloats({0.5F, -0.25F, 0.125F}, {1, 2, 3});
    const AudioFrame frame = decoding::makeFrame(record);
    EXPECT_EQ(frame.sampleRate(), 48000);
    EXPECT_EQ(frame.channels(), 2);
    EXPECT_EQ(frame.channelMask(), 3U);
    EXPECT_EQ(frame.samples(), 3);
    EXPECT_EQ(frame.sampleFormat(), "fltp");
    EXPECT_EQ(frame.planeCount(), 2);
    EXPECT_EQ(frame.timestamp(), 96000);
    EXPECT_DOUBLE_EQ(frame.seconds(), 2.0);
    EXPECT_EQ(frame.timeBase().numerator, 1);
    EXPECT_EQ(frame.timeBase().denominator, 48000);
    EXPECT_FALSE(frame.isDamaged());
    Records::headerOf(record).flags = SamplesHeader::Damaged;
    EXPECT_TRUE(frame.isDamaged());
    Records::headerOf(record).pts = std::numeric_limits<qint64>::min();
    EXPECT_EQ(frame.timestamp(), AudioFrame::noTimestamp);
    EXPECT_TRUE(std::isnan(frame.seconds()));
}

TEST(AudioFrame, ShowsAPlaneForEachChannel)
{
    const AudioFrame frame = decoding::makeFrame(planarFloats({0.5F, -0.25F}, {1, 2}));
    EXPECT_EQ(samplesIn<float>(frame.plane(0)), (std::vector<float>{0.5F, -0.25F}));
    EXPECT_EQ(samplesIn<float>(frame.plane(1)), (std::vector<float>{1, 2}));
    EXPECT_EQ(frame.plane(1).height, 1);
    for (const int index : {-1, 2, 1000})
        EXPECT_EQ(frame.plane(index).data, nullptr) << index;
}

TEST(AudioFrame, ShowsInterleavedChannelsInOnePlane)
{
    const std::vector<qint16> values = {1, -2, 3, -4, 5, -6};
    const AudioFrame frame = decoding::makeFrame(Records::samples(values, 8000, 2, 5));
    EXPECT_EQ(frame.planeCount(), 1);
    EXPECT_EQ(frame.samples(), 3);
    EXPECT_EQ(samplesIn<qint16>(frame.plane(0)), values);
    EXPECT_EQ(frame.channelMask(), 0U);

    const AudioFrame mono = decoding::makeFrame(Records::samples(values, 8000, 1, 5));
    EXPECT_EQ(samplesIn<qint16>(mono.plane(0)), values);
}

TEST(AudioFrame, CopiesShareTheMemoryUntilTheLastIsGone)
{
    const AudioSampleHandle record = Records::samples({1, 2}, 8000, 1, 0);
    std::optional<AudioFrame> frame = decoding::makeFrame(record);
    std::optional<AudioFrame> copy = frame;
    EXPECT_EQ(copy->plane(0).data, frame->plane(0).data);
    *copy = std::move(*frame);
    frame.reset();
    EXPECT_EQ(record->refCount, 2);
    copy.reset();
    EXPECT_EQ(record->refCount, 1);
}
