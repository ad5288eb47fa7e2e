#include <QCryptographicHash>
#include <QFileInfo>
#include <QRegularExpression>

#include <string>
#include <vector>

#include "DecodeFixture.h"
#include <gmock/gmock.h>

namespace {

/// A checksum that a file's publisher has given for what is in it.
struct Published {
    QByteArray file;
    QCryptographicHash::Algorithm algorithm;
    QByteArray hexadecimal;
};

/// @return those in the manifest of the media folder: the last column, such as "sha1:12ab ; md5:34cd ; remark".
std::vector<Published> publishedChecksums(const QByteArray &manifest)
{
    std::vector<Published> all;
    for (const QByteArray &line : manifest.split('\n')) {
        const QList<QByteArray> columns = line.split('\t');
        for (const QByteArray &part : columns.last().split(';')) {
            const QByteArray checksum = part.trimmed();
            if (checksum.startsWith("md5:"))
                all.push_back({columns.first(), QCryptographicHash::Md5, checksum.mid(4)});
            else if (checksum.startsWith("sha1:"))
                all.push_back({columns.first(), QCryptographicHash::Sha1, checksum.mid(5)});
        }
    }
    return all;
}

/// @return @p framemd5 without what is said of time.
QByteArray withoutTimes(const QByteArray &framemd5)
{
    return QString::fromLatin1(framemd5).replace(QRegularExpression("\n0,[ 0-9]+,[ 0-9]+,"), "\n").toLatin1();
}

class DecodedFiles : public DecodeFixture {
protected:
    /// Fails unless each framemd5 file, time stamps and all, is to the letter the tool's.
    static void expectFilesOfTool(const HostRun &run, const QStringList &files, const QString &directory)
    {
        forEachStream(run, files, directory, [](const Decoded &decoded) {
            QByteArray expected = ToolFrames::framemd5(decoded.file, decoded.streams, decoded.kind());
            QByteArray text = decoded.framemd5;
            // Matroska counts in whole milliseconds. Where a packet of sound begins one later than the one before has
            // ended, the tool counts the samples afresh from there, while the host goes on as the samples do.
            if (decoded.file.endsWith(".mkv") && decoded.kind() == "audio") {
                expected = withoutTimes(expected);
                text = withoutTimes(text);
            }
            EXPECT_FALSE(expected.isEmpty());
            EXPECT_EQ(text.toStdString(), expected.toStdString());
        });
    }
};

} // namespace

TEST_F(DecodedFiles, OfTheSamplesAreThoseOfTheToolToTheLetter)
{
    const HostRun run = HostRun::decode(QStringList{"--output", "framemd5:" + path("out")} + samples());
    expectFilesOfTool(run, samples(), path("out"));
}

TEST_F(DecodedFiles, OfTheMediaFolderAreThoseOfTheToolToTheLetter)
{
    if (mediaFiles().isEmpty())
        GTEST_SKIP() << noMediaFolder;
    const HostRun run = HostRun::decode(QStringList{"--output", "framemd5:" + path("out")} + mediaFiles());
    expectFilesOfTool(run, mediaFiles(), path("out"));
}

TEST_F(DecodedFiles, OfRawFramesHaveThePublishedChecksums)
{
    if (mediaFiles().isEmpty())
        GTEST_SKIP() << noMediaFolder;
    const QString folder = QFileInfo(mediaFiles().first()).path();
    const std::vector<Published> published = publishedChecksums(read(folder + "/MANIFEST.tsv"));
    ASSERT_FALSE(published.empty());
    for (const Published &checksum : published) {
        SCOPED_TRACE(checksum.file.toStdString());
        const QString file = folder + '/' + checksum.file;
        const HostRun run = HostRun::decode({"--output", "raw:" + path("out"), file});
        run.expectSuccess();
        const QString kind = run.inputs()[0].toObject()["streams"].toArray()[0].toObject()["kind"].toString();
        const QByteArray raw = read(path("out/") + QFileInfo(file).completeBaseName() + '.' + kind + ".raw");
        EXPECT_EQ(QCryptographicHash::hash(raw, checksum.algorithm).toHex(), checksum.hexadecimal);
    }
}
