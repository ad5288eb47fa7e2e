#ifndef HOST_FORMAT_TESTS_COUNTINGSLAB_H
#define HOST_FORMAT_TESTS_COUNTINGSLAB_H

/// Stands in for the library slab: counts blocks, spoils those that are given back, and runs out of memory when it is
/// told to. Blocks of an owner begin as zeros, the other ones spoiled.
namespace CountingSlab {

/// Blocks that have an owner.
int liveBlocks();

/// From now on, @p count allocations succeed and the later ones fail; a negative number: none fails.
void failAfter(int count);

} // namespace CountingSlab

#endif
