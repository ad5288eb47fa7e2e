#ifndef HOST_SLAB_BLOCK_H
#define HOST_SLAB_BLOCK_H

#include <QtGlobal>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "slab/SizeClass.h"

/// What stands right before the bytes that a caller gets, and keeps them aligned.
struct alignas(64) Block {
    explicit Block(SizeClass blockSizeClass)
        : sizeClass(blockSizeClass)
    {
    }

    static constexpr quint64 magicNumber = 0xb10cb10c5a5a1357;

    const quint64 magic = magicNumber;
    const SizeClass sizeClass;
    /// How many owners the block has. Idle blocks have none, which tells whoever gives one back once too often.
    std::atomic<std::int32_t> references{0};
    /// The size that was asked for.
    quint32 size = 0;

    // Only while the block is idle, guarded by the cache: its neighbours of the same size class, and which of all idle
    // blocks it is, counted since the start.
    Block *newer = nullptr;
    Block *older = nullptr;
    quint64 turn = 0;
};

static_assert(sizeof(std::size_t) == 8, "the largest block and its header exceed 4 GB");

/// How many classes there are for blocks of any size.
constexpr std::size_t sizeClassCount = SizeClass(sizeof(Block) + std::numeric_limits<quint32>::max()).index() + 1;

#endif
