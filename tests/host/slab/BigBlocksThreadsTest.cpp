#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "interfaces/BigBlocks.h"
#include "slab/BigBlockCounts.h"
#include <gmock/gmock.h>

namespace {

struct Frame {
    char *data;
    quint32 size;
    char stamp;
};

/// What one thread hands over to another one.
class FrameQueue {
public:
    void push(Frame frame)
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _frames.push_back(frame);
        _changed.notify_one();
    }
    /// Waits for a frame.
    Frame pop()
    {
        std::unique_lock<std::mutex> lock(_mutex);
        _changed.wait(lock, [this] { return !_frames.empty(); });
        const Frame frame = _frames.front();
        _frames.pop_front();
        return frame;
    }

private:
    std::mutex _mutex;
    std::condition_variable _changed;
    std::deque<Frame> _frames; // guarded by _mutex
};

constexpr int frameCount = 400;

bool isIntact(const Frame &frame)
{
    return frame.data[0] == frame.stamp && frame.data[frame.size / 2] == frame.stamp &&
           frame.data[frame.size - 1] == frame.stamp;
}

/// Gives every frame to two sinks.
void decode(FrameQueue &firstSink, FrameQueue &secondSink, int decoder)
{
    for (int count = 0; count < frameCount; ++count) {
        const quint32 size = 20000U << (count % 5);
        const auto stamp = static_cast<char>(count * 2 + decoder);
        const Frame frame{static_cast<char *>(slab::bigBlockAllocate(size)), size, stamp};
        std::memset(frame.data, stamp, size);
        slab::bigBlockRetain(frame.data);
        firstSink.push(frame);
        secondSink.push(frame);
    }
}

/// @return the number of frames that someone else has written to.
int countBroken(FrameQueue &sink)
{
    int broken = 0;
    for (int count = 0; count < 2 * frameCount; ++count) {
        const Frame frame = sink.pop();
        broken += isIntact(frame) ? 0 : 1;
        slab::bigBlockDeallocate(frame.data, frame.size);
    }
    return broken;
}

} // namespace

TEST(BigBlocksThreads, FramesStayIntactUntilTheLastOfTwoSinksGivesThemBack)
{
    FrameQueue firstSink;
    FrameQueue secondSink;
    int brokenInFirst = -1;
    int brokenInSecond = -1;
    std::thread threads[] = {
        std::thread([&] { decode(firstSink, secondSink, 0); }),
        std::thread([&] { decode(firstSink, secondSink, 1); }),
        std::thread([&] { brokenInFirst = countBroken(firstSink); }),
        std::thread([&] { brokenInSecond = countBroken(secondSink); }),
    };
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(brokenInFirst, 0);
    EXPECT_EQ(brokenInSecond, 0);
    EXPECT_EQ(slab::liveBlockCount(), 0U);
    EXPECT_EQ(slab::liveByteCount(), 0U);
}

TEST(BigBlocksThreads, OwnersComeAndGoOnSeveralThreadsWithoutLosingCount)
{
    void *const data = slab::bigBlockAllocate(100000);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([data] {
            for (int count = 0; count < 20000; ++count) {
                slab::bigBlockRetain(data);
                slab::bigBlockDeallocate(data, 100000);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(slab::liveBlockCount(), 1U);
    slab::bigBlockDeallocate(data, 100000);
    EXPECT_EQ(slab::liveBlockCount(), 0U);
}
