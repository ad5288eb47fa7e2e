#include "terminal/DisplayThread.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

#include "media/ClockTime.h"
#include "threads/HostThread.h"
#include <decoding/Error.h>

namespace {

using namespace std::chrono_literals;

constexpr auto keyInterval = 20ms; // that the keyboard is looked at in
constexpr auto patience = 500ms;   // with a terminal that takes nothing at the end

} // namespace

struct DisplayThread::State {
    std::mutex mutex; // guards all
    std::condition_variable changed;
    std::deque<std::string> messages;
    std::size_t dropped = 0; // messages
    std::optional<decoding::Snapshot> snapshot;
    std::vector<BoardAction> actions;
    bool wantsSnapshot = false;
    bool isEnding = false;
    bool hasEnded = false;
};

DisplayThread::DisplayThread(RunDisplay::Options options)
    : _state(std::make_shared<State>())
{
    try {
        HostThread::start("Display", [state = _state, options] { run(*state, options); }).detach();
    } catch (const std::system_error &error) {
        throw decoding::Error(std::string("there is no thread for the display: ") + error.what());
    }
}

DisplayThread::~DisplayThread()
{
    std::unique_lock<std::mutex> lock(_state->mutex);
    _state->isEnding = true;
    _state->changed.notify_all();
    _state->changed.wait_for(lock, patience, [this] { return _state->hasEnded; });
}

void DisplayThread::tell(const std::string &message)
{
    const std::lock_guard<std::mutex> lock(_state->mutex);
    if (_state->messages.size() == maxWaiting) {
        _state->messages.pop_front();
        ++_state->dropped;
    }
    _state->messages.push_back(message);
    _state->changed.notify_all();
}

bool DisplayThread::wantsSnapshot() const
{
    const std::lock_guard<std::mutex> lock(_state->mutex);
    return _state->wantsSnapshot;
}

void DisplayThread::show(decoding::Snapshot snapshot)
{
    const std::lock_guard<std::mutex> lock(_state->mutex);
    _state->snapshot = std::move(snapshot);
    _state->wantsSnapshot = false;
    _state->changed.notify_all();
}

std::vector<BoardAction> DisplayThread::takeActions()
{
    const std::lock_guard<std::mutex> lock(_state->mutex);
    return std::exchange(_state->actions, {});
}

void DisplayThread::run(State &state, RunDisplay::Options options)
{
    {
        RunDisplay display(options);
        std::unique_lock<std::mutex> lock(state.mutex);
        bool isEnding = false;
        while (!isEnding) {
            state.changed.wait_for(lock, keyInterval,
                                   [&state] { return state.isEnding || state.snapshot || !state.messages.empty(); });
            isEnding = state.isEnding;
            const std::deque<std::string> messages = std::exchange(state.messages, {});
            const std::size_t dropped = std::exchange(state.dropped, 0);
            const std::optional<decoding::Snapshot> snapshot = std::exchange(state.snapshot, std::nullopt);
            lock.unlock();

            if (dropped > 0)
                display.tell(ClockTime::full(std::chrono::system_clock::now()) + ": " + std::to_string(dropped) +
                             " messages before this one could not be shown");
            for (const std::string &message : messages)
                display.tell(message);
            const auto now = RunDisplay::Instant::clock::now();
            const BoardAction action = snapshot ? display.update(*snapshot, now) : BoardAction::None;
            const bool wantsSnapshot = display.wantsUpdate(now);

            lock.lock();
            state.wantsSnapshot = wantsSnapshot && !state.snapshot;
            if (action != BoardAction::None)
                state.actions.push_back(action);
        }
    }
    // Behind the display: the terminal is given back before anybody prints a report.
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.hasEnded = true;
    state.changed.notify_all();
}
