#include "interfaces/BigBlocks.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "slab/BigBlockCounts.h"
#include "slab/BlockStore.h"

namespace {

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
        failOn(data, "is a null pointer");
    Block *const block = static_cast<Block *>(data) - 1;
    if (block->magic != Block::magicNumber)
        failOn(data, "does not belong to this library, or its header is overwritten");
    return block;
}

} // namespace

void *slab::bigBlockAllocate(quint32 size)
{
    Block *const block = BlockStore::instance().allocate(size, nullptr);
    return block ? block + 1 : nullptr;
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
        BlockStore::instance().takeBack(block);
}

quint64 slab::liveBlockCount()
{
    return BlockStore::instance().liveBlocks();
}

quint64 slab::liveByteCount()
{
    return BlockStore::instance().liveBytes();
}
