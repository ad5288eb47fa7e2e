#include "StormLedger.h"

#include <mutex>
#include <utility>

namespace {

constexpr std::size_t keptTexts = 20;

std::mutex mutex;
std::vector<std::string> texts; // guarded by mutex
std::size_t total = 0;          // guarded by mutex

} // namespace

void StormLedger::violation(const std::string &what)
{
    const std::lock_guard<std::mutex> lock(mutex);
    ++total;
    if (texts.size() < keptTexts)
        texts.push_back(what);
}

std::vector<std::string> StormLedger::takeViolations()
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<std::string> taken = std::exchange(texts, {});
    if (!taken.empty())
        taken.push_back(std::to_string(std::exchange(total, 0)) + " in all");
    return taken;
}
