#ifndef HOST_SLAB_BLOCKHOME_H
#define HOST_SLAB_BLOCKHOME_H

#include "slab/Block.h"

/// What the cache knows of one owner's blocks. It ends with the owner, or with the last of its live blocks if that is
/// given back later. Guarded by the cache.
struct BlockHome {
    /// The owner's idle blocks of all size classes, which are few.
    BlockChain<Block, &Block::byHome> idle;
    quint64 liveBlocks = 0;
    /// The length of the block that was taken last, 0 before the first one: the next one is likely to be as long.
    quint64 lastBytes = 0;
    bool hasOwner = true;
};

#endif
