#ifndef HOST_SESSION_SESSIONJOBS_H
#define HOST_SESSION_SESSIONJOBS_H

#include <QtGlobal>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "session/DeliveryThreads.h"

class InputSet;

/// What other threads want done to a session's inputs on the session's own thread, and which inputs it is to look at.
/// Shared by the session and all that may outlive it: once it has ended, jobs are dropped. Thread-safe.
class SessionJobs final {
public:
    using Job = std::function<void(InputSet &inputs)>;
    /// When the session's thread is to take its next step.
    enum class Step {
        Now,
        InTurn // no earlier than it does while there is always something new
    };

    /// @param wake has the session's thread take a step. Thread-safe, never blocks.
    explicit SessionJobs(std::function<void(Step)> wake);

    /// Has @p job run on the session's thread, after those posted before. Never blocks.
    void post(Job job);
    /// Has the session's thread look at the input of this number.
    void noteChange(quint64 input);

    /// On the session's thread: runs what was posted.
    void run(InputSet &inputs);
    /// @return the inputs to look at, since the last call.
    std::vector<quint64> takeChanged();
    /// Drops what was posted, and whatever will be.
    void end();

    /// The threads that give frames to callbacks.
    const std::shared_ptr<DeliveryThreads> &deliveries() const { return _deliveries; }

private:
    const std::shared_ptr<DeliveryThreads> _deliveries = std::make_shared<DeliveryThreads>();

    std::mutex _mutex;               // guards all that follows
    std::function<void(Step)> _wake; // empty once it has ended
    std::vector<Job> _jobs;
    std::vector<quint64> _changed; // no step is asked for while there are some already
};

#endif
