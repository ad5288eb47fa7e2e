#include "session/DeliveryThreads.h"

#include <algorithm>
#include <exception>
#include <fstream>
#include <string>
#include <unistd.h>
#include <utility>

#include "threads/HostThread.h"

namespace {

/// Work that has waited so long may wait for callbacks that wait themselves.
constexpr std::chrono::milliseconds patience(10);
/// Between two looks at what those callbacks do.
constexpr std::chrono::milliseconds shortestPause(1);
/// A callback that takes longer is slow, though it may be busy. One that is quick and waits for a processor is not.
constexpr std::chrono::milliseconds longestTurn(50);
constexpr std::chrono::seconds longestIdleTime(1);
/// After which a thread that the system has refused is asked for again.
constexpr std::chrono::milliseconds refusalTime(100);

/// @return whether a thread of this process waits for something else than a processor. One that the system tells
///         nothing of is taken for one that does.
bool isAsleep(pid_t id)
{
    std::ifstream file("/proc/self/task/" + std::to_string(id) + "/stat");
    std::string line;
    std::getline(file, line);
    // For instance "4711 (Frames) R 1 4711": the name is the program's.
    const std::size_t endOfName = line.rfind(')');
    return endOfName == std::string::npos || line.compare(endOfName, 4, ") R ") != 0;
}

} // namespace

DeliveryThreads::DeliveryThreads(std::size_t processors)
    : _processors(processors)
{
}

DeliveryThreads::~DeliveryThreads()
{
    // The last share may have been that of the last thread, which cannot wait for itself.
    for (std::thread &thread : _done) {
        if (thread.get_id() == std::this_thread::get_id())
            thread.detach();
        else
            thread.join();
    }
}

std::function<void()> DeliveryThreads::add(Call call)
{
    auto delivery = std::make_shared<Delivery>();
    delivery->call = std::move(call);
    const std::lock_guard<std::mutex> starting(_starting);
    bool isFirst = false;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        ++_live;
        isFirst = _threads.empty();
        if (isFirst)
            ++_called;
    }
    if (isFirst && !start()) {
        const std::lock_guard<std::mutex> lock(_mutex);
        --_live;
        _changed.notify_all();
        return {};
    }
    return [shared = shared_from_this(), delivery = std::move(delivery)] { shared->wake(delivery); };
}

void DeliveryThreads::waitForAll()
{
    std::vector<std::thread> done;
    {
        std::unique_lock<std::mutex> lock(_mutex);
        const bool isOneOfThem = std::any_of(_threads.begin(), _threads.end(), [](const Thread &thread) {
            return thread.id == std::this_thread::get_id();
        });
        const auto isOver = [this, isOneOfThem] { return isOneOfThem ? _live == 1 : _live == 0 && _threads.empty(); };
        while (!_changed.wait_for(lock, refusalTime, isOver)) {
            // This may be called by the only thread, which was refused a spare one.
            if (_waiting.empty() || !_idle.empty() || _called > 0)
                continue;
            ++_called;
            lock.unlock();
            startSpare();
            lock.lock();
        }
        done.swap(_done);
    }
    join(done);
}

void DeliveryThreads::wake(const std::shared_ptr<Delivery> &delivery)
{
    const Clock::time_point now = Clock::now();
    const std::lock_guard<std::mutex> lock(_mutex);
    if (std::exchange(delivery->isScheduled, true)) {
        delivery->isWoken = true;
        return;
    }
    _waiting.push_back({delivery, now});
    callIdleLocked();
}

/// Starts a thread, which the caller has counted as called. To be called with _starting, without _mutex.
/// @return false, and it is no longer counted, when the system refuses it.
bool DeliveryThreads::start()
{
    Threads::iterator own;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        own = _threads.emplace(_threads.end());
    }
    try {
        own->handle = HostThread::start("Frames", [shared = shared_from_this(), own] {
            {
                // Until then, the handle is not in its place.
                const std::lock_guard<std::mutex> started(shared->_starting);
            }
            shared->serve(own);
        });
    } catch (const std::exception &) { // of the system, or no memory
        const std::lock_guard<std::mutex> lock(_mutex);
        _threads.erase(own);
        --_called;
        callIdleLocked();
        _changed.notify_all();
        return false;
    }
    return true;
}

/// As above. Without it, work waits until a callback has returned.
void DeliveryThreads::startSpare()
{
    const std::lock_guard<std::mutex> starting(_starting);
    static_cast<void>(start());
}

