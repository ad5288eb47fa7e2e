#ifndef HOST_SINKS_SINKWORKERS_H
#define HOST_SINKS_SINKWORKERS_H

#include <chrono>
#include <cstddef>
#include <memory>

/// The threads that write what sinks have taken. As many write at a time as there are places. One that waits for a
/// reader, or for a disk that hangs, loses its place to another thread, so that it holds up no other sink; there are as
/// many threads as it takes. Owned by the host.
class SinkWorkers final {
public:
    /// What there is to do for one sink, step by step.
    class Work {
    public:
        virtual ~Work() = default;
        /// Does one step; must not throw. Never called twice at a time. @return whether there is another one to do.
        virtual bool step() = 0;
        /// @return whether nobody waits any more for the step that is being done. Thread-safe.
        virtual bool isLeftBehind(std::chrono::steady_clock::time_point now) = 0;
    };

    /// What the threads share with those who have work for them, and with a thread that is left behind. Thread-safe.
    class Pool;

    /// While it lives, the thread that made it waits for others, and needs no place. On a thread that is no worker's,
    /// it does nothing.
    class Waiting final {
    public:
        Waiting();
        ~Waiting();
        Waiting(const Waiting &) = delete;
        Waiting &operator=(const Waiting &) = delete;
    };

    /// @param places at least 1. @throws std::system_error when there is no thread to be had.
    explicit SinkWorkers(std::size_t places);
    /// Waits until all work is done, except for what is left behind: its threads own what they need.
    ~SinkWorkers();
    SinkWorkers(const SinkWorkers &) = delete;
    SinkWorkers &operator=(const SinkWorkers &) = delete;

    /// For the sinks, which may live on after this object.
    const std::shared_ptr<Pool> &pool() const { return _pool; }

    /// Has the steps of @p work done, one after the other, until there are no more. To be called when there is work
    /// again, but not before. @return false, and nothing is done, once the workers were told to end.
    [[nodiscard]] static bool schedule(Pool &pool, std::shared_ptr<Work> work);

private:
    const std::shared_ptr<Pool> _pool;
};

#endif
