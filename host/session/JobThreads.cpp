#include "session/JobThreads.h"

#include <condition_variable>
#include <deque>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "threads/HostThread.h"

namespace {

constexpr std::chrono::seconds longestIdleTime(1);

} // namespace

struct JobThreads::Pool : std::enable_shared_from_this<Pool> {
    using Threads = std::list<std::thread>;

    Pool(const char *ofThreads, std::size_t most, bool stay)
        : name(ofThreads)
        , max(most)
        , threadsStay(stay)
    {
    }

    void startLocked();
    void run(Threads::iterator own);
    bool waitForJob(std::unique_lock<std::mutex> &lock);

    const char *const name;
    const std::size_t max;
    const bool threadsStay;

    std::mutex mutex; // guards all that follows
    std::condition_variable wakeUp;
    std::condition_variable threadEnded;
    std::deque<std::function<void()>> jobs; // that wait
    Threads threads;
    std::size_t idle = 0; // of them
    std::vector<std::thread> ended;
    bool ending = false;
};

/// @throws std::system_error and nothing is changed.
void JobThreads::Pool::startLocked()
{
    const auto own = threads.emplace(threads.end());
    try {
        *own = HostThread::start(name, [pool = shared_from_this(), own] { pool->run(own); });
    } catch (const std::system_error &) {
        threads.erase(own);
        throw;
    }
}

void JobThreads::Pool::run(Threads::iterator own)
{
    std::unique_lock<std::mutex> lock(mutex);
    while (waitForJob(lock)) {
        {
            const std::function<void()> job = std::move(jobs.front());
            jobs.pop_front();
            lock.unlock();
            job();
        }
        lock.lock();
    }
    if (own->joinable()) // else it was left behind
        ended.push_back(std::move(*own));
    threads.erase(own);
    threadEnded.notify_all();
}

/// @return false when no job is left, and the thread is not needed.
bool JobThreads::Pool::waitForJob(std::unique_lock<std::mutex> &lock)
{
    const auto isCalled = [this] { return ending || !jobs.empty(); };
    ++idle;
    if (threadsStay)
        wakeUp.wait(lock, isCalled);
    else
        wakeUp.wait_for(lock, longestIdleTime, isCalled);
    --idle;
    return !jobs.empty();
}

JobThreads::JobThreads(const char *name, Patience patience)
    : _pool(std::make_shared<Pool>(name, 1, true))
    , _reserve(nullptr)
    , _patience(patience)
{
    const std::lock_guard<std::mutex> lock(_pool->mutex);
    _pool->startLocked();
}

JobThreads::JobThreads(const char *name, std::size_t max, JobThreads &reserve, Patience patience)
    : _pool(std::make_shared<Pool>(name, max, false))
    , _reserve(&reserve)
    , _patience(patience)
{
}

JobThreads::~JobThreads()
{
    std::vector<std::thread> ended;
    {
        std::unique_lock<std::mutex> lock(_pool->mutex);
        _pool->ending = true;
        _pool->wakeUp.notify_all();
        const auto isOver = [this] { return _pool->threads.empty(); };
        if (_patience)
            _pool->threadEnded.wait_for(lock, *_patience, isOver);
        else
            _pool->threadEnded.wait(lock, isOver);
        for (std::thread &left : _pool->threads)
            left.detach();
        ended.swap(_pool->ended);
    }
    for (std::thread &thread : ended)
        thread.join();
}

void JobThreads::post(std::function<void()> job)
{
    std::vector<std::thread> ended;
    {
        const std::lock_guard<std::mutex> lock(_pool->mutex);
        ended.swap(_pool->ended);
        if (_pool->idle <= _pool->jobs.size() && _pool->threads.size() < _pool->max) {
            try {
                _pool->startLocked();
            } catch (const std::system_error &) { // NOLINT(bugprone-empty-catch): those that are there do it, then
            }
        }
        if (!_pool->threads.empty()) {
            _pool->jobs.push_back(std::move(job));
            _pool->wakeUp.notify_one();
            job = nullptr;
        }
    }
    for (std::thread &thread : ended)
        thread.join();
    if (job)
        _reserve->post(std::move(job));
}
