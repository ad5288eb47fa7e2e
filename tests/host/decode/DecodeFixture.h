#ifndef HOST_DECODE_TESTS_DECODEFIXTURE_H
#define HOST_DECODE_TESTS_DECODEFIXTURE_H

#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <string>
#include <vector>

#include "HostRun.h"
#include "ToolFrames.h"
#include <gtest/gtest.h>

/// Tests that run `decoding-host decode` and look at the files that it writes.
class DecodeFixture : public testing::Test {
protected:
    DecodeFixture();

    /// One of the project's own sample clips.
    static QString sample(const char *fileName);
    static QStringList samples();
    /// The files of the folder that the environment variable DECODING_MEDIA_DIR names; none without it.
    static QStringList mediaFiles();

    /// @return a path within a directory that goes with this object.
    QString path(const QString &name) const { return _folder.filePath(name); }
    /// Makes a file with this content. @return its path.
    QString write(const QString &name, const QByteArray &content) const;
    /// Makes a clip with the ffmpeg tool. @param options separated by blanks. @return its path; fails the test on
    /// failure.
    QString generate(const QString &name, const char *options) const;

    static QByteArray read(const QString &path);
    /// The framemd5 file in @p directory of a stream of the input whose output files begin with @p stem.
    static QByteArray framemd5(const QString &directory, const std::string &stem, const std::string &kind);

    /// One stream that was decoded to a framemd5 file.
    struct Decoded {
        QString file;
        QJsonArray streams; // of the input, from the report
        QJsonObject stream; // one of these
        QByteArray framemd5;

        std::string kind() const { return stream["kind"].toString().toStdString(); }
    };
    using Check = std::function<void(const Decoded &)>;
    /// Calls @p check for each stream of each of @p files, which @p run has decoded to framemd5 files in @p directory,
    /// each as often as @p copies. Fails when an input is missing in the report, or has no stream.
    static void forEachStream(const HostRun &run, const QStringList &files, const QString &directory,
                              const Check &check, int copies = 1);
    /// Fails unless the frames of all streams are those of the ffmpeg tool.
    static void expectFramesOfTool(const HostRun &run, const QStringList &files, const QString &directory,
                                   int copies = 1);

private:
    const QTemporaryDir _folder;
};

/// What says why a test of the media folder is skipped.
constexpr char noMediaFolder[] = "the environment variable DECODING_MEDIA_DIR names no folder of media files";

#endif
