#include "fakes/RecordedTrace.h"

#include <mutex>
#include <utility>

namespace {

std::mutex mutex;
std::vector<RecordedTrace::Call> calls;
std::map<const ModkitCounter *, std::string> live;
std::function<void(const RecordedTrace::Call &)> watcher;

void note(const RecordedTrace::Call &call)
{
    std::function<void(const RecordedTrace::Call &)> watching;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        calls.push_back(call);
        watching = watcher;
    }
    if (watching)
        watching(call);
}

} // namespace

void ModkitObjectTrace_Add(ModkitCounter *counter, const char *typeName, std::int32_t flag)
{
    note({RecordedTrace::Call::Add, counter, typeName, flag});
    const std::lock_guard<std::mutex> lock(mutex);
    if (flag == 0)
        live[counter] = typeName;
}

void ModkitObjectTrace_Remove(ModkitCounter *counter)
{
    note({RecordedTrace::Call::Remove, counter, std::string(), 0});
    const std::lock_guard<std::mutex> lock(mutex);
    live.erase(counter);
}

std::vector<RecordedTrace::Call> RecordedTrace::take()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(calls, {});
}

void RecordedTrace::watch(const std::function<void(const Call &)> &duringCall)
{
    const std::lock_guard<std::mutex> lock(mutex);
    watcher = duringCall;
}

std::map<std::string, int> RecordedTrace::liveByTypeName()
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::map<std::string, int> counts;
    for (const auto &block : live)
        ++counts[block.second];
    return counts;
}
