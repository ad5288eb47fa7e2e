#include "slab/BlockCache.h"

#include <vector>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

// As long as what blocks of their classes have room for, so that live and idle bytes compare.
constexpr quint32 smallBytes = 8 * 4096;
constexpr quint32 bigBytes = 64 * 4096;
constexpr SizeClass smallClass(smallBytes);
constexpr SizeClass bigClass(bigBytes);

constexpr quint64 unlimited = 1U << 30;

/// A header alone: the cache never looks at the bytes behind it.
struct TestBlock : Block {
    explicit TestBlock(quint32 bytes)
        : Block(SizeClass(bytes))
    {
        size = bytes;
    }
};

void makeLive(BlockCache &cache, quint32 size)
{
    EXPECT_EQ(cache.take(SizeClass(size), size), nullptr);
}

std::vector<Block *> blocksOf(Block *chain)
{
    std::vector<Block *> blocks;
    for (Block *block = chain; block; block = block->older)
        blocks.push_back(block);
    return blocks;
}

} // namespace

TEST(BlockCache, GivesTheBlockOfTheClassThatCameLast)
{
    BlockCache cache(unlimited, 0);
    TestBlock first(smallBytes), second(smallBytes), third(smallBytes), big(bigBytes);
    for (TestBlock *const block : {&first, &second, &third, &big})
        makeLive(cache, block->size);
    for (TestBlock *const block : {&first, &second, &third, &big})
        EXPECT_THAT(blocksOf(cache.put(block)), IsEmpty());

    EXPECT_EQ(cache.take(smallClass, smallBytes - 1), &third);
    EXPECT_EQ(cache.take(smallClass, smallBytes), &second);
    EXPECT_THAT(blocksOf(cache.put(&second)), IsEmpty());
    EXPECT_EQ(cache.take(smallClass, smallBytes), &second);
    EXPECT_EQ(cache.take(smallClass, smallBytes), &first);
    EXPECT_EQ(cache.take(smallClass, smallBytes), nullptr);
    EXPECT_EQ(cache.take(bigClass, bigBytes), &big);
    EXPECT_EQ(cache.take(bigClass, bigBytes), nullptr);
}

TEST(BlockCache, HandsOverTheBlocksThatAreIdleForLongestOnceTheyAreTooMany)
{
    BlockCache cache(bigBytes + smallBytes, 0);
    TestBlock first(smallBytes), second(smallBytes), third(smallBytes), big(bigBytes);
    for (TestBlock *const block : {&first, &second, &third, &big})
        makeLive(cache, block->size);

    EXPECT_THAT(blocksOf(cache.put(&first)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.put(&big)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.put(&second)), ElementsAre(&first));
    EXPECT_THAT(blocksOf(cache.put(&third)), ElementsAre(&big));
    EXPECT_EQ(cache.take(bigClass, bigBytes), nullptr);
    EXPECT_EQ(cache.take(smallClass, smallBytes), &third);
    EXPECT_EQ(cache.take(smallClass, smallBytes), &second);
    EXPECT_EQ(cache.take(smallClass, smallBytes), nullptr);
}

TEST(BlockCache, HandsOverABlockThatAloneIsTooMuch)
{
    BlockCache cache(bigBytes - 1, 0);
    TestBlock big(bigBytes);
    makeLive(cache, bigBytes);
    EXPECT_THAT(blocksOf(cache.put(&big)), ElementsAre(&big));
    EXPECT_EQ(cache.take(bigClass, bigBytes), nullptr);
}

TEST(BlockCache, KeepsAShareOfTheLiveBytesAndGivesItUpWithThem)
{
    BlockCache cache(smallBytes, 50);
    TestBlock first(smallBytes), second(smallBytes), third(smallBytes), fourth(smallBytes);
    for (TestBlock *const block : {&first, &second, &third, &fourth})
        makeLive(cache, block->size);

    // Three live blocks allow one and a half beyond the fixed one, two allow one, one allows a half, none nothing.
    EXPECT_THAT(blocksOf(cache.put(&first)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.put(&second)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.put(&third)), UnorderedElementsAre(&first, &second));
    EXPECT_THAT(blocksOf(cache.put(&fourth)), ElementsAre(&third));
}

TEST(BlockCache, HandsOverAllIdleBlocksOnRequest)
{
    BlockCache cache(unlimited, 0);
    TestBlock first(smallBytes), second(smallBytes), big(bigBytes);
    for (TestBlock *const block : {&first, &second, &big})
        makeLive(cache, block->size);
    for (TestBlock *const block : {&first, &second, &big})
        EXPECT_THAT(blocksOf(cache.put(block)), IsEmpty());

    EXPECT_THAT(blocksOf(cache.takeAll()), UnorderedElementsAre(&first, &second, &big));
    EXPECT_THAT(blocksOf(cache.takeAll()), IsEmpty());
    EXPECT_EQ(cache.take(bigClass, bigBytes), nullptr);
    EXPECT_EQ(cache.take(smallClass, smallBytes), nullptr);
}

TEST(BlockCache, CountsWhatIsLiveInTheSizesThatWereAskedFor)
{
    BlockCache cache(unlimited, 0);
    TestBlock odd(smallBytes - 5);
    makeLive(cache, odd.size);
    makeLive(cache, 7);
    makeLive(cache, bigBytes);
    EXPECT_EQ(cache.liveBlocks(), 3U);
    EXPECT_EQ(cache.liveBytes(), quint64(smallBytes) - 5 + 7 + bigBytes);

    cache.forget(bigBytes);
    EXPECT_THAT(blocksOf(cache.put(&odd)), IsEmpty());
    EXPECT_EQ(cache.liveBlocks(), 1U);
    EXPECT_EQ(cache.liveBytes(), 7U);

    EXPECT_EQ(cache.take(smallClass, smallBytes - 9), &odd);
    EXPECT_EQ(cache.liveBlocks(), 2U);
    EXPECT_EQ(cache.liveBytes(), quint64(smallBytes) - 9 + 7);
}
