#include <array>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "fakes/RecordedTrace.h"

// The object trace for programs whose allocations fail at will: it takes no memory, and records no calls.

namespace {

using Entry = std::pair<const ModkitCounter *, const char *>;

std::mutex mutex;
std::array<Entry, 1000> live; // guarded by mutex; entries without a counter are free

/// @return the entry of @p counter, under the mutex.
Entry &entryOf(const ModkitCounter *counter)
{
    for (Entry &entry : live) {
        if (entry.first == counter)
            return entry;
    }
    std::fputs("The object trace is full, or has no such object.\n", stderr);
    std::abort();
}

} // namespace

void ModkitObjectTrace_Add(ModkitCounter *counter, const char *typeName, std::int32_t flag)
{
    if (flag != 0)
        return;
    const std::lock_guard<std::mutex> lock(mutex);
    entryOf(nullptr) = {counter, typeName};
}

void ModkitObjectTrace_Remove(ModkitCounter *counter)
{
    const std::lock_guard<std::mutex> lock(mutex);
    entryOf(counter) = {};
}

std::vector<RecordedTrace::Call> RecordedTrace::take()
{
    return {};
}

std::map<std::string, int> RecordedTrace::liveByTypeName()
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::map<std::string, int> counts;
    for (const Entry &entry : live) {
        if (entry.first)
            ++counts[entry.second];
    }
    return counts;
}
