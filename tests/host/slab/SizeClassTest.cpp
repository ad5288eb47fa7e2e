#include "slab/SizeClass.h"

#include <algorithm>
#include <cstdint>

#include "slab/Block.h"
#include <gmock/gmock.h>

namespace {

constexpr std::size_t pageBytes = 4096;
constexpr std::size_t longestBytes = sizeof(Block) + std::size_t(UINT32_MAX);

} // namespace

TEST(SizeClass, IsWholePagesAndAtMostAnEighthOrAPageLonger)
{
    for (std::size_t bytes = 1; bytes <= longestBytes; bytes += 1 + bytes / 37) {
        SCOPED_TRACE(bytes);
        const std::size_t classBytes = SizeClass(bytes).bytes();
        EXPECT_EQ(classBytes % pageBytes, 0U);
        EXPECT_GE(classBytes, bytes);
        EXPECT_LE(classBytes - bytes, std::max(pageBytes, bytes / 8));
    }
    EXPECT_GE(SizeClass(longestBytes).bytes(), longestBytes);
}

TEST(SizeClass, IsTheSameForItsOwnSizeAndTheNextForAByteMore)
{
    SizeClass sizeClass(1);
    EXPECT_EQ(sizeClass.index(), 0U);
    while (sizeClass.index() + 1 < sizeClassCount) {
        SCOPED_TRACE(sizeClass.bytes());
        EXPECT_EQ(SizeClass(sizeClass.bytes()).index(), sizeClass.index());
        const SizeClass next(sizeClass.bytes() + 1);
        ASSERT_EQ(next.index(), sizeClass.index() + 1);
        ASSERT_GT(next.bytes(), sizeClass.bytes());
        sizeClass = next;
    }
    EXPECT_EQ(SizeClass(longestBytes).index(), sizeClass.index());
}
