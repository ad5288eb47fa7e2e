#include <QProcess>

#include "LiveFixture.h"
#include "format/DamageCounts.h"
#include "format/VideoCodecDecoder.h"
#include "host/format/Records.h"

namespace {

/// What is decoded of generated sources, whose pictures come uncoded, in the given pixel format.
class LivePictures : public LiveFixture, public testing::WithParamInterface<const char *> {
protected:
    /// "SIZE MD5" of the first @p count pictures of @p graph, as the ffmpeg tool tells them.
    static std::vector<std::string> expected(const QString &graph, int count)
    {
        QProcess tool;
        tool.start(QStringLiteral("ffmpeg"),
                   {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                    QStringLiteral("-i"), graph, QStringLiteral("-frames:v"), QString::number(count),
                    QStringLiteral("-f"), QStringLiteral("framemd5"), QStringLiteral("-")});
        EXPECT_TRUE(tool.waitForFinished());
        std::vector<std::string> hashes;
        for (const QByteArray &line : tool.readAllStandardOutput().split('\n')) {
            const QList<QByteArray> fields = line.simplified().replace(' ', "").split(',');
            if (!line.startsWith('#') && fields.size() == 6)
                hashes.push_back((fields[4] + ' ' + fields[5]).toStdString());
        }
        return hashes;
    }
};

TEST_P(LivePictures, AreDecodedExactly)
{
    const QString graph = QStringLiteral("testsrc2=size=66x50:rate=100,format=%1").arg(QLatin1String(GetParam()));
    start(generated(graph));
    ASSERT_TRUE(takeVideo(5));
    auto *const records = new PictureRecords;
    const std::vector<ModkitPtr<IVideoOutputQueue>> outputs = {ModkitPtr<IVideoOutputQueue>(records)};
    const auto damage = std::make_shared<DamageCounts>();
    const ModkitPtr<VideoCodecDecoder> decoder(new VideoCodecDecoder(damage));
    for (std::size_t position = 0; position < 5; ++position) {
        const QueueReader::Block &block = videoBlocks[position];
        decoder->decode(block.data, block.keyBlock, block.timestamp, block.blockTimeMs, outputs.data(), 1);
    }
    const std::vector<std::string> hashes = expected(graph, 5);
    EXPECT_EQ(hashes.size(), 5u);
    EXPECT_EQ(records->hashes(), hashes);
}

INSTANTIATE_TEST_SUITE_P(Live, LivePictures,
                         testing::Values("yuv420p", "rgb24", "bgr24", "nv12", "yuv444p", "gray", "rgba", "bgra",
                                         "yuyv422", "yuv422p10le", "gbrp", "pal8", "monow"));

} // namespace
