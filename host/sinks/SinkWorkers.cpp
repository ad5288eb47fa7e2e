#include "sinks/SinkWorkers.h"

#include <utility>

SinkWorkers::Worker::Worker()
    : _thread(&Worker::run, this)
{
}

bool SinkWorkers::Worker::post(std::function<void()> job)
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (_ending)
            return false;
        _jobs.push_back(std::move(job));
    }
    _wakeUp.notify_one();
    return true;
}

void SinkWorkers::Worker::end()
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _ending = true;
    }
    _wakeUp.notify_one();
    _thread.join();
}

void SinkWorkers::Worker::run()
{
    std::unique_lock<std::mutex> lock(_mutex);
    for (;;) {
        _wakeUp.wait(lock, [this] { return _ending || !_jobs.empty(); });
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

SinkWorkers::SinkWorkers(std::size_t count)
{
    try {
        while (_workers.size() < count)
            _workers.push_back(std::make_shared<Worker>());
    } catch (...) {
        endAll();
        throw;
    }
}

SinkWorkers::~SinkWorkers()
{
    endAll();
}

void SinkWorkers::endAll()
{
    for (const std::shared_ptr<Worker> &worker : _workers)
        worker->end();
}

std::shared_ptr<SinkWorkers::Worker> SinkWorkers::next()
{
    return _workers[_next++ % _workers.size()];
}
