#ifndef HOST_SLAB_BLOCK_H
#define HOST_SLAB_BLOCK_H

#include <QtGlobal>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "slab/BlockChain.h"
#include "slab/SizeClass.h"

struct BlockHome;

/// What stands right before the bytes that a caller gets, and keeps them aligned.
struct alignas(64) Block {
    explicit Block(SizeClass blockSizeClass)
        : sizeClass(blockSizeClass)
    {
    }

    static constexpr quint64 magicNumber = 0xb10cb10c5a5a1357;

    const quint64 magic = magicNumber;
    const SizeClass sizeClass;
    /// Idle blocks have none, which tells whoever gives one back once too often.
    std::atomic<std::int32_t> references{0};
    /// The size that was asked for.
    quint32 size = 0;
    /// How many bytes at the beginning may be other than zero: the most that was asked for since all of them were zero.
    quint32 usedBytes = 0;

    /// Whose bytes the block holds. Null: anybody's.
    BlockHome *home = nullptr;
    // Only while the block is idle, guarded by the cache: its neighbours among all idle blocks, and among those that
    // the same callers may get.
    ChainLinks<Block> byAge;
    ChainLinks<Block> byHome;
};

static_assert(sizeof(std::size_t) == 8, "the largest block and its header exceed 4 GB");

/// How many classes there are for blocks of any size.
constexpr std::size_t sizeClassCount = SizeClass(sizeof(Block) + std::numeric_limits<quint32>::max()).index() + 1;

#endif
