#ifndef HOST_FORMAT_PICTUREMEMORY_H
#define HOST_FORMAT_PICTUREMEMORY_H

#include "format/PictureHeader.h"
#include "interfaces/VideoFrameHandle.h"

struct AVCodecContext;
struct AVFrame;

/// Pictures in blocks of the platform's big-block allocator: a PictureHeader, then the planes, each plane and each row
/// aligned to 64 bytes. libavcodec decodes straight into such a block, and the record that consumers get becomes a
/// second owner of it, so that the block lives as long as either of them. Reentrant.
namespace PictureMemory {

/// For AVCodecContext::get_buffer2 of video codecs. The buffer is read-only in libavcodec's eyes, because it does not
/// see the records' owners: a codec that changes the picture before last draws a new one instead.
int getBuffer(AVCodecContext *codec, AVFrame *frame, int flags);

/// @return a new record of @p frame's picture, described by @p description but for its size and planes. The picture is
///         copied if it is elsewhere, or was shared before: consumers may be reading it, under its first description.
///         Null when there is no memory.
VideoFrameHandle share(const AVFrame &frame, const PictureHeader &description);

/// @return a new record for a picture that is described by @p description but for its size and planes, as long as
///         nobody else has the record to be written to. What lies between the rows is 0. Null when there is no memory
///         for such a picture, or no such picture.
VideoFrameHandle create(const PictureHeader &description);

} // namespace PictureMemory

#endif
