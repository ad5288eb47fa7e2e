#ifndef HOST_SINKS_PICTURECONVERSION_H
#define HOST_SINKS_PICTURECONVERSION_H

#include "format/PictureHeader.h"
#include "media/AvPointers.h"

/// Scales pictures and changes their pixel format, with libswscale. Colours keep the range and the matrix that the
/// picture names, BT.601 where it names none. Thread-safe.
///
/// Preparing a scaler takes as long as scaling a small picture, so each thread keeps those that it used last, until it
/// ends.
namespace PictureConversion {

/// @return whether pictures can be converted to @p pixelFormat at all; those that have it already always can.
[[nodiscard]] bool isPossible(AVPixelFormat pixelFormat);

/// @return what is to be said of @p picture once it is converted: all but where its planes are.
[[nodiscard]] PictureHeader description(const PictureHeader &picture, AVPixelFormat pixelFormat, int width, int height);

/// Writes @p picture into @p target, whose format, size and planes are set. @return whether that was possible.
[[nodiscard]] bool convert(const PictureHeader &picture, AVFrame &target);

} // namespace PictureConversion

#endif
