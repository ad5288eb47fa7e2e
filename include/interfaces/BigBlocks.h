#ifndef INTERFACES_BIGBLOCKS_H
#define INTERFACES_BIGBLOCKS_H

#include <QtGlobal>

/// The platform library `slab`: memory for decoded pictures. All operations are thread-safe.
namespace slab {

/// @return a block of at least @p size bytes with one reference, aligned to 64 bytes; null when there is no memory.
void *bigBlockAllocate(quint32 size);

/// Adds a reference to the block at @p data, for a second owner that will give it back by itself.
void bigBlockRetain(void *data);

/// Drops a reference to the block at @p data; the last one frees it. @p size is the size that was asked for.
void bigBlockDeallocate(void *data, quint32 size);

} // namespace slab

#endif
