#ifndef HOST_SLAB_BLOCKOWNER_H
#define HOST_SLAB_BLOCKOWNER_H

#include <QtGlobal>

struct BlockHome;

namespace slab {

/// Somebody whose big blocks show nobody else's bytes, such as the codec decoder of one stream: a codec may leave parts
/// of a damaged picture as it found them.
///
/// Of the reference library `slab`, beside what the contract asks of it. Its blocks are retained and given back like
/// those of bigBlockAllocate, by anybody, on any thread, and also after the owner is gone. What it has got back is kept
/// for it; others get it when the owner is gone.
///
/// Thread-safe; blocks for nothing but a short lock.
class BlockOwner final {
public:
    /// May throw std::bad_alloc, unlike the other operations.
    BlockOwner();
    ~BlockOwner();
    BlockOwner(const BlockOwner &) = delete;
    BlockOwner &operator=(const BlockOwner &) = delete;

    /// As bigBlockAllocate, but with defined contents.
    /// @return a block that holds nothing but zeros and what was in earlier blocks of this owner; null when there is no
    ///         memory.
    void *allocate(quint32 size);

private:
    BlockHome *const _home;
};

} // namespace slab

#endif
