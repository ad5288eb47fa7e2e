#include "sinks/PictureFileWriter.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <limits>
#include <utility>

#include "host/sinks/DecodedClip.h"
#include "host/sinks/FfmpegTool.h"
#include "host/sinks/Records.h"
#include "sinks/SinkFactory.h"
#include <gmock/gmock.h>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

using testing::HasSubstr;
using testing::Optional;

QByteArray md5(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex();
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}

/// The last column of every line that is not a comment.
QList<QByteArray> hashes(const QByteArray &frameMd5)
{
    QList<QByteArray> column;
    for (const QByteArray &line : frameMd5.split('\n')) {
        if (!line.isEmpty() && !line.startsWith('#'))
            column.append(line.split(',').last().trimmed());
    }
    return column;
}

/// The time stamps of every line that is not a comment.
QList<int> timestamps(const QByteArray &frameMd5)
{
    QList<int> column;
    for (const QByteArray &line : frameMd5.split('\n')) {
        if (!line.isEmpty() && !line.startsWith('#'))
            column.append(line.split(',').at(2).trimmed().toInt());
    }
    return column;
}

class PictureFileWriterTest : public testing::Test {
protected:
    ISink::Status write(OutputSpec::Kind kind, const std::vector<VideoFrameHandle> &pictures, qint64 startTimeUs = 0)
    {
        OutputSpec spec;
        spec.kind = kind;
        spec.directory = _directory.path().toStdString();
        SinkWorkers workers(1);
        auto created = SinkFactory::createVideoSink(
            spec, {QStringLiteral("clip"), startTimeUs, {}, std::make_shared<Gate>()}, workers);
        const ModkitPtr<VideoSink> sink = std::get<ModkitPtr<VideoSink>>(created);
        for (const VideoFrameHandle &picture : pictures)
            sink->push(picture, 0, 0);
        sink->finish();
        return sink->status();
    }

    QByteArray written(const char *name) const { return contents(_directory.filePath(QLatin1String(name))); }
    std::string path(const char *name) const { return _directory.filePath(QLatin1String(name)).toStdString(); }

    QTemporaryDir _directory;
};

class PixelFormatTest : public PictureFileWriterTest, public testing::WithParamInterface<AVPixelFormat> {};

class ClipTest : public PictureFileWriterTest,
                 public testing::WithParamInterface<std::pair<const char *, const char *>> {};

} // namespace

TEST_P(PixelFormatTest, AllVisibleBytesAndNoOthersAreWritten)
{
    constexpr int width = 33;
    constexpr int height = 17;
    QByteArray all;
    QList<QByteArray> expected;
    std::vector<VideoFrameHandle> pictures;
    for (int number = 0; number < 3; ++number) {
        const QByteArray packed = Records::packedBytes(GetParam(), width, height, number);
        all += packed;
        expected.append(md5(packed));
        pictures.push_back(Records::picture(GetParam(), width, height, packed, number,
                                            number == 1 ? Records::Rows::BottomUp : Records::Rows::TopDown));
    }
    EXPECT_EQ(write(OutputSpec::FrameMd5, pictures).error, std::nullopt);
    EXPECT_EQ(hashes(written("clip.video.framemd5")), expected);
    const ISink::Status status = write(OutputSpec::Raw, pictures);
    EXPECT_EQ(status.error, std::nullopt);
    EXPECT_EQ(status.bytesWritten, quint64(all.size()));
    EXPECT_EQ(written("clip.video.raw"), all);

    const QByteArray byTool =
        FfmpegTool::run(std::string("-f rawvideo -pix_fmt ") + av_get_pix_fmt_name(GetParam()) +
                        " -s 33x17 -r 25 -i '" + path("clip.video.raw") + "' -c:v rawvideo -bitexact -f framemd5 -");
    EXPECT_EQ(written("clip.video.framemd5").toStdString(), byTool.toStdString());
}

INSTANTIATE_TEST_SUITE_P(Each, PixelFormatTest,
                         testing::Values(AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_NV12, AV_PIX_FMT_PAL8,
                                         AV_PIX_FMT_RGB24, AV_PIX_FMT_GRAY10LE, AV_PIX_FMT_YUVA444P, AV_PIX_FMT_GBRP,
                                         AV_PIX_FMT_MONOBLACK),
                         [](const auto &test) { return std::string(av_get_pix_fmt_name(test.param)); });

