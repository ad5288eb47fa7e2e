#ifndef HOST_SESSION_FRAMEMEMORY_H
#define HOST_SESSION_FRAMEMEMORY_H

#include "format/PictureHeader.h"
#include "format/SamplesHeader.h"
#include "interfaces/AudioSampleHandle.h"
#include "interfaces/VideoFrameHandle.h"
#include <decoding/AudioFrame.h>
#include <decoding/VideoFrame.h>

namespace decoding {

/// What the copies of a frame share: one reference to a record, which begins with a header of this host. Converted
/// frames lie in records too, so that all frames are alike.
class __attribute__((visibility("hidden"))) VideoFrame::Memory {
public:
    explicit Memory(const VideoFrameHandle &record)
        : _record(record)
    {
    }

    const PictureHeader &header() const { return *static_cast<const PictureHeader *>(_record->data); }

private:
    const VideoFrameHandle _record;
};

class __attribute__((visibility("hidden"))) AudioFrame::Memory {
public:
    explicit Memory(const AudioSampleHandle &record)
        : _record(record)
    {
    }

    const SamplesHeader &header() const { return *reinterpret_cast<const SamplesHeader *>(_record->data); }

private:
    const AudioSampleHandle _record;
};

/// @param record one for which PictureHeader::of, or SamplesHeader::of, gives a header. @return a frame that shares it.
VideoFrame makeFrame(const VideoFrameHandle &record);
AudioFrame makeFrame(const AudioSampleHandle &record);

} // namespace decoding

#endif
