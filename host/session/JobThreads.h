#ifndef HOST_SESSION_JOBTHREADS_H
#define HOST_SESSION_JOBTHREADS_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>

/// Threads for jobs that may take long. They are started as they are needed, and end when nobody has needed them for a
/// second. When the system gives no more, jobs wait for those that are there, and where no thread is there, they go to
/// a reserve; none is lost. Owned by one thread; `post` is thread-safe.
class JobThreads final {
public:
    /// How long the destructor waits for a job that others need not see done; nothing: for as long as it takes.
    using Patience = std::optional<std::chrono::milliseconds>;

    /// A reserve: one thread, which is started now and stays, so that there is always one.
    /// @param name of the thread, as HostThread has it. @throws std::system_error when there is no thread to be had.
    JobThreads(const char *name, Patience patience);
    /// @param name of the threads. @param max of them, at least 1. @param reserve outlives this.
    JobThreads(const char *name, std::size_t max, JobThreads &reserve, Patience patience = std::nullopt);
    JobThreads(const JobThreads &) = delete;
    JobThreads &operator=(const JobThreads &) = delete;
    /// Waits until all jobs are done; but those that are not within the patience, such as one on a disk that hangs, are
    /// left behind with their threads and with all that they hold.
    ~JobThreads();

    /// Has @p job, which must not throw, run after those posted before have begun. Never blocks.
    void post(std::function<void()> job);

private:
    struct Pool;

    const std::shared_ptr<Pool> _pool; // the threads', too
    JobThreads *const _reserve;        // null: this is one
    const Patience _patience;
};

#endif