TEST_P(ClipTest, HasTheFrameMd5FileThatTheToolWrites)
{
    const std::string clip = path(GetParam().first);
    FfmpegTool::run(std::string(GetParam().second) + " '" + clip + "'");
    const DecodedClip decoded(clip);
    ASSERT_GE(decoded.pictures.size(), 10U);
    EXPECT_EQ(write(OutputSpec::FrameMd5, decoded.pictures, decoded.startTimeUs).error, std::nullopt);
    EXPECT_EQ(written("clip.video.framemd5").toStdString(), FfmpegTool::frameMd5(clip, "0:v").toStdString());
}

INSTANTIATE_TEST_SUITE_P(
    Each, ClipTest,
    testing::Values(
        std::pair("h264.mp4", "-f lavfi -i testsrc2=s=64x48:d=1 -c:v libx264 -bf 2"),
        std::pair("shifted.ts", "-f lavfi -i testsrc2=s=64x48:d=1:r=30000/1001 -c:v mpeg2video -bf 2"),
        std::pair("later.mkv", "-f lavfi -i testsrc2=s=64x48:d=1 -f lavfi -i sine=d=1 -c:v mpeg4 -c:a pcm_s16le "
                               "-output_ts_offset 3.3"),
        std::pair("variable.mkv", "-f lavfi -i testsrc2=s=64x48:d=2 -vf 'select=not(mod(n\\,3))+gt(n\\,25)' -vsync vfr "
                                  "-c:v libx264"),
        std::pair("palette.avi", "-f lavfi -i testsrc=s=33x17:d=1 -pix_fmt pal8 -c:v rawvideo"),
        std::pair("anamorphic.mov", "-f lavfi -i testsrc2=s=64x48:d=1,setsar=16/11,format=yuv422p10le -c:v prores_ks"),
        std::pair("image.gif", "-f lavfi -i testsrc2=s=32x32:d=1:r=20")),
    [](const auto &test) { return std::string(test.param.first).substr(0, std::string(test.param.first).find('.')); });

TEST_F(PictureFileWriterTest, AFileThatCannotFollowAnotherOneEndsTheOutputAndNothingElse)
{
    ASSERT_TRUE(QDir().mkdir(_directory.filePath("clip.part2.y4m")));
    const auto picture = [](int width) {
        return Records::picture(AV_PIX_FMT_YUV420P, width, 48, Records::packedBytes(AV_PIX_FMT_YUV420P, width, 48, 0),
                                0);
    };
    const ISink::Status status = write(OutputSpec::Y4m, {picture(64), picture(32), picture(32)});
    EXPECT_THAT(status.error, Optional(HasSubstr("clip.part2.y4m: Is a directory")));
    EXPECT_EQ(status.failed, 2U);
    EXPECT_EQ(written("clip.y4m").count("FRAME\n"), 1);
}

TEST_F(PictureFileWriterTest, TimeStampsFollowOneAnotherWhereTheyAreMissingOrGoBack)
{
    std::vector<VideoFrameHandle> pictures;
    const qint64 unknown = std::numeric_limits<qint64>::min();
    for (const qint64 pts : {qint64(0), qint64(1), unknown, qint64(5), qint64(3), qint64(6)})
        pictures.push_back(Records::picture(AV_PIX_FMT_GRAY8, 2, 2, "abcd", pts));
    EXPECT_EQ(write(OutputSpec::FrameMd5, pictures).error, std::nullopt);
    EXPECT_EQ(timestamps(written("clip.video.framemd5")), QList<int>({0, 1, 2, 5, 5, 6}));
}

TEST_F(PictureFileWriterTest, TimeStampsGoOnWhereTheyJumpBackWithoutABreak)
{
    for (const int length : {30, 5}) {
        std::vector<VideoFrameHandle> pictures;
        QList<int> expected;
        for (int round = 0; round < 3; ++round) {
            for (int pts = 0; pts < length; ++pts) {
                pictures.push_back(Records::picture(AV_PIX_FMT_GRAY8, 2, 2, "abcd", pts));
                // Of a jump of less than half a second, only the second picture behind tells.
                expected.append(length * 25 < 500 ? round * (length - 1) + pts : round * length + pts);
            }
        }
        EXPECT_EQ(write(OutputSpec::FrameMd5, pictures).error, std::nullopt);
        EXPECT_EQ(timestamps(written("clip.video.framemd5")), expected) << length;
    }
}

