#ifndef HOST_FORMAT_TESTS_FFMPEGTOOL_H
#define HOST_FORMAT_TESTS_FFMPEGTOOL_H

#include <QByteArray>
#include <QStringList>

#include <optional>
#include <string>
#include <vector>

/// The ffmpeg command, which makes clips for these tests and tells what is to come out of them.
namespace FfmpegTool {

bool isInstalled();

/// @return its standard output; nothing when it failed.
std::optional<QByteArray> run(const QStringList &arguments);

/// @return "SIZE MD5" of each picture of a stream, as libavcodec makes them.
std::vector<std::string> pictureHashes(const QString &path, int streamIndex);

/// @return the MD5 of all samples of a stream, interleaved, as the @p codec of raw samples stores them.
std::string samplesHash(const QString &path, int streamIndex, const QString &codec);

} // namespace FfmpegTool

#endif
