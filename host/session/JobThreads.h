#ifndef HOST_SESSION_JOBTHREADS_H
#define HOST_SESSION_JOBTHREADS_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

/// Threads for jobs that may take long, started as they are needed. When the system gives no more, the jobs wait for
/// those that are there; none is lost. Owned by one thread; `post` is thread-safe.
class JobThreads final {
public:
    /// @param name of the threads, as HostThread has it. @param max of them, at least 1.
    JobThreads(const char *name, std::size_t max);
    JobThreads(const JobThreads &) = delete;
    JobThreads &operator=(const JobThreads &) = delete;
    /// Waits until all jobs are done.
    ~JobThreads();

    /// Has @p job, which must not throw, run after those posted before have begun. Never blocks.
    /// @return false, nothing posted, when there is no thread and none to be had.
    [[nodiscard]] bool post(std::function<void()> job);

private:
    void run();

    const char *const _name;
    const std::size_t _max;

    std::mutex _mutex; // guards all that follows
    std::condition_variable _wakeUp;
    std::deque<std::function<void()>> _jobs; // that wait
    std::size_t _idle = 0;                   // threads
    bool _ending = false;
    std::vector<std::thread> _threads;
};

#endif
