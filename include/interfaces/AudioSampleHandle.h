#ifndef INTERFACES_AUDIOSAMPLEHANDLE_H
#define INTERFACES_AUDIOSAMPLEHANDLE_H

#include "interfaces/AudioSampleBuffer.h"
#include "interfaces/BufferHandle.h"

/// Shares one decoded audio record: see BufferHandle. Null: a null block.
class AudioSampleHandle : public BufferHandle<AudioSampleBuffer> {
public:
    using BufferHandle::BufferHandle;
};

#endif
