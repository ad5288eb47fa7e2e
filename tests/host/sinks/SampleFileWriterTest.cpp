#include "sinks/SampleFileWriter.h"

#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>

#include <numeric>

#include "host/sinks/DecodedClip.h"
#include "host/sinks/FfmpegTool.h"
#include "host/sinks/Records.h"
#include "sinks/SinkFactory.h"
#include <gmock/gmock.h>

extern "C" {
#include <libavcodec/codec_id.h>
}

namespace {

using testing::HasSubstr;
using testing::Optional;

class SampleFileWriterTest : public testing::Test {
protected:
    ISink::Status write(OutputSpec::Kind kind, const std::vector<AudioSampleHandle> &samples, qint64 startTimeUs = 0)
    {
        OutputSpec spec;
        spec.kind = kind;
        spec.directory = _directory.path().toStdString();
        SinkWorkers workers(1);
        auto created = SinkFactory::createAudioSink(
            spec, {QStringLiteral("clip"), startTimeUs, {}, std::make_shared<Gate>()}, workers);
        const ModkitPtr<AudioSink> sink = std::get<ModkitPtr<AudioSink>>(created);
        for (const AudioSampleHandle &run : samples)
            sink->push(run, 0, 0);
        sink->finish();
        return sink->status();
    }

    QByteArray written(const char *name) const
    {
        QFile file(_directory.filePath(QLatin1String(name)));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name;
        return file.readAll();
    }
    std::string path(const char *name) const { return _directory.filePath(QLatin1String(name)).toStdString(); }

    QTemporaryDir _directory;
};

class SampleFormatTest : public SampleFileWriterTest,
                         public testing::WithParamInterface<std::pair<const char *, const char *>> {};

// Loud enough to clip, and with more bits than are kept.
const char *const tone = "-f lavfi -i \"aevalsrc=1.2*sin(700*t)|0.3*sin(3000*t)|random(0)-0.5:s=44100:c=3.0:d=1\" ";
const char *const surround = "-f lavfi -i \"aevalsrc=0.9*sin(100*t)|0.8*sin(200*t)|0.7*sin(300*t)|0.6*sin(400*t)|"
                             "0.5*sin(500*t)|0.4*sin(600*t):s=48000:c=5.1:d=1\" ";

std::vector<qint16> ramp(int size, qint16 first)
{
    std::vector<qint16> values(static_cast<std::size_t>(size));
    std::iota(values.begin(), values.end(), first);
    return values;
}

/// @return @p frameMd5 as it is, or without the columns of time stamps.
std::string comparable(const QByteArray &frameMd5, bool withoutTimestamps)
{
    QByteArray text;
    for (const QByteArray &line : frameMd5.split('\n')) {
        const bool strip = withoutTimestamps && line.startsWith('0');
        text += (strip ? line.split(',').mid(3).join(',') : line) + '\n';
    }
    return text.toStdString();
}

QByteArray bytesOf(const std::vector<qint16> &values)
{
    return QByteArray(reinterpret_cast<const char *>(values.data()), static_cast<int>(values.size() * sizeof(qint16)));
}

} // namespace

TEST_P(SampleFormatTest, HasTheFilesThatTheToolWrites)
{
    const std::string clip = path(GetParam().first);
    FfmpegTool::run(std::string(GetParam().second) + " '" + clip + "'");
    const DecodedClip decoded(clip);
    ASSERT_GE(decoded.samples.size(), 5U);
    EXPECT_EQ(write(OutputSpec::FrameMd5, decoded.samples, decoded.startTimeUs).error, std::nullopt);
    // Time stamps in milliseconds are not enough to tell where between them samples belong.
    const bool isCoarse = clip.find(".mkv") != std::string::npos;
    EXPECT_EQ(comparable(written("clip.audio.framemd5"), isCoarse),
              comparable(FfmpegTool::frameMd5(clip, "0:a"), isCoarse));
    EXPECT_EQ(write(OutputSpec::Raw, decoded.samples).error, std::nullopt);
    EXPECT_EQ(write(OutputSpec::Wav, decoded.samples).error, std::nullopt);
    const QByteArray byTool = FfmpegTool::run("-i '" + clip + "' -map 0:a -f s16le -");
    EXPECT_FALSE(byTool.isEmpty());
    EXPECT_TRUE(written("clip.audio.raw") == byTool);
    EXPECT_TRUE(FfmpegTool::run("-i '" + path("clip.wav") + "' -f s16le -") == byTool);
}

