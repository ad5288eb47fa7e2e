#ifndef BENCH_STOPFIGURES_H
#define BENCH_STOPFIGURES_H

/// Prints how long it takes to stop a manager with 1,000 busy decoders on two threads: just after they were placed, and
/// when all of them run. Each figure is the worst of its rounds.
void measureStop();

#endif
