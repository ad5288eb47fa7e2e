#include "slab/BlockOwner.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "interfaces/BigBlocks.h"
#include "slab/BigBlockCounts.h"
#include <gmock/gmock.h>

namespace {

using slab::BlockOwner;

constexpr quint32 pictureBytes = 1280 * 720 * 3 / 2;
// Of the same size class.
constexpr quint32 longerBytes = pictureBytes + 4096;

char *allocate(BlockOwner &owner, quint32 size = pictureBytes)
{
    return static_cast<char *>(owner.allocate(size));
}

bool holdsOnly(const char *data, quint32 size, char value)
{
    return std::all_of(data, data + size, [value](char byte) { return byte == value; });
}

/// Blocks of nobody that hold @p value, given back again.
void leaveBehind(char value, quint32 size, int count)
{
    std::vector<void *> blocks;
    for (int index = 0; index < count; ++index)
        blocks.push_back(std::memset(slab::bigBlockAllocate(size), value, size));
    for (void *const block : blocks)
        slab::bigBlockDeallocate(block, size);
}

class BlockOwnerTest : public testing::Test {
protected:
    void TearDown() override
    {
        EXPECT_EQ(slab::liveBlockCount(), 0U);
        EXPECT_EQ(slab::liveByteCount(), 0U);
    }
};

} // namespace

TEST_F(BlockOwnerTest, FindsZerosWhereNobodyOrAnotherOwnerHasWritten)
{
    leaveBehind('a', longerBytes, 3);
    {
        BlockOwner other;
        char *const block = allocate(other, longerBytes);
        std::memset(block, 'b', longerBytes);
        slab::bigBlockDeallocate(block, longerBytes);
    }
    BlockOwner owner;
    std::vector<char *> blocks;
    for (int index = 0; index < 6; ++index) {
        blocks.push_back(allocate(owner));
        EXPECT_TRUE(holdsOnly(blocks.back(), pictureBytes, 0));
    }
    for (char *const block : blocks)
        slab::bigBlockDeallocate(block, pictureBytes);
}

TEST_F(BlockOwnerTest, FindsNothingOfOthersInALongerBlockOfTheClassLater)
{
    leaveBehind('a', longerBytes, 1);
    BlockOwner owner;
    char *block = allocate(owner);
    std::memset(block, 'o', pictureBytes);
    slab::bigBlockDeallocate(block, pictureBytes);
    block = allocate(owner, longerBytes);
    // All of it is zeros where the block is another one, as under AddressSanitizer.
    EXPECT_TRUE(holdsOnly(block, pictureBytes, block[0]));
    EXPECT_TRUE(block[0] == 'o' || block[0] == 0);
    EXPECT_TRUE(holdsOnly(block + pictureBytes, longerBytes - pictureBytes, 0));
    slab::bigBlockDeallocate(block, longerBytes);
}

TEST_F(BlockOwnerTest, FindsNothingOfALongerBlockThatWasAShorterOneSince)
{
    {
        BlockOwner other;
        char *const longer = allocate(other, longerBytes);
        std::memset(longer, 'b', longerBytes);
        slab::bigBlockDeallocate(longer, longerBytes);
        slab::bigBlockDeallocate(allocate(other), pictureBytes);
    }
    BlockOwner owner;
    char *const block = allocate(owner, longerBytes);
    EXPECT_TRUE(holdsOnly(block, longerBytes, 0));
    slab::bigBlockDeallocate(block, longerBytes);
}

TEST_F(BlockOwnerTest, IsGivenNoIdleBlockOfALivingOwner)
{
    BlockOwner first;
    BlockOwner second;
    char *const ofFirst = allocate(first);
    slab::bigBlockDeallocate(ofFirst, pictureBytes);
    char *const ofSecond = allocate(second);
    void *const ofNobody = slab::bigBlockAllocate(pictureBytes);
#ifndef __SANITIZE_ADDRESS__ // which keeps nothing idle, and may give the same address again
    EXPECT_NE(ofSecond, ofFirst);
    EXPECT_NE(ofNobody, ofFirst);
    char *const again = allocate(first);
    EXPECT_EQ(again, ofFirst);
    slab::bigBlockDeallocate(again, pictureBytes);
#endif
    slab::bigBlockDeallocate(ofSecond, pictureBytes);
    slab::bigBlockDeallocate(ofNobody, pictureBytes);
}

