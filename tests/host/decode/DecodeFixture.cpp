#include "DecodeFixture.h"

#include <QDir>
#include <QFile>

#include "host/format/FfmpegTool.h"
#include "sources/InputNames.h"

namespace {

/// All files of @p directory but those that tell about the others.
QStringList mediaFilesOf(const QString &directory)
{
    QStringList files;
    for (const QFileInfo &file : QDir(directory).entryInfoList(QDir::Files, QDir::Name)) {
        const QString name = file.fileName();
        if (!name.startsWith("README") && !name.startsWith("LICENSE") && !name.startsWith("MANIFEST"))
            files << file.filePath();
    }
    return files;
}

} // namespace

DecodeFixture::DecodeFixture()
{
    // Without it nothing tells what is to come out, and a pass would mean nothing.
    EXPECT_TRUE(FfmpegTool::isInstalled()) << "these tests need the ffmpeg command";
}

QString DecodeFixture::sample(const char *fileName)
{
    return QDir(QStringLiteral(SAMPLES_DIR)).filePath(QString::fromLatin1(fileName));
}

QStringList DecodeFixture::samples()
{
    return mediaFilesOf(QStringLiteral(SAMPLES_DIR));
}

QStringList DecodeFixture::mediaFiles()
{
    const QString directory = qEnvironmentVariable("DECODING_MEDIA_DIR");
    return directory.isEmpty() ? QStringList() : mediaFilesOf(directory);
}

QString DecodeFixture::write(const QString &name, const QByteArray &content) const
{
    QFile file(path(name));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush());
    return file.fileName();
}

QString DecodeFixture::generate(const QString &name, const char *options) const
{
    EXPECT_TRUE(FfmpegTool::run(QString::fromLatin1(options).split(' ') << path(name))) << options;
    return path(name);
}

QByteArray DecodeFixture::read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray DecodeFixture::framemd5(const QString &directory, const std::string &stem, const std::string &kind)
{
    return read(directory + '/' + QString::fromStdString(stem + '.' + kind + ".framemd5"));
}

void DecodeFixture::forEachStream(const HostRun &run, const QStringList &files, const QString &directory,
                                  const Check &check, int copies)
{
    InputNames names;
    for (const QString &file : files) {
        for (int copy = 0; copy < copies; ++copy) {
            const InputNames::Name name = names.next(file.toStdString(), std::string());
            SCOPED_TRACE(name.shown);
            const QJsonArray streams = run.input(name.shown)["streams"].toArray();
            EXPECT_GT(streams.size(), 0);
            for (const QJsonValue &stream : streams) {
                const std::string kind = stream["kind"].toString().toStdString();
                SCOPED_TRACE(kind);
                check({file, streams, stream.toObject(), framemd5(directory, name.stem, kind)});
            }
        }
    }
}

void DecodeFixture::expectFramesOfTool(const HostRun &run, const QStringList &files, const QString &directory,
                                       int copies)
{
    const auto check = [](const Decoded &decoded) {
        const auto expected = ToolFrames::hashes(ToolFrames::framemd5(decoded.file, decoded.streams, decoded.kind()));
        EXPECT_FALSE(expected.empty());
        EXPECT_TRUE(ToolFrames::hashes(decoded.framemd5) == expected) << "a frame differs, or their number";
        EXPECT_EQ(decoded.stream["frames"].toInt(), static_cast<int>(expected.size()));
    };
    forEachStream(run, files, directory, check, copies);
}
