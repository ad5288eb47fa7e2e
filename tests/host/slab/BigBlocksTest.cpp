#include "interfaces/BigBlocks.h"

#include <cstdint>
#include <cstring>
#include <limits>

#include "slab/BigBlockCounts.h"
#include "slab/Block.h"
#include <gmock/gmock.h>

namespace {

using testing::AnyOf;
using testing::ContainsRegex;
using testing::HasSubstr;

constexpr quint32 frameBytes = 1920 * 1080 * 3 / 2;
constexpr quint32 headerBytes = sizeof(Block);

} // namespace

TEST(BigBlocks, AreAlignedAndWritableToTheirWholeSize)
{
    // The last two fill their pages to the last byte, the one with its header, the other without.
    for (const quint32 size : {0U, 1U, 64U, 4096U, 100000U, frameBytes, (32U << 20) - headerBytes, (32U << 20) - 1}) {
        SCOPED_TRACE(size);
        // Of two neighbours, what one has too little shows as a header of the other that is overwritten.
        void *const blocks[] = {slab::bigBlockAllocate(size), slab::bigBlockAllocate(size)};
        for (void *const data : blocks) {
            ASSERT_NE(data, nullptr);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % 64, 0U);
            std::memset(data, 0x5a, size);
        }
        for (void *const data : blocks)
            slab::bigBlockDeallocate(data, size);
    }
}

TEST(BigBlocks, OfTheLargestSizeReachToTheirLastByteOrAreNull)
{
    constexpr quint32 size = std::numeric_limits<quint32>::max();
    char *const data = static_cast<char *>(slab::bigBlockAllocate(size));
    if (!data) {
        EXPECT_EQ(slab::liveBlockCount(), 0U);
        return;
    }
    data[0] = 'a';
    data[size - 1] = 'z';
    EXPECT_EQ(data[0], 'a');
    EXPECT_EQ(data[size - 1], 'z');
    slab::bigBlockDeallocate(data, size);
}

TEST(BigBlocks, AreDistinctEvenWithoutBytes)
{
    void *const first = slab::bigBlockAllocate(0);
    void *const second = slab::bigBlockAllocate(0);
    EXPECT_NE(first, second);
    slab::bigBlockDeallocate(first, 0);
    slab::bigBlockDeallocate(second, 0);
}

TEST(BigBlocks, LiveUntilTheLastOwnerGivesThemBack)
{
    char *const data = static_cast<char *>(slab::bigBlockAllocate(10));
    slab::bigBlockRetain(data);
    slab::bigBlockRetain(data);
    slab::bigBlockDeallocate(data, 10);
    slab::bigBlockDeallocate(data, 10);
    EXPECT_EQ(slab::liveBlockCount(), 1U);
    data[9] = 'x';

    void *const other = slab::bigBlockAllocate(10);
    std::memset(other, 0x5a, 10);
    EXPECT_EQ(data[9], 'x');
    slab::bigBlockDeallocate(other, 10);
    slab::bigBlockDeallocate(data, 10);
    EXPECT_EQ(slab::liveBlockCount(), 0U);
}

TEST(BigBlocks, AreCountedWhileTheyHaveAnOwner)
{
    EXPECT_EQ(slab::liveBlockCount(), 0U);
    EXPECT_EQ(slab::liveByteCount(), 0U);
    void *const frame = slab::bigBlockAllocate(frameBytes);
    void *const odd = slab::bigBlockAllocate(100001);
    EXPECT_EQ(slab::liveBlockCount(), 2U);
    EXPECT_EQ(slab::liveByteCount(), quint64(frameBytes) + 100001);
    slab::bigBlockDeallocate(frame, frameBytes);
    EXPECT_EQ(slab::liveBlockCount(), 1U);
    EXPECT_EQ(slab::liveByteCount(), 100001U);
    slab::bigBlockDeallocate(odd, 100001);
    EXPECT_EQ(slab::liveBlockCount(), 0U);
    EXPECT_EQ(slab::liveByteCount(), 0U);
}

#ifdef __SANITIZE_ADDRESS__

TEST(BigBlocksDeathTest, AddressSanitizerFindsTheUseOfABlockThatWasGivenBack)
{
    volatile char *const data = static_cast<char *>(slab::bigBlockAllocate(frameBytes));
    slab::bigBlockDeallocate(const_cast<char *>(data), frameBytes);
    slab::bigBlockDeallocate(slab::bigBlockAllocate(frameBytes), frameBytes);
    EXPECT_DEATH(data[1000] = 1, "heap-use-after-free");
}

TEST(BigBlocksDeathTest, AddressSanitizerFindsTheUseOfBytesBehindABlock)
{
    volatile char *const data = static_cast<char *>(slab::bigBlockAllocate(100001));
    EXPECT_DEATH(data[100001] = 1, "heap-buffer-overflow");
    slab::bigBlockDeallocate(const_cast<char *>(data), 100001);
}

#endif

// AddressSanitizer finds these two by itself.

TEST(BigBlocksDeathTest, GivingABlockBackOnceTooOftenEndsTheProcess)
{
    void *const data = slab::bigBlockAllocate(100000);
    slab::bigBlockRetain(data);
    slab::bigBlockDeallocate(data, 100000);
    slab::bigBlockDeallocate(data, 100000);
    EXPECT_DEATH(slab::bigBlockDeallocate(data, 100000),
                 AnyOf(ContainsRegex("slab: the block at \\w+ of 100000 bytes is given back once too often"),
                       HasSubstr("heap-use-after-free")));
}

TEST(BigBlocksDeathTest, RetainingABlockThatWasGivenBackEndsTheProcess)
{
    void *const data = slab::bigBlockAllocate(100000);
    slab::bigBlockDeallocate(data, 100000);
    EXPECT_DEATH(
        slab::bigBlockRetain(data),
        AnyOf(ContainsRegex("slab: the block at \\w+ of 100000 bytes is retained after its last owner has given "
                            "it back"),
              HasSubstr("heap-use-after-free")));
}

TEST(BigBlocksDeathTest, GivingABlockBackAsOneOfAnotherSizeEndsTheProcess)
{
    void *const data = slab::bigBlockAllocate(100000);
    EXPECT_DEATH(slab::bigBlockDeallocate(data, 100001),
                 "slab: the block at \\w+ of 100000 bytes is given back as one of 100001 bytes");
    slab::bigBlockDeallocate(data, 100000);
}

TEST(BigBlocksDeathTest, APointerThatIsNoBlockEndsTheProcess)
{
    char *const data = static_cast<char *>(slab::bigBlockAllocate(100000));
    std::memset(data, 0, 100000);
    EXPECT_DEATH(slab::bigBlockDeallocate(data + 64, 100000),
                 "slab: the block at \\w+ does not belong to this library");
    EXPECT_DEATH(slab::bigBlockRetain(data + 4096), "slab: the block at \\w+ does not belong to this library");
    EXPECT_DEATH(slab::bigBlockDeallocate(nullptr, 100000), "slab: the block at .* is a null pointer");
    slab::bigBlockDeallocate(data, 100000);
}
