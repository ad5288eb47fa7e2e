#ifndef HOST_FORMAT_TESTS_GENERATEDCLIP_H
#define HOST_FORMAT_TESTS_GENERATEDCLIP_H

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <optional>
#include <ostream>
#include <string>

#include "FfmpegTool.h"

/// How the ffmpeg command makes a short clip of moving test pictures, or of a tone, in one codec.
struct Recipe {
    const char *name;
    const char *fileName;
    const char *encoding;

    friend void PrintTo(const Recipe &recipe, std::ostream *stream) { *stream << recipe.name; }
};

/// A clip in a temporary directory of its own, gone with this object.
class GeneratedClip {
public:
    static constexpr const char *pictures = "-f lavfi -i testsrc2=size=352x288:rate=25:duration=1.2";
    static constexpr const char *tone = "-f lavfi -i sine=frequency=700:sample_rate=48000:duration=1.3 -ac 2";

    /// @param source and @p encoding options of the ffmpeg command, separated by blanks.
    GeneratedClip(const char *source, const char *encoding, const char *fileName)
        : _path(_directory.filePath(QString::fromLatin1(fileName)))
    {
        QStringList arguments = QString::fromLatin1(source).split(' ') + QString::fromLatin1(encoding).split(' ');
        arguments << _path;
        _isMade = FfmpegTool::run(arguments).has_value();
    }

    /// False when this ffmpeg command has no such encoder.
    bool isMade() const { return _isMade; }
    QString path() const { return _path; }

private:
    QTemporaryDir _directory;
    QString _path;
    bool _isMade = false;
};

#endif
