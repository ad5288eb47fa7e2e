#ifndef FAKES_FAKEIDEALTHREADCOUNT_H
#define FAKES_FAKEIDEALTHREADCOUNT_H

#include <functional>

/// Stands in for QThread::idealThreadCount in a test program that is linked with it.
namespace FakeIdealThreadCount {

/// @param count -1: the number of processor cores is unknown.
void set(int count);

/// @param duringCount called within each count from now on; empty: nothing is.
void watch(const std::function<void()> &duringCount);

} // namespace FakeIdealThreadCount

#endif
