#include <QFile>
#include <QTemporaryDir>

#include <array>
#include <cstring>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "PlaneBytes.h"
#include "host/sinks/Records.h"
#include "session/FrameMemory.h"
#include "sinks/SampleFileWriter.h"
#include <decoding/AudioFrame.h>
#include <decoding/Error.h>
#include <gmock/gmock.h>

extern "C" {
#include <libavcodec/codec_id.h>
#include <libavutil/samplefmt.h>
}

namespace {

using decoding::AudioFrame;

/// Samples in any format, louder than full scale where it has room for that.
AudioSampleHandle noise(AVSampleFormat format, int channels, int count, quint64 mask = 0)
{
    const bool isPlanar = av_sample_fmt_is_planar(format) != 0;
    SamplesHeader header;
    header.sampleFormat = format;
    header.sampleRate = 44100;
    header.channelCount = channels;
    header.channelMask = mask;
    header.sampleCount = count;
    header.planeCount = isPlanar ? channels : 1;
    header.planeSize = av_get_bytes_per_sample(format) * count * (isPlanar ? 1 : channels);
    header.planeOffset = sizeof header;
    header.pts = 1234;
    header.timeBase[0] = 1;
    header.timeBase[1] = 1000;
    auto *const record = new AudioSampleBuffer;
    const int size = header.planeSize * header.planeCount;
    record->data = new char[sizeof header + static_cast<std::size_t>(size)];
    new (record->data) SamplesHeader(header);
    char *const samples = record->data + sizeof header;
    std::minstd_rand random(7);
    std::uniform_real_distribution<float> loud(-1.3F, 1.3F);
    const AVSampleFormat packed = av_get_packed_sample_fmt(format);
    for (int offset = 0; offset < size; offset += av_get_bytes_per_sample(format)) {
        if (packed == AV_SAMPLE_FMT_FLT) {
            const float value = loud(random);
            std::memcpy(samples + offset, &value, sizeof value);
        } else if (packed == AV_SAMPLE_FMT_DBL) {
            const double value = loud(random);
            std::memcpy(samples + offset, &value, sizeof value);
        } else {
            for (int byte = 0; byte < av_get_bytes_per_sample(format); ++byte)
                samples[offset + byte] = static_cast<char>(random());
        }
    }
    return AudioSampleHandle(record);
}

/// @return what the library writes to a raw file of @p record.
QByteArray written(const AudioSampleHandle &record)
{
    const QTemporaryDir directory;
    const FileFormat raw = {"s16le", ".raw", AV_CODEC_ID_PCM_S16LE, true};
    SampleFileWriter writer({directory.filePath("clip").toStdString()}, raw, 0);
    EXPECT_EQ(writer.create(), std::nullopt);
    EXPECT_TRUE(std::holds_alternative<quint64>(writer.write(*SamplesHeader::of(*record), 0)));
    EXPECT_EQ(writer.finish(), std::nullopt);
    QFile file(directory.filePath("clip.raw"));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return file.readAll();
}

std::string errorOf(const AudioFrame &frame, const std::string &sampleFormat)
{
    try {
        frame.convertTo(sampleFormat);
    } catch (const decoding::Error &error) {
        return error.what();
    }
    return {};
}

constexpr std::array<AVSampleFormat, 12> allFormats = {AV_SAMPLE_FMT_U8,   AV_SAMPLE_FMT_S16,  AV_SAMPLE_FMT_S32,
                                                       AV_SAMPLE_FMT_FLT,  AV_SAMPLE_FMT_DBL,  AV_SAMPLE_FMT_S64,
                                                       AV_SAMPLE_FMT_U8P,  AV_SAMPLE_FMT_S16P, AV_SAMPLE_FMT_S32P,
                                                       AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_DBLP, AV_SAMPLE_FMT_S64P};

} // namespace

TEST(AudioConversion, ToS16HasTheSamplesOfAFile)
{
    for (const int channels : {1, 2, 6, 20}) {
        for (const AVSampleFormat format : allFormats) {
            const AudioSampleHandle record = noise(format, channels, 333);
            const AudioFrame frame = decoding::makeFrame(record).convertTo("s16");
            EXPECT_EQ(frame.sampleFormat(), "s16");
            EXPECT_EQ(frame.planeCount(), 1);
            EXPECT_EQ(bytesOf(frame), written(record)) << av_get_sample_fmt_name(format) << " " << channels;
        }
    }
}

