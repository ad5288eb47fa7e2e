#include "cli/RunMessages.h"

#include <chrono>
#include <utility>

#include "media/ClockTime.h"

namespace {

constexpr std::size_t maxLatest = 50;

} // namespace

void RunMessages::add(const Message &message)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (_latest.size() == maxLatest)
        _latest.erase(_latest.begin());
    _latest.push_back({++_count, message.at, message.text, message.isError});
    _new.push_back(ClockTime::full(message.at) + ": " + message.text);
}

void RunMessages::add(const std::string &text)
{
    add(Message{0, std::chrono::system_clock::now(), text, false});
}

std::vector<std::string> RunMessages::take()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return std::exchange(_new, {});
}

std::vector<RunMessages::Message> RunMessages::latest() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _latest;
}
