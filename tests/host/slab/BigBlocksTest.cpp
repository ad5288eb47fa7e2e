#include "interfaces/BigBlocks.h"

#include <cstdint>
#include <cstring>

#include <gmock/gmock.h>

TEST(BigBlocks, AreAlignedAndWritableToTheirWholeSize)
{
    for (const quint32 size : {0U, 1U, 64U, 100000U}) {
        void *const data = slab::bigBlockAllocate(size);
        ASSERT_NE(data, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % 64, 0U);
        std::memset(data, 0x5a, size);
        slab::bigBlockDeallocate(data, size);
    }
}

TEST(BigBlocks, LiveUntilTheLastOwnerGivesThemBack)
{
    char *const data = static_cast<char *>(slab::bigBlockAllocate(10));
    slab::bigBlockRetain(data);
    slab::bigBlockDeallocate(data, 10);
    data[9] = 'x';
    EXPECT_EQ(data[9], 'x');
    slab::bigBlockDeallocate(data, 10);
}
