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

constexpr BlockCache::Limit unlimited = {1U << 30, 0, 0};

/// A header alone: the cache never looks at the bytes behind it.
struct TestBlock : Block {
    explicit TestBlock(quint32 bytes)
        : Block(SizeClass(bytes))
    {
        size = bytes;
    }
};

Block *take(BlockCache &cache, quint32 size, BlockHome *home = nullptr)
{
    return cache.take(SizeClass(size), size, home).block;
}

/// Makes a block live that the cache did not have.
void makeLive(BlockCache &cache, Block &block, BlockHome *home = nullptr)
{
    EXPECT_EQ(take(cache, block.size, home), nullptr);
    block.home = home;
}

std::vector<Block *> blocksOf(Block *chain)
{
    std::vector<Block *> blocks;
    for (Block *block = chain; block; block = block->byAge.older)
        blocks.push_back(block);
    return blocks;
}

} // namespace

TEST(BlockCache, GivesTheBlockOfTheClassThatCameLast)
{
    BlockCache cache(unlimited);
    TestBlock first(smallBytes), second(smallBytes), third(smallBytes), big(bigBytes);
    for (TestBlock *const block : {&first, &second, &third, &big})
        makeLive(cache, *block);
    for (TestBlock *const block : {&first, &second, &third, &big})
        EXPECT_THAT(blocksOf(cache.put(block)), IsEmpty());

    EXPECT_EQ(take(cache, smallBytes - 1), &third);
    EXPECT_EQ(take(cache, smallBytes), &second);
    EXPECT_THAT(blocksOf(cache.put(&second)), IsEmpty());
    EXPECT_EQ(take(cache, smallBytes), &second);
    EXPECT_EQ(take(cache, smallBytes), &first);
    EXPECT_EQ(take(cache, smallBytes), nullptr);
    EXPECT_EQ(take(cache, bigBytes), &big);
    EXPECT_EQ(take(cache, bigBytes), nullptr);
}

TEST(BlockCache, HandsOverTheBlocksThatAreIdleForLongestOnceTheyAreTooMany)
{
    BlockCache cache({bigBytes + smallBytes, 0, 0});
    TestBlock first(smallBytes), second(smallBytes), third(smallBytes), big(bigBytes);
    for (TestBlock *const block : {&first, &second, &third, &big})
        makeLive(cache, *block);

    EXPECT_THAT(blocksOf(cache.put(&first)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.put(&big)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.put(&second)), ElementsAre(&first));
    EXPECT_THAT(blocksOf(cache.put(&third)), ElementsAre(&big));
    EXPECT_EQ(take(cache, bigBytes), nullptr);
    EXPECT_EQ(take(cache, smallBytes), &third);
    EXPECT_EQ(take(cache, smallBytes), &second);
    EXPECT_EQ(take(cache, smallBytes), nullptr);
}

TEST(BlockCache, HandsOverABlockThatAloneIsTooMuch)
{
    BlockCache cache({bigBytes - 1, 0, 0});
    TestBlock big(bigBytes);
    makeLive(cache, big);
    EXPECT_THAT(blocksOf(cache.put(&big)), ElementsAre(&big));
    EXPECT_EQ(take(cache, bigBytes), nullptr);
}

TEST(BlockCache, KeepsAShareOfTheLiveBytesAndGivesItUpWithThem)
{
    BlockCache cache({smallBytes, 50, 0});
    TestBlock first(smallBytes), second(smallBytes), third(smallBytes), fourth(smallBytes);
    for (TestBlock *const block : {&first, &second, &third, &fourth})
        makeLive(cache, *block);

    // Three live blocks allow one and a half beyond the fixed one, two allow one, one allows a half, none nothing.
    EXPECT_THAT(blocksOf(cache.put(&first)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.put(&second)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.put(&third)), UnorderedElementsAre(&first, &second));
    EXPECT_THAT(blocksOf(cache.put(&fourth)), ElementsAre(&third));
}

TEST(BlockCache, HandsOverAllIdleBlocksOnRequest)
{
    BlockCache cache(unlimited);
    TestBlock first(smallBytes), second(smallBytes), big(bigBytes);
    for (TestBlock *const block : {&first, &second, &big})
        makeLive(cache, *block);
    for (TestBlock *const block : {&first, &second, &big})
        EXPECT_THAT(blocksOf(cache.put(block)), IsEmpty());

    EXPECT_THAT(blocksOf(cache.takeAll()), UnorderedElementsAre(&first, &second, &big));
    EXPECT_THAT(blocksOf(cache.takeAll()), IsEmpty());
    EXPECT_EQ(take(cache, bigBytes), nullptr);
    EXPECT_EQ(take(cache, smallBytes), nullptr);
}

TEST(BlockCache, CountsWhatIsLiveInTheSizesThatWereAskedFor)
{
    BlockCache cache(unlimited);
    TestBlock odd(smallBytes - 5);
    makeLive(cache, odd);
    EXPECT_EQ(take(cache, 7), nullptr);
    EXPECT_EQ(take(cache, bigBytes), nullptr);
    EXPECT_EQ(cache.liveBlocks(), 3U);
    EXPECT_EQ(cache.liveBytes(), quint64(smallBytes) - 5 + 7 + bigBytes);

    cache.forget(bigBytes, nullptr);
    EXPECT_THAT(blocksOf(cache.put(&odd)), IsEmpty());
    EXPECT_EQ(cache.liveBlocks(), 1U);
    EXPECT_EQ(cache.liveBytes(), 7U);

    EXPECT_EQ(take(cache, smallBytes - 9), &odd);
    EXPECT_EQ(cache.liveBlocks(), 2U);
    EXPECT_EQ(cache.liveBytes(), quint64(smallBytes) - 9 + 7);
}

