#ifndef HOST_SINKS_PICTUREFRAME_H
#define HOST_SINKS_PICTUREFRAME_H

#include "format/PictureHeader.h"
#include "media/AvPointers.h"

/// @return @p picture as a frame that refers to its bytes and owns nothing; null when the header does not describe a
/// picture.
AvPointer<AVFrame> frameOf(const PictureHeader &picture);

#endif
