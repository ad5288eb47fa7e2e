#include "slab/BlockCache.h"

#include <algorithm>

BlockCache::BlockCache(quint64 idleBytes, quint64 idlePercentOfLive)
    : _idleLimitBytes(idleBytes)
    , _idlePercentOfLive(idlePercentOfLive)
{
}

Block *BlockCache::take(SizeClass sizeClass, quint32 size)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    ++_liveBlocks;
    _liveBytes += size;
    Block *const newest = _idle[sizeClass.index()].newest;
    return newest ? removeLocked(newest) : nullptr;
}

void BlockCache::forget(quint32 size)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    --_liveBlocks;
    _liveBytes -= size;
}

Block *BlockCache::put(Block *block)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    --_liveBlocks;
    _liveBytes -= block->size;

    Chain &chain = _idle[block->sizeClass.index()];
    block->turn = ++_turn;
    block->newer = nullptr;
    block->older = chain.newest;
    (chain.newest ? chain.newest->newer : chain.oldest) = block;
    chain.newest = block;
    _idleBytes += block->sizeClass.bytes();

    return removeSurplusLocked(_idleLimitBytes + _liveBytes * _idlePercentOfLive / 100);
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

Block *BlockCache::removeLocked(Block *block)
{
    Chain &chain = _idle[block->sizeClass.index()];
    (block->newer ? block->newer->older : chain.newest) = block->older;
    (block->older ? block->older->newer : chain.oldest) = block->newer;
    _idleBytes -= block->sizeClass.bytes();
    return block;
}

Block *BlockCache::removeSurplusLocked(quint64 limitBytes)
{
    Block *surplus = nullptr;
    while (_idleBytes > limitBytes) {
        Block *const block = removeLocked(chainWithOldestLocked().oldest);
        block->older = surplus;
        surplus = block;
    }
    return surplus;
}

BlockCache::Chain &BlockCache::chainWithOldestLocked()
{
    // Empty chains come last.
    return *std::min_element(_idle.begin(), _idle.end(), [](const Chain &left, const Chain &right) {
        return left.oldest && (!right.oldest || left.oldest->turn < right.oldest->turn);
    });
}
