#ifndef HOST_SLAB_BLOCKCACHE_H
#define HOST_SLAB_BLOCKCACHE_H

#include <array>
#include <mutex>

#include "slab/BlockHome.h"

/// The idle blocks, kept so that the next frame of a stream need not fetch fresh pages from the system.
///
/// The idle blocks of an owner are kept for that owner, so that it finds nothing in them but what it left there. The
/// other ones are free for all: those that never had an owner, and those whose owner has ended. An owner without an
/// idle block of its own gets a free one, too, and the caller then clears it.
///
/// Idle blocks are bounded by a share of the bytes that are live, a fixed amount, and a block for each owner, so what a
/// burst of streams has left is given up while its last blocks come back, without a clock or a thread. The blocks that
/// have been idle for longest go first, whoever they are kept for. The cache fetches and releases no memory itself: it
/// hands over what is to be released.
///
/// Thread-safe: each operation takes the cache's lock, under which nothing is called.
class BlockCache final {
public:
    /// How much may be idle: the sum of these.
    struct Limit {
        quint64 bytes = 0;
        quint64 percentOfLive = 0;
        /// Counted in bytes of the owner's last block.
        quint64 blocksOfOwner = 0;
    };

    struct Taken {
        /// Null when there is no such idle block, and the caller makes one.
        Block *block = nullptr;
        /// Whether others may have written to it.
        bool isForeign = false;
    };

    explicit BlockCache(const Limit &limit);
    BlockCache(const BlockCache &) = delete;
    BlockCache &operator=(const BlockCache &) = delete;

    /// Counts a block of @p size bytes as live, for the owner of @p home, or for nobody if that is null. The caller
    /// makes it Block::home of the block.
    /// @return the idle block of the class that came last and is likeliest to be in the processor's caches: one of the
    ///         owner's if there is any, else a free one.
    Taken take(SizeClass sizeClass, quint32 size, BlockHome *home);
    /// Takes back the count of a block of @p size bytes for which the caller found no memory.
    void forget(quint32 size, BlockHome *home);
    /// Keeps a block that is live no longer.
    /// @return the blocks that are now too many, a chain by ChainLinks::older of Block::byAge, for the caller to
    ///         release.
    [[nodiscard]] Block *put(Block *block);
    /// Frees the idle blocks of @p home for all, and its live ones when they are put. It is not to be used any more but
    /// by those. @return as put does.
    [[nodiscard]] Block *dissolve(BlockHome *home);
    /// @return all idle blocks, a chain as of put, for the caller to release.
    [[nodiscard]] Block *takeAll();

    quint64 liveBlocks() const;
    /// The sum of the sizes that were asked for.
    quint64 liveBytes() const;

private:
    Taken findLocked(SizeClass sizeClass, BlockHome *home) const;
    void addLocked(Block *block);
    void removeLocked(Block *block);
    Block *removeSurplusLocked(quint64 limitBytes);
    quint64 limitBytesLocked() const;

    // Constant after construction.
    const Limit _limit;

    mutable std::mutex _mutex;
    // Guarded by _mutex.
    BlockChain<Block, &Block::byAge> _idle;
    std::array<BlockChain<Block, &Block::byHome>, sizeClassCount> _free;
    quint64 _idleBytes = 0;
    quint64 _liveBlocks = 0;
    quint64 _liveBytes = 0;
    quint64 _lastBytesOfOwners = 0; // the sum over all homes with an owner
};

#endif
