#include "ToolFrames.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTemporaryDir>

#include "host/format/FfmpegTool.h"

namespace {

/// @return a name that differs when the tool, its arguments or the file's content do.
QString cacheName(const QString &path, const QStringList &arguments)
{
    const QFileInfo tool(QStandardPaths::findExecutable(QStringLiteral("ffmpeg")));
    QCryptographicHash hash(QCryptographicHash::Md5);
    hash.addData(tool.canonicalFilePath().toUtf8() + tool.lastModified().toString(Qt::ISODateWithMs).toUtf8());
    hash.addData(arguments.join('\n').toUtf8());
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        hash.addData(&file);
    return QDir(QStringLiteral(REFERENCES_DIR)).filePath(QString::fromLatin1(hash.result().toHex()));
}

QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void keep(const QString &name, const QByteArray &text)
{
    QDir().mkpath(QStringLiteral(REFERENCES_DIR));
    QSaveFile file(name); // several test programs may keep the same
    if (!text.isEmpty() && file.open(QIODevice::WriteOnly) && file.write(text) == text.size())
        file.commit();
}

} // namespace

QByteArray ToolFrames::framemd5(const QString &path, const QJsonArray &streams, const std::string &kind,
                                const QStringList &videoOptions)
{
    const QTemporaryDir folder;
    QStringList options;
    for (const QJsonValue &stream : streams) {
        const QString its = stream["kind"].toString();
        options += QStringList{"-map", QStringLiteral("0:%1").arg(stream["index"].toInt())};
        if (its == "video")
            options += QStringList{"-vsync", "passthrough", "-autoscale", "0"} + videoOptions;
        options += QStringList{"-bitexact", "-f", "framemd5", its};
    }

    const QString name = cacheName(path, options) + '.';
    const QString wanted = name + QString::fromStdString(kind);
    if (!QFile::exists(wanted)) {
        options.replaceInStrings(QRegularExpression("^(video|audio)$"), folder.filePath("\\1"));
        if (!FfmpegTool::run(QStringList{"-threads", "1", "-i", path} + options))
            return QByteArray();
        for (const QJsonValue &stream : streams) {
            const QString its = stream["kind"].toString();
            keep(name + its, read(folder.filePath(its)));
        }
    }
    return read(wanted);
}

std::vector<std::string> ToolFrames::hashes(const QByteArray &text)
{
    std::vector<std::string> hashes;
    for (const QByteArray &line : text.split('\n')) {
        const QList<QByteArray> fields = line.split(',');
        if (!line.startsWith('#') && fields.size() == 6)
            hashes.push_back((fields[4].trimmed() + ' ' + fields[5].trimmed()).toStdString());
    }
    return hashes;
}
