#include "interfaces/BigBlocks.h"

#include <atomic>
#include <cstdint>
#include <new>

namespace {

constexpr std::size_t alignment = 64;

/// Stands right before the bytes that the caller gets, and keeps them aligned.
struct alignas(alignment) Header {
    std::atomic<std::int32_t> references{1};
};

Header *headerOf(void *data)
{
    return static_cast<Header *>(data) - 1;
}

} // namespace

void *slab::bigBlockAllocate(quint32 size)
{
    void *const memory = ::operator new(sizeof(Header) + size, std::align_val_t(alignment), std::nothrow);
    if (!memory)
        return nullptr;
    Header *const header = new (memory) Header;
    return header + 1;
}

void slab::bigBlockRetain(void *data)
{
    headerOf(data)->references.fetch_add(1);
}

void slab::bigBlockDeallocate(void *data, quint32 /*size*/)
{
    Header *const header = headerOf(data);
    if (header->references.fetch_sub(1) == 1)
        ::operator delete(header, std::align_val_t(alignment));
}