void DeliveryThreads::serve(Threads::iterator own)
{
    std::vector<std::thread> done;
    {
        std::unique_lock<std::mutex> lock(_mutex);
        own->id = std::this_thread::get_id();
        own->systemId = ::gettid();
        --_called;
        while (_live > 0) {
            if (!_waiting.empty() && _awake < _processors)
                work(*own, lock);
            else if (!waitForCall(*own, lock))
                break;
        }
        done.swap(_done);
        _done.push_back(std::move(own->handle));
        _threads.erase(own);
        _changed.notify_all();
    }
    join(done);
}

void DeliveryThreads::work(Thread &own, std::unique_lock<std::mutex> &lock)
{
    const std::shared_ptr<Delivery> delivery = std::move(_waiting.front().delivery);
    _waiting.pop_front();
    delivery->isWoken = false;
    ++_awake;
    own.isAwake = true;
    own.turn = ++_lastTurn;
    own.since = Clock::now();
    own.hasReturned = false;
    const bool isLast = _idle.empty() && _called == 0;
    if (isLast)
        ++_called;
    lock.unlock();
    if (isLast)
        startSpare();
    const Next next = delivery->call();
    if (next == Next::Done)
        delivery->call = nullptr;
    own.hasReturned = true;
    lock.lock();
    if (std::exchange(own.isAwake, false))
        --_awake;
    if (next == Next::Done)
        noteDoneLocked();
    else if (next == Next::More || delivery->isWoken)
        _waiting.push_back({delivery, Clock::now()});
    else
        delivery->isScheduled = false;
}

/// Notes that a delivery is done. It stays scheduled, so that waking it does nothing.
void DeliveryThreads::noteDoneLocked()
{
    --_live;
    _changed.notify_all();
    if (_live > 0)
        return;
    for (Thread *const idle : std::exchange(_idle, {})) {
        ++_called;
        idle->isCalled = true;
        idle->called.notify_one();
    }
    _isWatched = false;
}

/// @return false when the thread is not needed.
bool DeliveryThreads::waitForCall(Thread &own, std::unique_lock<std::mutex> &lock)
{
    own.isCalled = false;
    _idle.push_back(&own);
    callIdleLocked();
    const Clock::time_point end = Clock::now() + longestIdleTime;
    while (!own.isCalled) {
        if (_idle.front() == &own) {
            watch(own, lock);
        } else if (own.called.wait_until(lock, end) == std::cv_status::timeout && !own.isCalled) {
            _idle.erase(std::find(_idle.begin(), _idle.end(), &own));
            return false;
        }
    }
    --_called;
    return true;
}

/// Waits as the spare thread.
void DeliveryThreads::watch(Thread &own, std::unique_lock<std::mutex> &lock)
{
    _isWatched = !_waiting.empty();
    if (!_isWatched) {
        own.called.wait(lock);
        return;
    }
    const Clock::time_point next = std::max(_waiting.front().since + patience, Clock::now() + shortestPause);
    if (own.called.wait_until(lock, next) == std::cv_status::timeout && !own.isCalled && !_waiting.empty() &&
        Clock::now() - _waiting.front().since >= patience)
        countOutThoseAsleep(lock);
}

/// Has the lock given back while it asks the system.
void DeliveryThreads::countOutThoseAsleep(std::unique_lock<std::mutex> &lock)
{
    std::vector<std::pair<std::uint64_t, pid_t>> turns;
    std::vector<std::uint64_t> slowTurns;
    const Clock::time_point longSince = Clock::now() - longestTurn;
    for (const Thread &thread : _threads) {
        if (!thread.isAwake || thread.hasReturned)
            continue;
        if (thread.since <= longSince)
            slowTurns.push_back(thread.turn);
        else
            turns.emplace_back(thread.turn, thread.systemId);
    }
    lock.unlock();
    for (const auto &[turn, id] : turns) {
        if (isAsleep(id))
            slowTurns.push_back(turn);
    }
    lock.lock();
    for (Thread &thread : _threads) {
        if (thread.isAwake && !thread.hasReturned &&
            std::find(slowTurns.begin(), slowTurns.end(), thread.turn) != slowTurns.end()) {
            thread.isAwake = false;
            --_awake;
        }
    }
    callIdleLocked();
}

/// Has as many threads look for work as may take it. To be called when more of it waits, or fewer threads are awake.
void DeliveryThreads::callIdleLocked()
{
    while (!_idle.empty() && _called < _waiting.size() && _awake + _called < _processors) {
        Thread *const idle = _idle.back();
        _idle.pop_back();
        if (_idle.empty())
            _isWatched = false;
        ++_called;
        idle->isCalled = true;
        idle->called.notify_one();
    }
    if (!_idle.empty() && _called < _waiting.size() && !std::exchange(_isWatched, true))
        _idle.front()->called.notify_one();
}

void DeliveryThreads::join(std::vector<std::thread> &threads)
{
    for (std::thread &thread : threads)
        thread.join();
}
