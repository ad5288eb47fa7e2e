#include "FfmpegTool.h"

#include <QProcess>
#include <QStandardPaths>

bool FfmpegTool::isInstalled()
{
    return !QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty();
}

std::optional<QByteArray> FfmpegTool::run(const QStringList &arguments)
{
    constexpr int timeoutMs = 100000;
    QProcess process;
    process.start(QStringLiteral("ffmpeg"), QStringList{QStringLiteral("-nostdin"), QStringLiteral("-loglevel"),
                                                        QStringLiteral("quiet"), QStringLiteral("-y")} +
                                                arguments);
    if (!process.waitForFinished(timeoutMs) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return std::nullopt;
    return process.readAllStandardOutput();
}

std::vector<std::string> FfmpegTool::pictureHashes(const QString &path, int streamIndex)
{
    const auto output = run({"-threads", "1", "-i", path, "-map", QStringLiteral("0:%1").arg(streamIndex), "-vsync",
                             "passthrough", "-autoscale", "0", "-f", "framemd5", "-"});
    std::vector<std::string> hashes;
    for (const QByteArray &line : output.value_or(QByteArray()).split('\n')) {
        const QList<QByteArray> fields = line.split(',');
        if (!line.startsWith('#') && fields.size() == 6)
            hashes.push_back((fields[4].trimmed() + ' ' + fields[5].trimmed()).toStdString());
    }
    return hashes;
}

std::string FfmpegTool::samplesHash(const QString &path, int streamIndex, const QString &codec)
{
    const auto output = run({"-threads", "1", "-i", path, "-map", QStringLiteral("0:%1").arg(streamIndex), "-c:a",
                             codec, "-f", "md5", "-"});
    return output.value_or(QByteArray()).trimmed().mid(int(sizeof "MD5=") - 1).toStdString();
}
