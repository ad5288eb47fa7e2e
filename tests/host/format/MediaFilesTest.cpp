#include <QDir>

#include <optional>

#include "CountingSlab.h"
#include "DecoderRuns.h"
#include <gtest/gtest.h>

namespace {

/// Decodes the best video and audio stream of each file below @p directory. @return the number of streams.
int expectAllOfFfmpeg(const QDir &directory)
{
    int streams = 0;
    const auto damage = std::make_shared<DamageCounts>();
    for (const QFileInfo &file : directory.entryInfoList(QDir::Files)) {
        SCOPED_TRACE(file.fileName().toStdString());
        if (const auto clip = Clip::read(file.filePath(), AVMEDIA_TYPE_VIDEO, file.fileName().toUtf8())) {
            ++streams;
            expectPicturesOfFfmpeg(*clip, damage);
        }
        if (const auto clip = Clip::read(file.filePath(), AVMEDIA_TYPE_AUDIO, file.fileName().toUtf8())) {
            ++streams;
            expectSamplesOfFfmpeg(*clip, damage);
        }
        EXPECT_EQ(CountingSlab::liveBlocks(), 0);
    }
    return streams;
}

TEST(MediaFiles, SamplesGiveWhatTheFfmpegCommandGives)
{
    const QDir directory(QStringLiteral(SAMPLES_DIR));
    if (!directory.exists() || !FfmpegTool::isInstalled())
        GTEST_SKIP() << "there is no folder samples, or the ffmpeg command is not installed";
    EXPECT_GT(expectAllOfFfmpeg(directory), 0);
}

TEST(MediaFiles, FilesOfTheMediaFolderGiveWhatTheFfmpegCommandGives)
{
    const QString directory = qEnvironmentVariable("DECODING_MEDIA_DIR");
    if (directory.isEmpty() || !FfmpegTool::isInstalled())
        GTEST_SKIP() << "DECODING_MEDIA_DIR names no folder of media files, or the ffmpeg command is not installed";
    EXPECT_GT(expectAllOfFfmpeg(QDir(directory)), 0);
}

} // namespace
