#include "session/JobThreads.h"

#include <system_error>
#include <utility>

#include "threads/HostThread.h"

JobThreads::JobThreads(const char *name, std::size_t max)
    : _name(name)
    , _max(max)
{
}

JobThreads::~JobThreads()
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _ending = true;
    }
    _wakeUp.notify_all();
    for (std::thread &thread : _threads)
        thread.join();
}

bool JobThreads::post(std::function<void()> job)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (_idle <= _jobs.size() && _threads.size() < _max) {
        try {
            _threads.push_back(HostThread::start(_name, [this] { run(); }));
        } catch (const std::system_error &) {
            if (_threads.empty())
                return false;
        }
    }
    _jobs.push_back(std::move(job));
    _wakeUp.notify_one();
    return true;
}

void JobThreads::run()
{
    std::unique_lock<std::mutex> lock(_mutex);
    for (;;) {
        ++_idle;
        _wakeUp.wait(lock, [this] { return _ending || !_jobs.empty(); });
        --_idle;
        if (_jobs.empty())
            return;
        {
            const std::function<void()> job = std::move(_jobs.front());
            _jobs.pop_front();
            lock.unlock();
            job();
        }
        lock.lock();
    }
}
