#include "session/SessionJobs.h"

#include <utility>

SessionJobs::SessionJobs(std::function<void(Step)> wake)
    : _wake(std::move(wake))
{
}

void SessionJobs::post(Job job)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (!_wake)
        return;
    _jobs.push_back(std::move(job));
    _wake(Step::Now);
}

void SessionJobs::noteChange(quint64 input)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (!_wake)
        return;
    _changed.push_back(input);
    if (_changed.size() == 1)
        _wake(Step::InTurn);
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

std::vector<quint64> SessionJobs::takeChanged()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return std::exchange(_changed, {});
}

void SessionJobs::end()
{
    std::vector<Job> dropped;
    const std::lock_guard<std::mutex> lock(_mutex);
    _wake = {};
    dropped = std::exchange(_jobs, {});
}
