#ifndef HOST_SLAB_BIGBLOCKCOUNTS_H
#define HOST_SLAB_BIGBLOCKCOUNTS_H

#include <QtGlobal>

/// What the reference library `slab` has given out and not got back for good. Both are thread-safe; while other threads
/// allocate and free, the two answers need not belong to the same moment.
namespace slab {

/// @return the number of blocks with an owner.
quint64 liveBlockCount();

/// @return the sum of their sizes as they were asked for.
quint64 liveByteCount();

} // namespace slab

#endif
