#ifndef HOST_SINKS_FFMPEGTOOL_H
#define HOST_SINKS_FFMPEGTOOL_H

#include <QByteArray>

#include <string>

/// The command line tools of FFmpeg: they make clips, and say what a sink's files are to hold.
namespace FfmpegTool {

/// Runs `ffmpeg -v error -y` with @p arguments, which the shell reads. @return its standard output; the running test
/// fails when the tool does.
QByteArray run(const std::string &arguments);

/// @return what the tool writes as framemd5 for the stream @p specifier of the file @p path, such as "0:v".
QByteArray frameMd5(const std::string &path, const std::string &specifier);

} // namespace FfmpegTool

#endif
