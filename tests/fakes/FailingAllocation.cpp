#include "fakes/FailingAllocation.h"

#include <cstdlib>
#include <dlfcn.h>

namespace {

constexpr int none = -1;

thread_local int allocationsBeforeFailure = none;

bool isToFail()
{
    return allocationsBeforeFailure != none && allocationsBeforeFailure-- == 0;
}

/// The C library's own definition of @p symbol.
template <class Function>
Function *inLibrary(const char *symbol)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, symbol));
}

} // namespace

FailingAllocation::FailingAllocation(int before)
{
    allocationsBeforeFailure = before;
}

FailingAllocation::~FailingAllocation()
{
    allocationsBeforeFailure = none;
}

bool FailingAllocation::hasFailed() const
{
    return allocationsBeforeFailure == none;
}

// The program's own definitions go before those in the library.

void *malloc(std::size_t size) noexcept
{
    static auto *const real = inLibrary<void *(std::size_t)>("malloc");
    return isToFail() ? nullptr : real(size);
}

void *realloc(void *block, std::size_t size) noexcept
{
    static auto *const real = inLibrary<void *(void *, std::size_t)>("realloc");
    return isToFail() ? nullptr : real(block, size);
}
