#include "sinks/SnapshotWriter.h"

#include <QDir>
#include <QTemporaryDir>

#include "host/sinks/FfmpegTool.h"
#include "host/sinks/Records.h"
#include <gmock/gmock.h>

namespace {

class SnapshotWriterTest : public testing::Test {
protected:
    bool writes(qint64 blockTimeMs)
    {
        const VideoFrameHandle picture = Records::picture(AV_PIX_FMT_GRAY8, 2, 2, "abcd", 0);
        return std::get<quint64>(_writer.write(*PictureHeader::of(*picture), blockTimeMs)) > 0;
    }

    QTemporaryDir _directory;
    SnapshotWriter _writer{{_directory.filePath("clip").toStdString()}, std::chrono::seconds(1)};
};

} // namespace

TEST_F(SnapshotWriterTest, WritesTheFirstPictureOfEveryInterval)
{
    EXPECT_TRUE(writes(5000));
    EXPECT_FALSE(writes(5999));
    EXPECT_FALSE(writes(4990)); // out of order by a little
    EXPECT_TRUE(writes(6300));
    EXPECT_FALSE(writes(6900));
    EXPECT_TRUE(writes(7010));
    EXPECT_TRUE(writes(20500));
    EXPECT_FALSE(writes(20900));
    EXPECT_TRUE(writes(21000));
    EXPECT_EQ(QDir(_directory.path()).entryList({"clip-000?.png"}).size(), 5);
}

TEST_F(SnapshotWriterTest, BeginsAnewAfterABreakAndWhereBlockTimesGoBack)
{
    EXPECT_TRUE(writes(5000));
    EXPECT_TRUE(writes(0));
    EXPECT_FALSE(writes(500));
    _writer.noteBreak();
    EXPECT_TRUE(writes(600));
}

TEST_F(SnapshotWriterTest, ThePngHoldsThePictureInRgb)
{
    const QByteArray packed = Records::packedBytes(AV_PIX_FMT_RGB24, 33, 17, 3);
    const VideoFrameHandle picture = Records::picture(AV_PIX_FMT_RGB24, 33, 17, packed, 0, Records::Rows::BottomUp);
    ASSERT_GT(std::get<quint64>(_writer.write(*PictureHeader::of(*picture), 0)), 0U);
    EXPECT_EQ(FfmpegTool::run("-i '" + _directory.filePath("clip-0001.png").toStdString() + "' -f rawvideo -"), packed);
}

TEST_F(SnapshotWriterTest, KeepsToTheRangeAndTheMatrixOfThePicture)
{
    const auto red = [this](AVColorRange range, AVColorSpace space) {
        const VideoFrameHandle picture =
            Records::picture(AV_PIX_FMT_YUV444P, 16, 16,
                             QByteArray(256, char(100)) + QByteArray(256, char(128)) + QByteArray(256, char(180)), 0);
        Records::headerOf(picture).colorRange = range;
        Records::headerOf(picture).colorSpace = space;
        _writer.noteBreak();
        EXPECT_GT(std::get<quint64>(_writer.write(*PictureHeader::of(*picture), 0)), 0U);
        const QString newest = QDir(_directory.path()).entryList({"*.png"}).last();
        const QByteArray rgb =
            FfmpegTool::run("-i '" + _directory.filePath(newest).toStdString() + "' -f rawvideo -pix_fmt rgb24 -");
        return int(quint8(rgb.at(0)));
    };
    // Y + 1.402 V and Y + 1.5748 V, with luma and chroma stretched from the limited range first.
    EXPECT_NEAR(red(AVCOL_RANGE_JPEG, AVCOL_SPC_SMPTE170M), 173, 1);
    EXPECT_NEAR(red(AVCOL_RANGE_MPEG, AVCOL_SPC_SMPTE170M), 181, 1);
    EXPECT_NEAR(red(AVCOL_RANGE_MPEG, AVCOL_SPC_BT709), 191, 1);
}

TEST_F(SnapshotWriterTest, KeepsTheColoursOfRgbPicturesOfManyBits)
{
    const auto plane = [](int value) {
        QByteArray bytes;
        for (int pixel = 0; pixel < 16 * 16; ++pixel)
            bytes.append(char(value & 0xff)).append(char(value >> 8));
        return bytes;
    };
    // Green, blue, red.
    const VideoFrameHandle picture =
        Records::picture(AV_PIX_FMT_GBRP10LE, 16, 16, plane(85 * 4) + plane(60 * 4) + plane(155 * 4), 0);
    for (const AVColorSpace space : {AVCOL_SPC_RGB, AVCOL_SPC_UNSPECIFIED, AVCOL_SPC_BT709}) {
        Records::headerOf(picture).colorSpace = space;
        _writer.noteBreak();
        ASSERT_GT(std::get<quint64>(_writer.write(*PictureHeader::of(*picture), 0)), 0U);
        const QString newest = QDir(_directory.path()).entryList({"*.png"}).last();
        const QByteArray rgb = FfmpegTool::run("-i '" + _directory.filePath(newest).toStdString() + "' -f rawvideo -");
        EXPECT_NEAR(int(quint8(rgb.at(0))), 155, 2) << space;
        EXPECT_NEAR(int(quint8(rgb.at(1))), 85, 2) << space;
        EXPECT_NEAR(int(quint8(rgb.at(2))), 60, 2) << space;
    }
}

TEST_F(SnapshotWriterTest, ReportsAFileThatItCannotWrite)
{
    QDir(_directory.path()).removeRecursively();
    const VideoFrameHandle picture = Records::picture(AV_PIX_FMT_GRAY8, 2, 2, "abcd", 0);
    const auto result = _writer.write(*PictureHeader::of(*picture), 0);
    ASSERT_TRUE(std::holds_alternative<std::string>(result));
    EXPECT_EQ(std::get<std::string>(result),
              "cannot write " + _directory.filePath("clip-0001.png").toStdString() + ": No such file or directory");
}
