#include <memory>

#include "strata/base/modkit/modkit"
#include <benchmark/benchmark.h>

namespace {

class Traced final : public IPolymorph {};

// Enters and removes blocks that belong to this thread alone, with as many of them in the trace at a time as the
// argument says. Reports the mean time of one call.
void addAndRemove(benchmark::State &state)
{
    const auto blockCount = static_cast<std::size_t>(state.range(0));
    const auto blocks = std::make_unique<ModkitCounter[]>(blockCount);
    const char *const typeName = typeid(Traced).name();
    while (state.KeepRunning()) {
        for (std::size_t i = 0; i < blockCount; ++i)
            ModkitObjectTrace_Add(&blocks[i], typeName, 0);
        for (std::size_t i = 0; i < blockCount; ++i)
            ModkitObjectTrace_Remove(&blocks[i]);
    }
    state.counters["perCall"] = benchmark::Counter(2.0 * static_cast<double>(blockCount),
                                                   benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kAvgThreads | benchmark::Counter::kInvert);
}
BENCHMARK(addAndRemove)->Arg(1)->Arg(1000)->ThreadRange(1, 16);

// A conversion of a pointer: a further reference to a block that is listed.
void addKnownBlock(benchmark::State &state)
{
    ModkitCounter block;
    const char *const typeName = typeid(Traced).name();
    ModkitObjectTrace_Add(&block, typeName, 0);
    while (state.KeepRunning())
        ModkitObjectTrace_Add(&block, typeName, 1);
    ModkitObjectTrace_Remove(&block);
}
BENCHMARK(addKnownBlock)->ThreadRange(1, 16);

} // namespace
