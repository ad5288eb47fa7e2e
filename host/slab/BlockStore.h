#ifndef HOST_SLAB_BLOCKSTORE_H
#define HOST_SLAB_BLOCKSTORE_H

#include "slab/BlockCache.h"

/// The blocks of this process: idle ones from the cache, or fresh ones from the system. Thread-safe.
class BlockStore final {
public:
    /// The only one. It is never destroyed, because blocks may come back from the destructors of static objects.
    static BlockStore &instance();

    /// @param home of the owner that is to find nothing in the block but zeros and what it left there itself; null: the
    ///        contents do not matter.
    /// @return a block for @p size bytes with one reference; null when there is no memory.
    Block *allocate(quint32 size, BlockHome *home);
    /// Takes back a block whose last reference is dropped.
    void takeBack(Block *block);
    /// Takes back the home of an owner that ends.
    void dissolve(BlockHome *home);

    quint64 liveBlocks() const { return _cache.liveBlocks(); }
    quint64 liveBytes() const { return _cache.liveBytes(); }

private:
    BlockStore();

    BlockCache _cache;
};

#endif
