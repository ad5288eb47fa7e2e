#ifndef INTERFACES_BIGBLOCKS_H
#define INTERFACES_BIGBLOCKS_H

#include <QtGlobal>

/// The platform library `slab`: memory for decoded pictures. All operations are thread-safe, throw nothing, and a block
/// may be retained and given back on other threads than the one that allocated it.
///
/// A pointer that is no live block, or a wrong size, is an error of the caller. The reference library ends the process
/// where it notices one, after a line on the standard error output.
namespace slab {

/// @param size any number of bytes, 0 included.
/// @return a block of at least @p size bytes with one reference, aligned to 64 bytes, its contents undefined; null when
///         there is no memory.
void *bigBlockAllocate(quint32 size);

/// Adds a reference to the live block at @p data, for a second owner that will give it back by itself.
void bigBlockRetain(void *data);

/// Drops a reference to the live block at @p data; the last one frees it. @p size is the size that was asked for.
void bigBlockDeallocate(void *data, quint32 size);

} // namespace slab

#endif
