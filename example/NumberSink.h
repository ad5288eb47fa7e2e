#ifndef EXAMPLE_NUMBERSINK_H
#define EXAMPLE_NUMBERSINK_H

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>

#include "interfaces/IVideoOutputQueue.h"

/// Counts the frames that come in their order. Thread-safe.
class NumberSink final : public IVideoOutputQueue {
public:
    void push(const VideoFrameHandle &frame, qint64 /*timestamp*/, qint64 /*blockTime*/) override
    {
        if (frame.isNull())
            return;
        quint32 number;
        std::memcpy(&number, frame->data, sizeof number);
        const std::lock_guard<std::mutex> lock(_mutex);
        if (number == _inOrder)
            ++_inOrder;
        _changed.notify_all();
    }

    /// Waits until @p count frames have come in order, or @p time is over. @return how many have.
    quint32 waitFor(quint32 count, std::chrono::milliseconds time)
    {
        std::unique_lock<std::mutex> lock(_mutex);
        _changed.wait_for(lock, time, [&] { return _inOrder >= count; });
        return _inOrder;
    }

private:
    std::mutex _mutex;
    std::condition_variable _changed;
    quint32 _inOrder = 0; // guarded by _mutex
};

#endif
