#ifndef FAKES_FAKEIDEALTHREADCOUNT_H
#define FAKES_FAKEIDEALTHREADCOUNT_H

/// Stands in for QThread::idealThreadCount in a test program that is linked with it.
namespace FakeIdealThreadCount {

/// @param count -1: the number of processor cores cannot be told.
void set(int count);

} // namespace FakeIdealThreadCount

#endif
