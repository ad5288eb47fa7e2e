#include "interfaces/BigBlocks.h"

#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include "slab/BigBlockCounts.h"
#include "slab/BlockCache.h"
#include "slab/SystemMemory.h"

namespace {

#ifdef __SANITIZE_ADDRESS__
// Nothing stays idle, so that AddressSanitizer finds whoever uses a block that was given back, and knows its size.
constexpr quint64 idleBytes = 0;
constexpr quint64 idlePercentOfLive = 0;
#else
// A few frames of a single stream; and what many streams may give back together before they ask for it again.
constexpr quint64 idleBytes = 16 << 20;
constexpr quint64 idlePercentOfLive = 25;
#endif

/// Never destroyed, because blocks may come back from the destructors of static objects.
BlockCache &cache()
{
    static BlockCache *const theCache = new BlockCache(idleBytes, idlePercentOfLive);
    return *theCache;
}

Block *fetchBlock(SizeClass sizeClass, std::size_t bytes)
{
    void *const memory = systemMemory::fetch(sizeClass.bytes(), bytes);
    return memory ? new (memory) Block(sizeClass) : nullptr;
}

void releaseBlocks(Block *chain)
{
    while (Block *const block = chain) {
        chain = block->older;
        systemMemory::release(block, block->sizeClass.bytes());
    }
}

/// Whoever misuses a block would go on to write into the frames of others.
[[noreturn]] void failOn(const void *data, const std::string &misuse)
{
    std::fprintf(stderr, "slab: the block at %p %s\n", data, misuse.c_str());
    std::abort();
}

std::string ofBytes(quint32 size)
{
    return "of " + std::to_string(size) + " bytes";
}

Block *blockOf(void *data)
{
    if (!data)
        failOn(data, "is none");
    Block *const block = static_cast<Block *>(data) - 1;
    if (block->magic != Block::magicNumber)
        failOn(data, "is none of this library, or its header is overwritten");
    return block;
}

} // namespace

void *slab::bigBlockAllocate(quint32 size)
{
    const std::size_t bytes = sizeof(Block) + size;
    const SizeClass sizeClass(bytes);
    Block *block = cache().take(sizeClass, size);
    if (!block)
        block = fetchBlock(sizeClass, bytes);
    if (!block) {
        releaseBlocks(cache().takeAll());
        block = fetchBlock(sizeClass, bytes);
    }
    if (!block) {
        cache().forget(size);
        return nullptr;
    }
    block->size = size;
    block->references.store(1);
    return block + 1;
}

void slab::bigBlockRetain(void *data)
{
    Block *const block = blockOf(data);
    if (block->references.fetch_add(1) <= 0)
        failOn(data, ofBytes(block->size) + " is retained after its last owner has given it back");
}

void slab::bigBlockDeallocate(void *data, quint32 size)
{
    Block *const block = blockOf(data);
    if (block->size != size)
        failOn(data, ofBytes(block->size) + " is given back as one " + ofBytes(size));
    const std::int32_t referencesBefore = block->references.fetch_sub(1);
    if (referencesBefore <= 0)
        failOn(data, ofBytes(size) + " is given back once too often");
    if (referencesBefore == 1)
        releaseBlocks(cache().put(block));
}

quint64 slab::liveBlockCount()
{
    return cache().liveBlocks();
}

quint64 slab::liveByteCount()
{
    return cache().liveBytes();
}
