#ifndef HOST_SESSION_SESSIONJOBS_H
#define HOST_SESSION_SESSIONJOBS_H

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "session/DeliveryThreads.h"

class InputSet;

/// What other threads want done to a session's inputs on the session's own thread. Shared by the session and all that
/// may outlive it: once it has ended, jobs are dropped. Thread-safe.
class SessionJobs final {
public:
    using Job = std::function<void(InputSet &inputs)>;

    /// @param wake has the session's thread call `run` soon. Thread-safe, never blocks.
    explicit SessionJobs(std::function<void()> wake);

    /// Has @p job run on the session's thread, after those posted before. Never blocks.
    void post(Job job);
    /// Has the session's thread look at its inputs soon.
    void wake();

    /// On the session's thread: runs what was posted.
    void run(InputSet &inputs);
    /// Drops what was posted, and whatever will be.
    void end();

    /// The threads that give frames to callbacks.
    const std::shared_ptr<DeliveryThreads> &deliveries() const { return _deliveries; }

private:
    const std::shared_ptr<DeliveryThreads> _deliveries = std::make_shared<DeliveryThreads>();

    std::mutex _mutex;           // guards the next three
    std::function<void()> _wake; // empty once it has ended
    std::vector<Job> _jobs;
};

#endif
