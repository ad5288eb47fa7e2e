#include "modkit/ObjectTrace.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cxxabi.h>
#include <memory>
#include <mutex>
#include <new>
#include <string_view>
#include <unordered_map>

#include "strata/base/modkit/modkit"

namespace {

// A power of two, well above the number of threads that are likely to create objects at the same time.
constexpr unsigned shardBits = 6;

// One part of the trace. A block always falls into the same shard, so a call takes one lock, rarely one that another
// thread wants. The alignment keeps neighbouring locks off each other's cache line.
struct alignas(64) Shard {
    std::mutex mutex;
    // Both guarded by mutex. A type stays when its last object goes: few types are created over and over.
    std::map<std::string, std::size_t, std::less<>> countByType;
    std::unordered_map<const ModkitCounter *, std::size_t *> countOfBlock; // points into countByType
};

using Shards = std::array<Shard, std::size_t{1} << shardBits>;

Shards &shards()
{
    // Never deleted, because static destructors of other libraries run, and drop objects, after this library's.
    static Shards &all = *new Shards;
    return all;
}

Shard &shardOf(const ModkitCounter *counter)
{
    // The factor, 2^64 divided by the golden ratio, spreads addresses that differ in few bits over the highest bits.
    const std::uint64_t address = reinterpret_cast<std::uintptr_t>(counter);
    return shards()[(address * 0x9E3779B97F4A7C15U) >> (64 - shardBits)];
}

std::size_t &countOfTypeLocked(Shard &shard, std::string_view typeName)
{
    const auto known = shard.countByType.find(typeName);
    return known != shard.countByType.end() ? known->second
                                            : shard.countByType.try_emplace(std::string(typeName)).first->second;
}

void addLocked(Shard &shard, const ModkitCounter *counter, std::string_view typeName, bool newBlock)
{
    const auto known = shard.countOfBlock.find(counter);
    if (known == shard.countOfBlock.end()) {
        // A further reference to an unknown block enters it too: its owner created it untraced.
        std::size_t &count = countOfTypeLocked(shard, typeName);
        shard.countOfBlock.emplace(counter, &count);
        ++count;
    } else if (newBlock) {
        // The block that was here before has gone without a word, and its address is in use again.
        std::size_t &count = countOfTypeLocked(shard, typeName);
        --*known->second;
        known->second = &count;
        ++count;
    }
}

std::string readableName(const std::string &typeName)
{
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> readable(
        abi::__cxa_demangle(typeName.c_str(), nullptr, nullptr, &status), &std::free);
    return readable ? readable.get() : typeName;
}

} // namespace

extern "C" void ModkitObjectTrace_Add(ModkitCounter *counter, const char *typeName, std::int32_t flag)
{
    // A null block comes only from a pointer whose broken invariant was already reported and passed over.
    if (!counter)
        return;
    Shard &shard = shardOf(counter);
    const std::lock_guard<std::mutex> lock(shard.mutex);
    try {
        addLocked(shard, counter, typeName, flag == 0);
    } catch (const std::bad_alloc &) {
        // The block stays unlisted: an object must not be lost because its trace found no memory.
    }
}

extern "C" void ModkitObjectTrace_Remove(ModkitCounter *counter)
{
    Shard &shard = shardOf(counter);
    const std::lock_guard<std::mutex> lock(shard.mutex);
    const auto block = shard.countOfBlock.find(counter);
    if (block == shard.countOfBlock.end())
        return;
    --*block->second;
    shard.countOfBlock.erase(block);
}

std::size_t ObjectTrace::liveCount()
{
    std::size_t count = 0;
    for (Shard &shard : shards()) {
        const std::lock_guard<std::mutex> lock(shard.mutex);
        count += shard.countOfBlock.size();
    }
    return count;
}

std::map<std::string, std::size_t> ObjectTrace::liveCountByType()
{
    std::map<std::string, std::size_t> countByTypeName;
    for (Shard &shard : shards()) {
        const std::lock_guard<std::mutex> lock(shard.mutex);
        for (const auto &[typeName, count] : shard.countByType) {
            if (count != 0)
                countByTypeName[typeName] += count;
        }
    }
    // Made readable outside the locks, once for each type.
    std::map<std::string, std::size_t> result;
    for (const auto &[typeName, count] : countByTypeName)
        result[readableName(typeName)] += count;
    return result;
}
