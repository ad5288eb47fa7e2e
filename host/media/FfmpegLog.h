#ifndef HOST_MEDIA_FFMPEGLOG_H
#define HOST_MEDIA_FFMPEGLOG_H

#include <cstdarg>

/// The messages of the FFmpeg libraries, which take one receiver for the whole process. From the first taker on they
/// are shown nowhere. Thread-safe.
namespace FfmpegLog {

/// Given each message where it is written, on any thread, as libavutil gives it. Must not throw.
using Taker = void (*)(void *sender, int level, const char *format, va_list arguments);

/// The parts of the host that take messages, each of its own.
enum class Of { Inputs, Codecs };

/// Has @p taker given all messages from now on, in place of the one before of the same part.
void take(Of part, Taker taker);

} // namespace FfmpegLog

#endif
