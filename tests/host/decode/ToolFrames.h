#ifndef HOST_DECODE_TESTS_TOOLFRAMES_H
#define HOST_DECODE_TESTS_TOOLFRAMES_H

#include <QByteArray>
#include <QJsonArray>
#include <QStringList>

#include <string>
#include <vector>

/// What the ffmpeg tool decodes, which is what is to come out of the host. Kept in the build directory, so that all
/// test programs together ask the tool once.
namespace ToolFrames {

/// @param streams of the file at @p path that are decoded together, as the host's report tells them: which ones there
///         are
///        decides what time 0 is in some containers. @param kind of the one that is asked for: "video" or "audio".
/// @param videoOptions of the tool, for pictures alone.
/// @return the framemd5 file that the tool makes of it; empty when it fails.
QByteArray framemd5(const QString &path, const QJsonArray &streams, const std::string &kind,
                    const QStringList &videoOptions = QStringList());

/// @return "SIZE MD5" of each frame in the framemd5 file @p text.
std::vector<std::string> hashes(const QByteArray &text);

} // namespace ToolFrames

#endif
