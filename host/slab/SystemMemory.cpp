#include "slab/SystemMemory.h"

#if defined(__SANITIZE_ADDRESS__)

#include <cstring>
#include <new>

void *systemMemory::fetch(std::size_t /*bytes*/, std::size_t usedBytes)
{
    void *const memory = ::operator new(usedBytes, std::align_val_t(64), std::nothrow);
    return memory ? std::memset(memory, 0, usedBytes) : nullptr;
}

void systemMemory::release(void *memory, std::size_t /*bytes*/)
{
    ::operator delete(memory, std::align_val_t(64));
}

#elif defined(_WIN32)

#include <windows.h>

void *systemMemory::fetch(std::size_t bytes, std::size_t /*usedBytes*/)
{
    return VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void systemMemory::release(void *memory, std::size_t /*bytes*/)
{
    VirtualFree(memory, 0, MEM_RELEASE);
}

#else

#include <sys/mman.h>

void *systemMemory::fetch(std::size_t bytes, std::size_t /*usedBytes*/)
{
    void *const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

void systemMemory::release(void *memory, std::size_t bytes)
{
    munmap(memory, bytes);
}

#endif
