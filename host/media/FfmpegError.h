#ifndef HOST_MEDIA_FFMPEGERROR_H
#define HOST_MEDIA_FFMPEGERROR_H

#include <string>

/// @return what an error code of FFmpeg's libraries means, in a few words. Thread-safe.
[[nodiscard]] std::string ffmpegErrorText(int error);

#endif
