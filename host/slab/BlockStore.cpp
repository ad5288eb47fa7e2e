#include "slab/BlockStore.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "slab/SystemMemory.h"

namespace {

#ifdef __SANITIZE_ADDRESS__
// Nothing stays idle, so that AddressSanitizer finds whoever uses a block that was given back, and knows its size.
constexpr BlockCache::Limit limit = {0, 0, 0};
#else
// A few frames of a single stream; as much as many streams may give back together before they ask for it again, since
// idle blocks of one stream are of no use to another; and what a decoder asks for again and again that keeps no
// picture.
constexpr BlockCache::Limit limit = {16 << 20, 100, 1};
#endif

Block *fetchBlock(SizeClass sizeClass, std::size_t bytes)
{
    void *const memory = systemMemory::fetch(sizeClass.bytes(), bytes);
    return memory ? new (memory) Block(sizeClass) : nullptr;
}

void releaseBlocks(Block *chain)
{
    while (Block *const block = chain) {
        chain = block->byAge.older;
        systemMemory::release(block, block->sizeClass.bytes());
    }
}

void clear(Block *block)
{
    std::memset(static_cast<void *>(block + 1), 0, block->usedBytes);
    block->usedBytes = 0;
}

} // namespace

BlockStore::BlockStore()
    : _cache(limit)
{
}

BlockStore &BlockStore::instance()
{
    static BlockStore *const theStore = new BlockStore;
    return *theStore;
}

Block *BlockStore::allocate(quint32 size, BlockHome *home)
{
    const std::size_t bytes = sizeof(Block) + size;
    const SizeClass sizeClass(bytes);
    const BlockCache::Taken taken = _cache.take(sizeClass, size, home);
    Block *block = taken.block;
    if (block && taken.isForeign && home)
        clear(block);
    if (!block)
        block = fetchBlock(sizeClass, bytes);
    if (!block) {
        releaseBlocks(_cache.takeAll());
        block = fetchBlock(sizeClass, bytes);
    }
    if (!block) {
        _cache.forget(size, home);
        return nullptr;
    }
    block->size = size;
    block->usedBytes = std::max(block->usedBytes, size);
    block->home = home;
    block->references.store(1);
    return block;
}

void BlockStore::takeBack(Block *block)
{
    releaseBlocks(_cache.put(block));
}

void BlockStore::dissolve(BlockHome *home)
{
    releaseBlocks(_cache.dissolve(home));
}
