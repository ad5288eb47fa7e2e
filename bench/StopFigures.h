#ifndef BENCH_THREADPOOLFIGURES_H
#define BENCH_THREADPOOLFIGURES_H

#include <vector>

/// Prints what 1,000 idle decoders on two threads take of a processor core, beside 1,000 bare timers of the same
/// interval on two threads. The two take turns; each figure is the median of its rounds.
void measureIdleLoad();

/// Prints how long it takes to stop a manager with 1,000 busy decoders on two threads: just after they were placed, and
/// when all of them run. Each figure is the worst of its rounds.
void measureStop();

/// @return the middle one of @p values, which must not be empty.
double median(std::vector<double> values);

#endif
