#include "session/SessionJobs.h"

#include <utility>

SessionJobs::SessionJobs(std::function<void()> wake)
    : _wake(std::move(wake))
{
}

void SessionJobs::post(Job job)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (!_wake)
        return;
    _jobs.push_back(std::move(job));
    _wake();
}

void SessionJobs::wake()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (_wake)
        _wake();
}

void SessionJobs::run(InputSet &inputs)
{
    std::vector<Job> jobs;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        jobs = std::exchange(_jobs, {});
    }
    for (const Job &job : jobs)
        job(inputs);
}

void SessionJobs::end()
{
    std::vector<Job> dropped;
    const std::lock_guard<std::mutex> lock(_mutex);
    _wake = {};
    dropped = std::exchange(_jobs, {});
}