#ifndef __SANITIZE_ADDRESS__

TEST_F(BlockOwnerTest, GetsItsOwnBlockBackAsItIs)
{
    BlockOwner owner;
    char *block = allocate(owner);
    std::memset(block, 'o', pictureBytes);
    slab::bigBlockDeallocate(block, pictureBytes);
    leaveBehind('a', pictureBytes, 2);
    block = allocate(owner);
    EXPECT_TRUE(holdsOnly(block, pictureBytes, 'o'));
    slab::bigBlockDeallocate(block, pictureBytes);
}

TEST_F(BlockOwnerTest, LeavesItsBlocksToOthersThatFindThemCleared)
{
    auto first = std::make_unique<BlockOwner>();
    char *const idle = allocate(*first);
    char *const late = allocate(*first);
    std::memset(idle, 'i', pictureBytes);
    std::memset(late, 'l', pictureBytes);
    slab::bigBlockDeallocate(idle, pictureBytes);
    first.reset();

    BlockOwner second;
    char *const inherited = allocate(second);
    EXPECT_EQ(inherited, idle);
    EXPECT_TRUE(holdsOnly(inherited, pictureBytes, 0));
    EXPECT_TRUE(holdsOnly(late, pictureBytes, 'l'));
    slab::bigBlockDeallocate(late, pictureBytes);
    char *const inheritedLate = allocate(second);
    EXPECT_EQ(inheritedLate, late);
    EXPECT_TRUE(holdsOnly(inheritedLate, pictureBytes, 0));
    slab::bigBlockDeallocate(inherited, pictureBytes);
    slab::bigBlockDeallocate(inheritedLate, pictureBytes);
}

#endif

TEST_F(BlockOwnerTest, IsOutlivedByItsBlocks)
{
    auto owner = std::make_unique<BlockOwner>();
    char *const block = allocate(*owner);
    std::memset(block, 'o', pictureBytes);
    slab::bigBlockRetain(block);
    slab::bigBlockDeallocate(block, pictureBytes);
    owner.reset();
    EXPECT_EQ(slab::liveBlockCount(), 1U);
    EXPECT_EQ(slab::liveByteCount(), quint64(pictureBytes));
    leaveBehind('a', pictureBytes, 1);
    EXPECT_TRUE(holdsOnly(block, pictureBytes, 'o'));
    slab::bigBlockDeallocate(block, pictureBytes);
}

TEST_F(BlockOwnerTest, SeesNoOtherOnesBytesWhileOwnersComeAndGoOnSeveralThreads)
{
    constexpr int rounds = 100;
    constexpr int framesKept = 3;
    std::atomic<int> foreign{0};
    const auto run = [&foreign](char ownValue) {
        std::thread sink;
        for (int round = 0; round < rounds; ++round) {
            BlockOwner owner;
            std::vector<char *> kept;
            const quint32 size = 20000U << (round % 3);
            for (int frame = 0; frame < 2 * framesKept; ++frame) {
                char *const block = allocate(owner, size);
                foreign +=
                    std::all_of(block, block + size, [=](char byte) { return byte == 0 || byte == ownValue; }) ? 0 : 1;
                std::memset(block, ownValue, size);
                kept.push_back(block);
                if (frame >= framesKept) {
                    slab::bigBlockDeallocate(kept.front(), size);
                    kept.erase(kept.begin());
                }
            }
            // Most of these come back on another thread while the owner ends, or later.
            slab::bigBlockDeallocate(kept.back(), size);
            kept.pop_back();
            if (sink.joinable())
                sink.join();
            sink = std::thread([kept, size] {
                for (char *const block : kept)
                    slab::bigBlockDeallocate(block, size);
            });
        }
        sink.join();
    };
    std::vector<std::thread> threads;
    for (const char value : {'a', 'b', 'c', 'd'})
        threads.emplace_back(run, value);
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(foreign, 0);
}