TEST(AudioConversion, ReachesEveryFormatAndBack)
{
    const AudioFrame frame = decoding::makeFrame(Records::samples({1, -2, 300, -400, 32767, -32768}, 8000, 2, 0));
    for (const AVSampleFormat format : allFormats) {
        const AudioFrame other = frame.convertTo(av_get_sample_fmt_name(format));
        EXPECT_EQ(other.sampleFormat(), av_get_sample_fmt_name(format));
        EXPECT_EQ(other.planeCount(), av_sample_fmt_is_planar(format) ? 2 : 1);
        EXPECT_EQ(bytesOf(other).size(), 6 * av_get_bytes_per_sample(format));
        if (av_get_bytes_per_sample(format) > 1) {
            EXPECT_EQ(bytesOf(other.convertTo("s16")), bytesOf(frame)) << other.sampleFormat();
        }
    }
}

TEST(AudioConversion, RateChannelsAndTimeStayAsTheyAre)
{
    const AudioSampleHandle record = noise(AV_SAMPLE_FMT_FLTP, 3, 50, 0x7);
    Records::headerOf(record).flags = SamplesHeader::Damaged;
    std::optional<AudioFrame> original = decoding::makeFrame(record);
    const AudioFrame frame = original->convertTo("s32");
    EXPECT_EQ(frame.sampleRate(), 44100);
    EXPECT_EQ(frame.channels(), 3);
    EXPECT_EQ(frame.channelMask(), 7U);
    EXPECT_EQ(frame.samples(), 50);
    EXPECT_EQ(frame.timestamp(), 1234);
    EXPECT_DOUBLE_EQ(frame.seconds(), 1.234);
    EXPECT_TRUE(frame.isDamaged());
    EXPECT_EQ(frame.plane(0).width, 600);
    EXPECT_EQ(frame.plane(0).height, 1);
    original.reset();
    EXPECT_EQ(record->refCount, 1) << "the copy holds the original";
}

TEST(AudioConversion, ToItsOwnFormatIsACopyInMemoryOfItsOwn)
{
    for (const AVSampleFormat format : {AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_S16}) {
        const AudioFrame frame = decoding::makeFrame(noise(format, 2, 77));
        const AudioFrame copy = frame.convertTo(frame.sampleFormat());
        EXPECT_NE(copy.plane(0).data, frame.plane(0).data);
        EXPECT_EQ(bytesOf(copy), bytesOf(frame));
    }
}

TEST(AudioConversion, MayBeMixedAtWill)
{
    const AudioSampleHandle mono = noise(AV_SAMPLE_FMT_FLTP, 1, 100);
    const AudioSampleHandle stereo = noise(AV_SAMPLE_FMT_FLT, 2, 50);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(bytesOf(decoding::makeFrame(mono).convertTo("s16")), written(mono));
        EXPECT_EQ(decoding::makeFrame(mono).convertTo("s32").plane(0).width, 400);
        EXPECT_EQ(bytesOf(decoding::makeFrame(stereo).convertTo("s16")), written(stereo));
    }
}

TEST(AudioConversion, TakesARunOfNoSamples)
{
    const AudioFrame frame = decoding::makeFrame(noise(AV_SAMPLE_FMT_FLTP, 2, 0)).convertTo("s16");
    EXPECT_EQ(frame.samples(), 0);
    EXPECT_EQ(bytesOf(frame), QByteArray());
}

TEST(AudioConversion, SaysWhatCannotBe)
{
    const AudioFrame frame = decoding::makeFrame(noise(AV_SAMPLE_FMT_FLTP, 2, 10));
    EXPECT_EQ(errorOf(frame, "foo"), "cannot convert samples to \"foo\": there is no such sample format");
    EXPECT_EQ(errorOf(frame, ""), "cannot convert samples to \"\": there is no such sample format");
    const AudioFrame many = decoding::makeFrame(noise(AV_SAMPLE_FMT_FLT, 100, 10));
    EXPECT_EQ(errorOf(many, "s16"),
              "cannot convert samples to \"s16\": libswresample has no way from flt with 100 channels");
    // Such a header cannot come from a decoder; it saves 4 GB here.
    const AudioSampleHandle huge = noise(AV_SAMPLE_FMT_S16, 2, 10);
    Records::headerOf(huge).sampleCount = 1 << 30;
    EXPECT_EQ(errorOf(decoding::makeFrame(huge), "s16"), "cannot convert samples to \"s16\": they are too many");
    EXPECT_EQ(errorOf(frame, "s16"), "");
}
