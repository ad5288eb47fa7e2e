#ifndef INTERFACES_VIDEOFRAMEBUFFER_H
#define INTERFACES_VIDEOFRAMEBUFFER_H

#include <QtGlobal>

#include <atomic>
#include <cstdint>

#include "interfaces/BigBlocks.h"

/// The record behind one decoded picture, made with `new` by a codec decoder and shared by VideoFrameHandle. How the
/// picture lies in its bytes is between the codec decoder and the consumers.
struct VideoFrameBuffer {
    /// Handles to this record; 0 in a fresh one.
    std::atomic<std::int32_t> refCount{0};
    /// The picture's bytes, from slab::bigBlockAllocate; null in a record without bytes.
    void *data = nullptr;
    /// Size in bytes that was asked for, and that is given back with @ref data.
    quint32 size = 0;

    /// Called once, by the last handle.
    void giveBackData()
    {
        if (data)
            slab::bigBlockDeallocate(data, size);
    }
};

#endif
