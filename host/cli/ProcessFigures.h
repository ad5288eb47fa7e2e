#ifndef HOST_CLI_PROCESSFIGURES_H
#define HOST_CLI_PROCESSFIGURES_H

#include <QtGlobal>

/// What the operating system counts of this process, and how much it allows it. Thread-safe.
namespace ProcessFigures {

/// Each output of each copy of each input holds a file open: far more than the 1024 that are usual until a program asks
/// for more.
void allowManyOpenFiles();

/// @return of all threads, those that have ended included.
[[nodiscard]] qint64 cpuTimeMs();

[[nodiscard]] qint64 peakMemoryBytes();

/// @return processor cores that it may use, at least 1.
[[nodiscard]] int cores();

} // namespace ProcessFigures

#endif
