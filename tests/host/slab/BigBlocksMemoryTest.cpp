#include <cstring>
#include <deque>
#include <fstream>
#include <memory>
#include <vector>

#include "interfaces/BigBlocks.h"
#include "slab/BigBlockCounts.h"
#include "slab/BlockOwner.h"
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

TEST(BigBlocks, OfOwnersThatTakeTurnsAreUsedAgainByEach)
{
    std::deque<slab::BlockOwner> owners(40);
    std::vector<void *> frames;
    for (slab::BlockOwner &owner : owners) {
        frames.push_back(owner.allocate(frameBytes));
        slab::bigBlockDeallocate(frames.back(), frameBytes);
    }
    for (std::size_t index = 0; index < owners.size(); ++index) {
        void *const frame = owners[index].allocate(frameBytes);
        EXPECT_EQ(frame, frames[index]);
        slab::bigBlockDeallocate(frame, frameBytes);
    }
}

TEST(BigBlocks, OfOwnersGoBackToTheSystemExceptForAFewOnceTheOwnersEnd)
{
    const qint64 beforeBytes = residentBytes();
    std::deque<slab::BlockOwner> owners(20);
    std::vector<void *> frames;
    for (slab::BlockOwner &owner : owners) {
        for (int index = 0; index < 3; ++index) {
            frames.push_back(owner.allocate(frameBytes));
            std::memset(frames.back(), 0x5a, frameBytes);
        }
    }
    for (std::size_t index = 0; index < 2 * owners.size(); ++index)
        slab::bigBlockDeallocate(frames[index], frameBytes);
    owners.clear();
    // As much as is live, and the fixed amount.
    EXPECT_LE(residentBytes() - beforeBytes, 2 * 20LL * frameBytes + 24LL * 1024 * 1024);
    for (std::size_t index = 40; index < frames.size(); ++index)
        slab::bigBlockDeallocate(frames[index], frameBytes);
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

TEST(BigBlocksDeathTest, OfAnOwnerAreNullWithoutMemoryAndThenNotCounted)
{
    const auto allocate = [] {
        limitAddresses(1U << 28);
        auto owner = std::make_unique<slab::BlockOwner>();
        const bool isNull = !owner->allocate(1U << 30) && slab::liveBlockCount() == 0 && slab::liveByteCount() == 0;
        void *const late = owner->allocate(frameBytes);
        owner.reset();
        slab::bigBlockDeallocate(late, frameBytes);
        std::_Exit(isNull && late ? 0 : 1);
    };
    EXPECT_EXIT(allocate(), testing::ExitedWithCode(0), "");
}

TEST(BigBlocksDeathTest, TakeTheAddressesOfIdleBlocksOfOtherOwnersWhenNoOthersAreLeft)
{
    const auto allocate = [] {
        slab::BlockOwner rich;
        slab::BlockOwner poor;
        std::vector<void *> frames;
        for (int index = 0; index < 3; ++index)
            frames.push_back(std::memset(rich.allocate(frameBytes), 0x5a, frameBytes));
        limitAddresses(2 * frameBytes);
        for (void *const frame : frames)
            slab::bigBlockDeallocate(frame, frameBytes);
        std::_Exit(poor.allocate(4 * frameBytes) ? 0 : 1);
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
