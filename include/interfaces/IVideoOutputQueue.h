#ifndef INTERFACES_IVIDEOOUTPUTQUEUE_H
#define INTERFACES_IVIDEOOUTPUTQUEUE_H

#include <QtGlobal>

#include "interfaces/VideoFrameHandle.h"

/// Where one consumer receives decoded frames. Implemented by the consumer; shared by ModkitPtr, and held by the
/// stream decoder until the consumer drops its handle.
class IVideoOutputQueue {
public:
    virtual ~IVideoOutputQueue() = default;

    /// Takes one decoded frame record. Called on a decoder thread by the codec decoder or the stream decoder; a queue
    /// that serves several streams is called from several threads. The stream decoder's output lock is held: push must
    /// return soon, must not throw, and neither it nor the queue's destructor may call the decoding manager, nor create
    /// or drop decoder handles.
    /// @param frame shared with the other outputs of the stream, so read only. A null handle is a null block: a break
    ///        in the stream (the end of an input, or a change of codec), after which decoding starts afresh.
    /// @param timestamp as the codec gives it; 0 with a null block.
    /// @param blockTime milliseconds, as the codec gives it; 0 with a null block.
    virtual void push(const VideoFrameHandle &frame, qint64 timestamp, qint64 blockTime) = 0;
};

#endif
