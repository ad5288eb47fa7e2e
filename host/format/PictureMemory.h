#ifndef HOST_FORMAT_PICTUREMEMORY_H
#define HOST_FORMAT_PICTUREMEMORY_H

#include "format/PictureHeader.h"
#include "interfaces/VideoFrameHandle.h"

struct AVCodecContext;
struct AVFrame;

namespace slab {
class BlockOwner;
}

/// Pictures in big blocks: a PictureHeader, then the planes, each plane and each row aligned to 64 bytes. libavcodec
/// decodes straight into such a block, and the record that consumers get holds a second reference to it, so that the
/// block lives as long as either of them.
///
/// Codecs leave parts of damaged pictures as they find them, and write next to nothing into the padding of rows and
/// planes. So the blocks of a codec are of a slab::BlockOwner: what stands there are zeros, or bytes of its own earlier
/// pictures. Reentrant.
namespace PictureMemory {

/// Makes @p codec, of video and not opened yet, take its pictures' memory from @p owner, which lives as long as the
/// codec. The buffers are read-only in libavcodec's eyes, because it does not see the records' owners: a codec that
/// changes the picture before last draws a new one instead.
void use(slab::BlockOwner &owner, AVCodecContext *codec);

/// @return a new record of @p frame's picture, which @p codec has decoded, described by @p description except for its
///         size and planes. The picture is copied if it is elsewhere, or was shared before: consumers may be reading
///         it, under its first description. Null when there is no memory.
VideoFrameHandle share(const AVCodecContext &codec, const AVFrame &frame, const PictureHeader &description);

/// @return a new record for a picture that is described by @p description except for its size and planes, as long as
///         nobody else has the record to be written to. What lies between the rows is 0. Null when there is no memory
///         for such a picture, or no such picture.
VideoFrameHandle create(const PictureHeader &description);

} // namespace PictureMemory

#endif
