#ifndef HOST_SLAB_BLOCKCACHE_H
#define HOST_SLAB_BLOCKCACHE_H

#include <array>
#include <mutex>

#include "slab/Block.h"

/// The idle blocks, kept so that the next frame of a stream need not fetch fresh pages from the system.
///
/// They are bounded by a share of the bytes that are live, and a fixed amount, so what a burst of streams has left is
/// given up while its last blocks come back, without a clock or a thread. The blocks that have been idle for longest go
/// first. The cache fetches and releases no memory itself: it hands over what is to be released.
///
/// Thread-safe: each operation takes the cache's lock, under which nothing is called.
class BlockCache final {
public:
    /// Keeps up to @p idleBytes, and @p idlePercentOfLive percent of the live bytes.
    BlockCache(quint64 idleBytes, quint64 idlePercentOfLive);
    BlockCache(const BlockCache &) = delete;
    BlockCache &operator=(const BlockCache &) = delete;

    /// Counts a block of @p size bytes as live.
    /// @return the idle block of the class that came last and is likeliest to be in the processor's caches; null when
    ///         there is none, and the caller makes one.
    Block *take(SizeClass sizeClass, quint32 size);
    /// Takes back the count of a block of @p size bytes for which the caller found no memory.
    void forget(quint32 size);
    /// Keeps a block that is live no longer.
    /// @return the blocks that are now too many, a chain by Block::older, for the caller to release.
    [[nodiscard]] Block *put(Block *block);
    /// @return all idle blocks, a chain by Block::older, for the caller to release.
    [[nodiscard]] Block *takeAll();

    quint64 liveBlocks() const;
    /// The sum of the sizes that were asked for.
    quint64 liveBytes() const;

private:
    struct Chain {
        Block *newest = nullptr;
        Block *oldest = nullptr;
    };

    Block *removeLocked(Block *block);
    Block *removeSurplusLocked(quint64 limitBytes);
    Chain &chainWithOldestLocked();

    // Constant after construction.
    const quint64 _idleLimitBytes;
    const quint64 _idlePercentOfLive;

    mutable std::mutex _mutex;
    // Guarded by _mutex.
    std::array<Chain, sizeClassCount> _idle;
    quint64 _idleBytes = 0;
    quint64 _turn = 0;
    quint64 _liveBlocks = 0;
    quint64 _liveBytes = 0;
};

#endif
