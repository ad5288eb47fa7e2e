#ifndef INTERFACES_IAUDIOOUTPUTQUEUE_H
#define INTERFACES_IAUDIOOUTPUTQUEUE_H

#include <QtGlobal>

#include "interfaces/AudioSampleHandle.h"

/// Where one consumer receives decoded sample buffers. Implemented by the consumer; shared by ModkitPtr, and held by
/// the stream decoder until the consumer drops its handle.
class IAudioOutputQueue {
public:
    virtual ~IAudioOutputQueue() = default;

    /// Takes one decoded samples record. Called on a decoder thread by the codec decoder or the stream decoder; a
    /// queue that serves several streams is called from several threads. The stream decoder's output lock is held:
    /// push must return soon, must not throw, and neither it nor the queue's destructor may call the decoding
    /// manager, nor create or drop decoder handles.
    /// @param samples shared with the other outputs of the stream, so read only. A null handle is a null block: a
    ///        break in the stream (the end of an input, or a change of codec), after which decoding starts afresh.
    /// @param timestamp as the codec gives it; 0 with a null block.
    /// @param blockTime milliseconds, as the codec gives it; 0 with a null block.
    virtual void push(const AudioSampleHandle &samples, qint64 timestamp, qint64 blockTime) = 0;
};

#endif
