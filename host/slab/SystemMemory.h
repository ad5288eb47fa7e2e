#ifndef HOST_SLAB_SYSTEMMEMORY_H
#define HOST_SLAB_SYSTEMMEMORY_H

#include <cstddef>

/// Whole pages from the operating system; under AddressSanitizer from its own heap, which knows leaks and accesses to
/// freed memory. Thread-safe.
namespace systemMemory {

/// @param usedBytes how many of the @p bytes are used until the memory is released: AddressSanitizer finds accesses
///        beyond them.
/// @return memory of zeros, aligned to 64 bytes at least, to be released; null when the system has no more.
void *fetch(std::size_t bytes, std::size_t usedBytes);

/// Gives the memory back to the system; @p bytes is what it was fetched with.
void release(void *memory, std::size_t bytes);

} // namespace systemMemory

#endif
