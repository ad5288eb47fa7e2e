#include "slab/BlockCache.h"

#include <memory>

BlockCache::BlockCache(const Limit &limit)
    : _limit(limit)
{
}

BlockCache::Taken BlockCache::take(SizeClass sizeClass, quint32 size, BlockHome *home)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    ++_liveBlocks;
    _liveBytes += size;
    if (home) {
        ++home->liveBlocks;
        _lastBytesOfOwners += sizeClass.bytes() - home->lastBytes;
        home->lastBytes = sizeClass.bytes();
    }
    const Taken taken = findLocked(sizeClass, home);
    if (taken.block)
        removeLocked(taken.block);
    return taken;
}

void BlockCache::forget(quint32 size, BlockHome *home)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    --_liveBlocks;
    _liveBytes -= size;
    if (home)
        --home->liveBlocks;
}

Block *BlockCache::put(Block *block)
{
    std::unique_ptr<BlockHome> ended; // deleted without the lock
    const std::lock_guard<std::mutex> lock(_mutex);
    --_liveBlocks;
    _liveBytes -= block->size;
    if (BlockHome *const home = block->home) {
        --home->liveBlocks;
        if (!home->hasOwner) {
            block->home = nullptr;
            if (home->liveBlocks == 0)
                ended.reset(home);
        }
    }
    addLocked(block);
    return removeSurplusLocked(limitBytesLocked());
}

Block *BlockCache::dissolve(BlockHome *home)
{
    std::unique_ptr<BlockHome> ended;
    const std::lock_guard<std::mutex> lock(_mutex);
    _lastBytesOfOwners -= home->lastBytes;
    home->hasOwner = false;
    while (Block *const block = home->idle.oldest()) {
        home->idle.remove(block);
        block->home = nullptr;
        _free[block->sizeClass.index()].add(block);
    }
    if (home->liveBlocks == 0)
        ended.reset(home);
    return removeSurplusLocked(limitBytesLocked());
}

Block *BlockCache::takeAll()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return removeSurplusLocked(0);
}

quint64 BlockCache::liveBlocks() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _liveBlocks;
}

quint64 BlockCache::liveBytes() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _liveBytes;
}

BlockCache::Taken BlockCache::findLocked(SizeClass sizeClass, BlockHome *home) const
{
    for (Block *block = home ? home->idle.newest() : nullptr; block; block = block->byHome.older) {
        if (block->sizeClass.index() == sizeClass.index())
            return {block, false};
    }
    return {_free[sizeClass.index()].newest(), true};
}

void BlockCache::addLocked(Block *block)
{
    _idle.add(block);
    (block->home ? block->home->idle : _free[block->sizeClass.index()]).add(block);
    _idleBytes += block->sizeClass.bytes();
}

void BlockCache::removeLocked(Block *block)
{
    _idle.remove(block);
    (block->home ? block->home->idle : _free[block->sizeClass.index()]).remove(block);
    _idleBytes -= block->sizeClass.bytes();
}

Block *BlockCache::removeSurplusLocked(quint64 limitBytes)
{
    Block *surplus = nullptr;
    for (Block *block = _idle.oldest(); block && _idleBytes > limitBytes; block = _idle.oldest()) {
        removeLocked(block);
        block->byAge.older = surplus;
        surplus = block;
    }
    return surplus;
}

quint64 BlockCache::limitBytesLocked() const
{
    return _limit.bytes + _liveBytes * _limit.percentOfLive / 100 + _lastBytesOfOwners * _limit.blocksOfOwner;
}
