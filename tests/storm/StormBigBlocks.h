#ifndef STORM_STORMBIGBLOCKS_H
#define STORM_STORMBIGBLOCKS_H

#include "StormLedger.h"

/// Stands before the allocator in this program, and counts what is taken from it and given back. The bytes of a
/// StormStamp tell whether a block is given back twice, or with another size than it was asked for.
namespace StormBigBlocks {

StormLedger::Count &count();

} // namespace StormBigBlocks

#endif