namespace {

/// A home that its cache deletes when its owner has ended and its blocks have come back.
BlockHome *newHome()
{
    return new BlockHome;
}

BlockCache::Taken takenBy(BlockCache &cache, quint32 size, BlockHome *home)
{
    const BlockCache::Taken taken = cache.take(SizeClass(size), size, home);
    if (taken.block)
        taken.block->home = home;
    return taken;
}

} // namespace

TEST(BlockCache, KeepsTheBlocksOfAnOwnerForThatOwner)
{
    BlockCache cache(unlimited);
    BlockHome first;
    BlockHome second;
    TestBlock ofFirst(smallBytes), bigOfFirst(bigBytes), ofSecond(smallBytes);
    makeLive(cache, ofFirst, &first);
    makeLive(cache, bigOfFirst, &first);
    makeLive(cache, ofSecond, &second);
    for (TestBlock *const block : {&ofFirst, &bigOfFirst, &ofSecond})
        EXPECT_THAT(blocksOf(cache.put(block)), IsEmpty());

    EXPECT_EQ(take(cache, smallBytes), nullptr);
    EXPECT_EQ(take(cache, bigBytes, &second), nullptr);
    const BlockCache::Taken own = takenBy(cache, smallBytes - 9, &first);
    EXPECT_EQ(own.block, &ofFirst);
    EXPECT_FALSE(own.isForeign);
    EXPECT_EQ(take(cache, smallBytes, &first), nullptr);
    EXPECT_EQ(takenBy(cache, bigBytes, &first).block, &bigOfFirst);
    EXPECT_EQ(takenBy(cache, smallBytes, &second).block, &ofSecond);
}

TEST(BlockCache, GivesAnOwnerAFreeBlockAsForeignOnceItHasNoneOfItsOwn)
{
    BlockCache cache(unlimited);
    BlockHome home;
    TestBlock own(smallBytes), free(smallBytes);
    makeLive(cache, own, &home);
    makeLive(cache, free);
    EXPECT_THAT(blocksOf(cache.put(&own)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.put(&free)), IsEmpty());

    EXPECT_EQ(takenBy(cache, smallBytes, &home).block, &own);
    const BlockCache::Taken foreign = takenBy(cache, smallBytes, &home);
    EXPECT_EQ(foreign.block, &free);
    EXPECT_TRUE(foreign.isForeign);
    // From now on it is the owner's.
    EXPECT_THAT(blocksOf(cache.put(&free)), IsEmpty());
    EXPECT_EQ(take(cache, smallBytes), nullptr);
    EXPECT_FALSE(takenBy(cache, smallBytes, &home).isForeign);
}

TEST(BlockCache, FreesTheBlocksOfAnOwnerThatEndsForAll)
{
    BlockCache cache(unlimited);
    BlockHome *const ended = newHome();
    BlockHome other;
    TestBlock first(smallBytes), second(smallBytes), late(smallBytes);
    for (TestBlock *const block : {&first, &second, &late})
        makeLive(cache, *block, ended);
    EXPECT_THAT(blocksOf(cache.put(&first)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.put(&second)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.dissolve(ended)), IsEmpty());

    const BlockCache::Taken taken = takenBy(cache, smallBytes, &other);
    EXPECT_EQ(taken.block, &second);
    EXPECT_TRUE(taken.isForeign);
    EXPECT_EQ(take(cache, smallBytes), &first);
    EXPECT_EQ(take(cache, smallBytes), nullptr);

    EXPECT_THAT(blocksOf(cache.put(&late)), IsEmpty());
    const BlockCache::Taken takenLate = takenBy(cache, smallBytes, &other);
    EXPECT_EQ(takenLate.block, &late);
    EXPECT_TRUE(takenLate.isForeign);
}

TEST(BlockCache, HandsOverTheOldestBlocksWhoeverTheyAreKeptFor)
{
    BlockCache cache({2 * smallBytes, 0, 0});
    BlockHome home;
    TestBlock first(smallBytes), second(smallBytes), third(smallBytes), fourth(smallBytes);
    makeLive(cache, first, &home);
    makeLive(cache, second);
    makeLive(cache, third, &home);
    makeLive(cache, fourth);
    EXPECT_THAT(blocksOf(cache.put(&first)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.put(&second)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.put(&third)), ElementsAre(&first));
    EXPECT_THAT(blocksOf(cache.put(&fourth)), ElementsAre(&second));
    EXPECT_EQ(takenBy(cache, smallBytes, &home).block, &third);
    EXPECT_EQ(take(cache, smallBytes, &home), &fourth);
    EXPECT_EQ(take(cache, smallBytes, &home), nullptr);
}

TEST(BlockCache, KeepsABlockForEachOwnerUntilItEnds)
{
    BlockCache cache({0, 0, 1});
    BlockHome *const first = newHome();
    BlockHome *const second = newHome();
    TestBlock ofFirst(smallBytes), bigOfFirst(bigBytes), ofSecond(smallBytes);
    makeLive(cache, ofFirst, first);
    makeLive(cache, bigOfFirst, first);
    makeLive(cache, ofSecond, second);
    // As long as the last ones that they took: a big one, and a small one.
    EXPECT_THAT(blocksOf(cache.put(&ofFirst)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.put(&bigOfFirst)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.put(&ofSecond)), ElementsAre(&ofFirst));
    EXPECT_THAT(blocksOf(cache.dissolve(first)), ElementsAre(&bigOfFirst));
    EXPECT_EQ(takenBy(cache, smallBytes, second).block, &ofSecond);
    EXPECT_THAT(blocksOf(cache.dissolve(second)), IsEmpty());
    EXPECT_THAT(blocksOf(cache.put(&ofSecond)), ElementsAre(&ofSecond));
}
