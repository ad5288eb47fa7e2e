#include <cstring>
#include <fstream>
#include <vector>

#include "interfaces/BigBlocks.h"
#include "slab/BigBlockCounts.h"
#include <gmock/gmock.h>
#include <sys/resource.h>

namespace {

constexpr std::size_t frameBytes = 1920 * 1080 * 3 / 2;

long statm(int field)
{
    std::ifstream file("/proc/self/statm");
    long pages = 0;
    for (int at = 0; at <= field; ++at)
        file >> pages;
    return pages;
}

/// @return the bytes of the process that lie in memory.
qint64 residentBytes()
{
    return qint64(statm(1)) * 4096;
}

/// Leaves the process addresses for @p bytes more than it has.
void limitAddresses(std::size_t bytes)
{
    rlimit limit{};
    getrlimit(RLIMIT_AS, &limit);
    limit.rlim_cur = static_cast<rlim_t>(statm(0)) * 4096 + bytes;
    setrlimit(RLIMIT_AS, &limit);
}

std::vector<void *> writtenFrames(std::size_t count)
{
    std::vector<void *> frames;
    for (std::size_t frame = 0; frame < count; ++frame) {
        frames.push_back(slab::bigBlockAllocate(frameBytes));
        std::memset(frames.back(), 0x5a, frameBytes);
    }
    return frames;
}

} // namespace

TEST(BigBlocks, AreUsedAgainForTheSameSize)
{
    void *const frame = slab::bigBlockAllocate(frameBytes);
    slab::bigBlockDeallocate(frame, frameBytes);
    void *const other = slab::bigBlockAllocate(frameBytes / 4);
    EXPECT_NE(other, frame);
    EXPECT_EQ(slab::bigBlockAllocate(frameBytes), frame);
    slab::bigBlockDeallocate(frame, frameBytes);
    slab::bigBlockDeallocate(other, frameBytes / 4);
}

TEST(BigBlocks, GoBackToTheSystemExceptForAFew)
{
    const qint64 beforeBytes = residentBytes();
    const std::vector<void *> frames = writtenFrames(60);
    EXPECT_GE(residentBytes() - beforeBytes, 59LL * frameBytes);
    for (void *const frame : frames)
        slab::bigBlockDeallocate(frame, frameBytes);
    EXPECT_LE(residentBytes() - beforeBytes, 24LL * 1024 * 1024);
}

TEST(BigBlocksDeathTest, AreNullWithoutMemoryAndThenNotCounted)
{
    const auto allocate = [] {
        limitAddresses(1U << 28);
        const bool isNull = !slab::bigBlockAllocate(1U << 30) && slab::liveBlockCount() == 0 &&
                            slab::liveByteCount() == 0 && slab::bigBlockAllocate(frameBytes);
        std::_Exit(isNull ? 0 : 1);
    };
    EXPECT_EXIT(allocate(), testing::ExitedWithCode(0), "");
}

TEST(BigBlocksDeathTest, TakeTheAddressesOfIdleBlocksWhenNoOthersAreLeft)
{
    const auto allocate = [] {
        const std::vector<void *> frames = writtenFrames(3);
        limitAddresses(2 * frameBytes);
        for (void *const frame : frames)
            slab::bigBlockDeallocate(frame, frameBytes);
        std::_Exit(slab::bigBlockAllocate(4 * frameBytes) ? 0 : 1);
    };
    EXPECT_EXIT(allocate(), testing::ExitedWithCode(0), "");
}
