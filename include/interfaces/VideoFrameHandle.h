#ifndef INTERFACES_VIDEOFRAMEHANDLE_H
#define INTERFACES_VIDEOFRAMEHANDLE_H

#include "interfaces/BufferHandle.h"
#include "interfaces/VideoFrameBuffer.h"

/// Shares one decoded video record: see BufferHandle. Null: a null block.
class VideoFrameHandle : public BufferHandle<VideoFrameBuffer> {
public:
    using BufferHandle::BufferHandle;
};

#endif
