#include "CountingSlab.h"

#include <atomic>
#include <cstring>
#include <new>

#include "interfaces/BigBlocks.h"
#include "slab/BlockOwner.h"

namespace {

constexpr std::size_t alignment = 64;
constexpr int spoiled = 0xdd;

struct alignas(alignment) Header {
    std::atomic<int> owners{1};
    quint32 size = 0;
};

std::atomic<int> liveCount{0};
std::atomic<int> allocationsLeft{-1};

/// @return a block full of @p value; null when it is time for that.
void *allocate(quint32 size, int value)
{
    if (allocationsLeft == 0)
        return nullptr;
    if (allocationsLeft > 0)
        --allocationsLeft;
    auto *const header = new (::operator new(sizeof(Header) + size, std::align_val_t(alignment))) Header;
    header->size = size;
    std::memset(static_cast<void *>(header + 1), value, size);
    ++liveCount;
    return header + 1;
}

Header *headerOf(void *data)
{
    return static_cast<Header *>(data) - 1;
}

} // namespace

int CountingSlab::liveBlocks()
{
    return liveCount;
}

void CountingSlab::failAfter(int count)
{
    allocationsLeft = count;
}

void *slab::bigBlockAllocate(quint32 size)
{
    return allocate(size, spoiled);
}

slab::BlockOwner::BlockOwner()
    : _home(nullptr)
{
}

slab::BlockOwner::~BlockOwner() = default;

void *slab::BlockOwner::allocate(quint32 size)
{
    return ::allocate(size, 0);
}

void slab::bigBlockRetain(void *data)
{
    ++headerOf(data)->owners;
}

void slab::bigBlockDeallocate(void *data, quint32 size)
{
    Header *const header = headerOf(data);
    // A wrong size would give the block back to the wrong class of sizes.
    if (size != header->size)
        std::abort();
    if (--header->owners != 0)
        return;
    std::memset(data, spoiled, size);
    --liveCount;
    ::operator delete(header, std::align_val_t(alignment));
}
