#include "UnrestOperators.h"

#include <algorithm>
#include <chrono>

#include "control/ControlClient.h"
#include <gmock/gmock.h>

namespace {

constexpr int operatorCount = 8;
constexpr std::chrono::seconds requestLimit(20); // adding may take three, and removing a second

} // namespace

UnrestOperators::UnrestOperators(std::string socket, std::vector<Target> targets, std::uint64_t seed)
    : _socket(std::move(socket))
    , _targets(std::move(targets))
    , _chance(seed)
{
}

void UnrestOperators::begin()
{
    _next = 0;
    for (int number = 0; number < operatorCount; ++number)
        _threads.emplace_back(&UnrestOperators::work, this, Chance(static_cast<std::uint64_t>(_chance.below(1 << 30))));
}

void UnrestOperators::end()
{
    _ending = true;
    for (std::thread &thread : _threads)
        thread.join();
    _threads.clear();
    _ending = false;
}

void UnrestOperators::removeAll()
{
    _next = 0;
    for (int number = 0; number < operatorCount; ++number) {
        _threads.emplace_back([this] {
            for (std::size_t position = _next++; position < _targets.size(); position = _next++)
                ask({"remove", _targets[position].name});
        });
    }
    end();
}

bool UnrestOperators::isKept(const std::string &name) const
{
    return std::any_of(_targets.begin(), _targets.end(),
                       [&](const Target &target) { return target.isKept && target.name == name; });
}

void UnrestOperators::work(Chance chance)
{
    for (std::size_t position = _next++; position < _targets.size() && !_ending; position = _next++)
        ask({"add", _targets[position].url, _targets[position].name});
    while (!_ending) {
        const Target &target = chance.of(_targets);
        if (chance.oneIn(20))
            ask({chance.oneIn(2) ? "status" : "list"});
        else if (chance.oneIn(3) && !target.isKept)
            ask({"remove", target.name});
        else
            ask({"add", target.url, target.name});
        std::this_thread::sleep_for(std::chrono::milliseconds(100 + chance.below(900)));
    }
}

void UnrestOperators::ask(const Words &words)
{
    const auto begin = std::chrono::steady_clock::now();
    const ControlClient::Answer answer = ControlClient::ask(_socket, words, 2 * requestLimit);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, requestLimit) << testing::PrintToString(words);
    EXPECT_NE(answer.outcome, ControlClient::Outcome::WrongUsage) << testing::PrintToString(words);
    if (answer.outcome == ControlClient::Outcome::Done) {
        ++_done;
        return;
    }
    ++_refused;
    EXPECT_THAT(answer.error, testing::HasSubstr(words.back())) << "an answer that does not say what it is about";
}
