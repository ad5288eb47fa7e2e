#include "StormBigBlocks.h"

#include "StormRecord.h"
#include "interfaces/BigBlocks.h"
#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace {

/// The allocator's own definition of @p symbol.
template <class Function>
Function *inAllocator(const char *symbol)
{
#if defined(_WIN32)
    void (*const found)() = reinterpret_cast<void (*)()>(GetProcAddress(LoadLibraryA("slab.dll"), symbol));
    return reinterpret_cast<Function *>(found);
#else
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, symbol));
#endif
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
