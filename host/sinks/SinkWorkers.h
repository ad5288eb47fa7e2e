#ifndef HOST_SINKS_SINKWORKERS_H
#define HOST_SINKS_SINKWORKERS_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

/// The threads that write what sinks have taken. Each sink belongs to one of them, so that its records keep their
/// order. Owned by the host. Sinks may live on after it: they write no more then.
class SinkWorkers final {
public:
    /// One thread, and the jobs that wait for it. Shared by SinkWorkers and the sinks that it serves.
    class Worker final {
    public:
        Worker();
        Worker(const Worker &) = delete;
        Worker &operator=(const Worker &) = delete;

        /// Has @p job run after those posted before. The job must not throw, and not wait for other jobs of this
        /// worker. Thread-safe; never blocks. @return false, nothing posted, once the worker was told to end.
        [[nodiscard]] bool post(std::function<void()> job);

        /// Runs the jobs that still wait, and ends the thread. Called once, not by a job.
        void end();

    private:
        void run();

        std::mutex _mutex;
        std::condition_variable _wakeUp;
        std::deque<std::function<void()>> _jobs; // guarded by _mutex, as is the next one
        bool _ending = false;
        std::thread _thread; // last: it runs with all of the others
    };

    /// @param count of threads, at least 1. @throws std::system_error when there are not so many to be had.
    explicit SinkWorkers(std::size_t count);
    /// Waits until everything that sinks have taken is written.
    ~SinkWorkers();
    SinkWorkers(const SinkWorkers &) = delete;
    SinkWorkers &operator=(const SinkWorkers &) = delete;

    /// The worker for the next sink, in turn. Reentrant.
    std::shared_ptr<Worker> next();

private:
    void endAll();

    std::vector<std::shared_ptr<Worker>> _workers; // constant
    std::size_t _next = 0;
};

#endif
