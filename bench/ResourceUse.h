#ifndef BENCH_RESOURCEUSE_H
#define BENCH_RESOURCEUSE_H

#include <chrono>

/// What the process has used since this was made. Thread-safe.
class ResourceUse final {
public:
    ResourceUse();

    /// Processor time of all threads, user and system, in seconds.
    double processorSeconds() const { return processSeconds() - _processorSecondsBefore; }
    double wallSeconds() const;

    /// The most memory that the process has had resident since it began to run this program, in KB; 0 when unknown.
    static long peakMemoryKb();

private:
    static double processSeconds();

    double _processorSecondsBefore;
    std::chrono::steady_clock::time_point _begin;
};

#endif
