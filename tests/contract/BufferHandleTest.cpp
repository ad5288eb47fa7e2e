#include <cstdint>

#include "interfaces/AudioSampleHandle.h"
#include "interfaces/VideoFrameHandle.h"
#include <gmock/gmock.h>

TEST(BufferHandle, IsOnePointerWide)
{
    EXPECT_EQ(sizeof(VideoFrameHandle), sizeof(void *));
    EXPECT_EQ(sizeof(AudioSampleHandle), sizeof(void *));
}

TEST(BufferHandle, DefaultConstructedIsANullBlock)
{
    EXPECT_TRUE(VideoFrameHandle().isNull());
    EXPECT_TRUE(AudioSampleHandle().isNull());
    EXPECT_TRUE(VideoFrameHandle(nullptr).isNull());
}

TEST(BufferHandle, CountsTheHandlesOfARecord)
{
    VideoFrameBuffer *const record = new VideoFrameBuffer;
    EXPECT_EQ(record->refCount, 0);
    VideoFrameHandle first(record);
    EXPECT_EQ(record->refCount, 1);
    {
        const VideoFrameHandle second(first); // NOLINT(performance-unnecessary-copy-initialization)
        EXPECT_EQ(record->refCount, 2);
        const VideoFrameHandle third(record);
        EXPECT_EQ(record->refCount, 3);
    }
    EXPECT_EQ(record->refCount, 1);
    const VideoFrameHandle &same = first;
    first = same;
    EXPECT_EQ(record->refCount, 1);
    EXPECT_EQ(first.data(), record);
    EXPECT_EQ(&*first, record);
    EXPECT_EQ(first->size, 0U);
}

TEST(BufferHandle, AssignmentReleasesTheOldRecord)
{
    VideoFrameBuffer *const kept = new VideoFrameBuffer;
    VideoFrameHandle target(new VideoFrameBuffer);
    target = VideoFrameHandle(kept);
    EXPECT_EQ(kept->refCount, 1);
    target = VideoFrameHandle();
    EXPECT_TRUE(target.isNull());
}

// That the data is given back, and once only, is for the leak and address sanitizers to see.
TEST(BufferHandle, LastHandleGivesTheDataBack)
{
    VideoFrameBuffer *const frame = new VideoFrameBuffer;
    frame->size = 1000;
    frame->data = slab::bigBlockAllocate(frame->size);
    slab::bigBlockRetain(frame->data);
    void *const data = frame->data;
    {
        const VideoFrameHandle handle(frame);
    }
    // The reference retained above still holds the block.
    static_cast<char *>(data)[999] = 1;
    slab::bigBlockDeallocate(data, 1000);

    AudioSampleBuffer *const samples = new AudioSampleBuffer;
    samples->data = new char[100];
    const AudioSampleHandle handle(samples);
    EXPECT_EQ(handle->refCount, 1);
}
