#include "StormBigBlocks.h"

#include <dlfcn.h>

#include "StormRecord.h"
#include "interfaces/BigBlocks.h"

namespace {

/// The allocator's own definition of @p symbol.
template <class Function>
Function *inAllocator(const char *symbol)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, symbol));
}

} // namespace

StormLedger::Count &StormBigBlocks::count()
{
    static StormLedger::Count value;
    return value;
}

// The program's own definitions go before those in the library.

void *slab::bigBlockAllocate(quint32 size)
{
    static auto *const real = inAllocator<void *(quint32)>("_ZN4slab16bigBlockAllocateEj");
    ++StormBigBlocks::count().born;
    return real(size);
}

void slab::bigBlockDeallocate(void *data, quint32 size)
{
    static auto *const real = inAllocator<void(void *, quint32)>("_ZN4slab18bigBlockDeallocateEPvj");
    auto *const stamp = static_cast<StormStamp *>(data);
    if (stamp->magic != StormStamp::alive)
        StormLedger::violation("a big block is given back a second time");
    if (stamp->size != size)
        StormLedger::violation("a big block is given back with another size");
    stamp->magic = 0;
    ++StormBigBlocks::count().gone;
    real(data, size);
}