INSTANTIATE_TEST_SUITE_P(
    Each, SampleFormatTest, testing::ValuesIn([] {
        static const std::vector<std::pair<std::string, std::string>> clips = {
            {"u8.wav", std::string(tone) + "-c:a pcm_u8"},
            {"s16.wav", std::string(tone) + "-c:a pcm_s16le"},
            {"s32.wav", std::string(tone) + "-c:a pcm_s32le"},
            {"s64.nut", std::string(tone) + "-c:a pcm_s64le"},
            {"flt.wav", std::string(tone) + "-c:a pcm_f32le"},
            {"dbl.wav", std::string(tone) + "-c:a pcm_f64le"},
            {"fltp.m4a", std::string(surround) + "-c:a aac"},
            {"s16p.mp2", "-f lavfi -i sine=d=1,volume=4,aformat=channel_layouts=stereo -c:a mp2"},
            {"s32p.m4a", "-f lavfi -i sine=d=1,volume=4,aformat=channel_layouts=stereo -sample_fmt s32p -c:a alac"},
            {"vorbis.mkv", std::string(surround) + "-c:a libvorbis"},
            {"mpegts.ts", "-f lavfi -i sine=d=1,aformat=channel_layouts=stereo -c:a ac3"},
            {"mp3.mkv", "-f lavfi -i sine=d=1 -c:a libmp3lame"},
        };
        std::vector<std::pair<const char *, const char *>> parameters;
        for (const auto &clip : clips)
            parameters.emplace_back(clip.first.c_str(), clip.second.c_str());
        return parameters;
    }()),
    [](const auto &test) { return std::string(test.param.first).substr(0, std::string(test.param.first).find('.')); });

TEST_F(SampleFileWriterTest, AChangeOfRateOrChannelsGoesOnInRawFilesAndInANewWavFile)
{
    const std::vector<AudioSampleHandle> samples = {
        Records::samples(ramp(200, 0), 8000, 2, 0), Records::samples(ramp(100, 500), 16000, 2, 200),
        Records::samples(ramp(30, 900), 16000, 1, 250), Records::samples(ramp(30, 950), 16000, 1, 280)};
    const QByteArray all =
        bytesOf(ramp(200, 0)) + bytesOf(ramp(100, 500)) + bytesOf(ramp(30, 900)) + bytesOf(ramp(30, 950));
    EXPECT_EQ(write(OutputSpec::Raw, samples).error, std::nullopt);
    EXPECT_EQ(written("clip.audio.raw"), all);
    EXPECT_EQ(write(OutputSpec::FrameMd5, samples).error, std::nullopt);
    EXPECT_THAT(
        written("clip.audio.framemd5").toStdString(),
        HasSubstr(QCryptographicHash::hash(bytesOf(ramp(100, 500)), QCryptographicHash::Md5).toHex().toStdString()));
    EXPECT_EQ(write(OutputSpec::Wav, samples).bytesWritten, quint64(all.size()));
    EXPECT_EQ(FfmpegTool::run("-i '" + path("clip.wav") + "' -f s16le -"), bytesOf(ramp(200, 0)));
    EXPECT_EQ(FfmpegTool::run("-i '" + path("clip.part2.wav") + "' -f s16le -"), bytesOf(ramp(100, 500)));
    EXPECT_EQ(FfmpegTool::run("-i '" + path("clip.part3.wav") + "' -f s16le -"), all.right(120));
    EXPECT_TRUE(written("clip.part2.wav").contains(QByteArray::fromHex("803e0000"))); // 16000 Hz
}

TEST_F(SampleFileWriterTest, AFileThatHoldsNoMoreIsFollowedByANewOne)
{
    const FileFormat format{"wav", ".wav", AV_CODEC_ID_PCM_S16LE, false, 44 + 250};
    SampleFileWriter writer({path("clip")}, format, 0);
    ASSERT_EQ(writer.create(), std::nullopt);
    for (const int first : {0, 50, 100, 150, 200}) {
        const AudioSampleHandle samples = Records::samples(ramp(50, static_cast<qint16>(first)), 8000, 1, first);
        EXPECT_TRUE(std::holds_alternative<quint64>(writer.write(Records::headerOf(samples), 0)));
    }
    EXPECT_EQ(writer.finish(), std::nullopt);
    EXPECT_EQ(FfmpegTool::run("-i '" + path("clip.wav") + "' -f s16le -"), bytesOf(ramp(100, 0)));
    EXPECT_EQ(FfmpegTool::run("-i '" + path("clip.part2.wav") + "' -f s16le -"), bytesOf(ramp(100, 100)));
    EXPECT_EQ(FfmpegTool::run("-i '" + path("clip.part3.wav") + "' -f s16le -"), bytesOf(ramp(50, 200)));
}

TEST_F(SampleFileWriterTest, AnyNumberOfChannelsOfUnknownOrderIsWritten)
{
    for (const int channels : {1, 3, 20}) {
        const std::vector<qint16> values = ramp(channels * 100, 1);
        EXPECT_EQ(write(OutputSpec::Wav, {Records::samples(values, 8000, channels, 0)}).error, std::nullopt);
        EXPECT_TRUE(written("clip.wav").endsWith(bytesOf(values))) << channels;
    }
}

TEST_F(SampleFileWriterTest, AHeaderThatDescribesNoSamplesIsAnError)
{
    for (const int broken : {0, 1, 2, 3, 4}) {
        const AudioSampleHandle samples = Records::samples({1, 2}, 8000, 1, 0);
        SamplesHeader &header = Records::headerOf(samples);
        if (broken == 0)
            header.sampleFormat = -1;
        else if (broken == 1)
            header.sampleRate = 0;
        else if (broken == 2)
            header.channelCount = 0;
        else if (broken == 3)
            header.sampleCount = 3;
        else
            header.planeCount = 2;
        EXPECT_THAT(write(OutputSpec::Raw, {samples}).error,
                    Optional(HasSubstr("clip.audio.raw: a header of samples does not describe samples")))
            << broken;
    }
}
