#ifndef BENCH_LATENCYFIGURES_H
#define BENCH_LATENCYFIGURES_H

/// How long blocks wait from their arrival in the queue to the call of their codec's `decode`.
namespace LatencyFigures {

/// Runs paced streams of 25 blocks a second, @p blockCount blocks of each, whose codec computes so long that the
/// threads are busy for half of the time, and prints the latency of every block in microseconds, in ascending order.
/// The streams begin at moments that have nothing to do with each other; @p seed chooses them.
/// @return the program's exit code.
int measure(int streamCount, int threadCount, int blockCount, unsigned seed);

} // namespace LatencyFigures

#endif
