#ifndef FAKES_FAKEELAPSEDTIME_H
#define FAKES_FAKEELAPSEDTIME_H

#include <QtGlobal>

/// Stands in for QElapsedTimer's start, restart and elapsed in a test program that is linked with it: there, a duration
/// grows only as a test says. Independent of the wall clock. Qt's own durations are not affected. Thread-safe.
namespace FakeElapsedTime {

void advance(qint64 byMs);

} // namespace FakeElapsedTime

#endif
