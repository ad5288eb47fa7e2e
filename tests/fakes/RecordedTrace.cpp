#include "fakes/RecordedTrace.h"

#include <mutex>
#include <utility>

namespace {

std::mutex mutex;
std::vector<RecordedTrace::Call> calls;
std::map<const ModkitCounter *, std::string> live;

} // namespace

void ModkitObjectTrace_Add(ModkitCounter *counter, const char *typeName, std::int32_t flag)
{
    const std::lock_guard<std::mutex> lock(mutex);
    calls.push_back({RecordedTrace::Call::Add, counter, typeName, flag});
    if (flag == 0)
        live[counter] = typeName;
}

void ModkitObjectTrace_Remove(ModkitCounter *counter)
{
    const std::lock_guard<std::mutex> lock(mutex);
    calls.push_back({RecordedTrace::Call::Remove, counter, std::string(), 0});
    live.erase(counter);
}

std::vector<RecordedTrace::Call> RecordedTrace::take()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(calls, {});
}

std::map<std::string, int> RecordedTrace::liveByTypeName()
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::map<std::string, int> counts;
    for (const auto &block : live)
        ++counts[block.second];
    return counts;
}
