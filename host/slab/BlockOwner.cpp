#include "slab/BlockOwner.h"

#include "slab/BlockStore.h"

slab::BlockOwner::BlockOwner()
    : _home(new BlockHome)
{
}

slab::BlockOwner::~BlockOwner()
{
    BlockStore::instance().dissolve(_home);
}

void *slab::BlockOwner::allocate(quint32 size)
{
    Block *const block = BlockStore::instance().allocate(size, _home);
    return block ? block + 1 : nullptr;
}
