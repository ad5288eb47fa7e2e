#include <utility>
#include <vector>

#include "interfaces/AudioSampleHandle.h"
#include "interfaces/VideoFrameHandle.h"
#include <gmock/gmock.h>

namespace {

std::vector<std::pair<void *, quint32>> givenBack;

} // namespace

// In place of the allocator's.
void slab::bigBlockDeallocate(void *data, quint32 size)
{
    givenBack.emplace_back(data, size);
}

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

TEST(BufferHandle, LastHandleGivesTheFrameDataBackOnceWithItsSize)
{
    givenBack.clear();
    int picture = 0;
    VideoFrameBuffer *const frame = new VideoFrameBuffer;
    frame->data = &picture;
    frame->size = 4000000000U;
    {
        const VideoFrameHandle handle(frame);
        const VideoFrameHandle copy(handle); // NOLINT(performance-unnecessary-copy-initialization)
        EXPECT_THAT(givenBack, testing::IsEmpty());
    }
    EXPECT_THAT(givenBack, testing::ElementsAre(std::make_pair(static_cast<void *>(&picture), 4000000000U)));
}

TEST(BufferHandle, RecordWithoutDataGivesNothingBack)
{
    givenBack.clear();
    {
        const VideoFrameHandle handle(new VideoFrameBuffer);
    }
    EXPECT_THAT(givenBack, testing::IsEmpty());
}

// That the samples are freed, and once only, is for the leak and address sanitizers to see.
TEST(BufferHandle, LastHandleFreesTheSamples)
{
    AudioSampleBuffer *const samples = new AudioSampleBuffer;
    samples->data = new char[100];
    const AudioSampleHandle handle(samples);
    EXPECT_EQ(handle->refCount, 1);
}