TEST_F(PictureFileWriterTest, AStreamThatBeginsAnewAfterABreakFollowsTheOneBefore)
{
    std::vector<VideoFrameHandle> pictures;
    for (int repetition = 0; repetition < 3; ++repetition) {
        for (int pts = 0; pts < 2; ++pts)
            pictures.push_back(Records::picture(AV_PIX_FMT_GRAY8, 2, 2, "abcd", pts));
        pictures.emplace_back();
    }
    EXPECT_EQ(write(OutputSpec::FrameMd5, pictures).nullBlocks, 3U);
    EXPECT_EQ(timestamps(written("clip.video.framemd5")), QList<int>({0, 1, 2, 3, 4, 5}));
}

TEST_F(PictureFileWriterTest, AChangeOfSizeGoesOnInTheSameFrameMd5FileAndInANewY4mFile)
{
    const QByteArray small = Records::packedBytes(AV_PIX_FMT_YUV420P, 33, 17, 1);
    const QByteArray large = Records::packedBytes(AV_PIX_FMT_YUV420P, 50, 20, 2);
    const std::vector<VideoFrameHandle> pictures = {
        Records::picture(AV_PIX_FMT_YUV420P, 33, 17, small, 0),
        Records::picture(AV_PIX_FMT_YUV420P, 33, 17, small, 1, Records::Rows::BottomUp),
        Records::picture(AV_PIX_FMT_YUV420P, 50, 20, large, 2), Records::picture(AV_PIX_FMT_YUV420P, 33, 17, small, 3)};
    EXPECT_EQ(write(OutputSpec::FrameMd5, pictures).error, std::nullopt);
    EXPECT_EQ(hashes(written("clip.video.framemd5")),
              QList<QByteArray>({md5(small), md5(small), md5(large), md5(small)}));
    const ISink::Status status = write(OutputSpec::Y4m, pictures);
    EXPECT_EQ(status.error, std::nullopt);
    EXPECT_EQ(status.bytesWritten, quint64(3 * small.size() + large.size()));
    EXPECT_EQ(hashes(FfmpegTool::frameMd5(path("clip.y4m"), "0:v")), QList<QByteArray>({md5(small), md5(small)}));
    EXPECT_EQ(hashes(FfmpegTool::frameMd5(path("clip.part2.y4m"), "0:v")), QList<QByteArray>({md5(large)}));
    EXPECT_EQ(hashes(FfmpegTool::frameMd5(path("clip.part3.y4m"), "0:v")), QList<QByteArray>({md5(small)}));
}

TEST_F(PictureFileWriterTest, Y4mTakesTenBitsAndNamesAPixelFormatThatItCannotTake)
{
    const QByteArray deep = QByteArray(Records::packedBytes(AV_PIX_FMT_YUV420P10LE, 16, 16, 0).size(), '\1');
    EXPECT_EQ(write(OutputSpec::Y4m, {Records::picture(AV_PIX_FMT_YUV420P10LE, 16, 16, deep, 0)}).error, std::nullopt);
    EXPECT_EQ(hashes(FfmpegTool::frameMd5(path("clip.y4m"), "0:v")), QList<QByteArray>({md5(deep)}));
    const QByteArray rgb = Records::packedBytes(AV_PIX_FMT_RGB24, 16, 16, 0);
    EXPECT_THAT(write(OutputSpec::Y4m, {Records::picture(AV_PIX_FMT_RGB24, 16, 16, rgb, 0)}).error,
                Optional("cannot write rgb24 16x16 to " + path("clip.y4m") + ": such a file cannot hold that"));
}

TEST_F(PictureFileWriterTest, AHeaderThatDescribesNoPictureIsAnError)
{
    for (const int broken : {0, 1, 2, 3}) {
        const VideoFrameHandle picture = Records::picture(AV_PIX_FMT_GRAY8, 2, 2, "abcd", 0);
        PictureHeader &header = Records::headerOf(picture);
        if (broken == 0)
            header.width = 0;
        else if (broken == 1)
            header.height = -1;
        else if (broken == 2)
            header.pixelFormat = -1;
        else
            header.planeOffset[0] = 0;
        EXPECT_THAT(write(OutputSpec::Raw, {picture}).error,
                    Optional(HasSubstr("clip.video.raw: a picture's header does not describe a picture")));
    }
}
