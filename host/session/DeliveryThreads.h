#ifndef HOST_SESSION_DELIVERYTHREADS_H
#define HOST_SESSION_DELIVERYTHREADS_H

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

/// The threads of a session that call back to the program. Each has a share in this object, and nothing in the session:
/// a callback may destroy the session, and whatever else it likes. Made by std::make_shared; thread-safe.
class DeliveryThreads final : public std::enable_shared_from_this<DeliveryThreads> {
public:
    DeliveryThreads() = default;
    ~DeliveryThreads();
    DeliveryThreads(const DeliveryThreads &) = delete;
    DeliveryThreads &operator=(const DeliveryThreads &) = delete;

    /// Calls @p run on a thread of its own, named "Frames", and destroys it there. It must not throw.
    /// @return false when the system has no thread left.
    [[nodiscard]] bool add(std::function<void()> run);

    /// Waits until all threads have ended, but for the calling one if it is one of them. Whoever calls this has seen to
    /// it that they end.
    void waitForAll();

private:
    using Threads = std::vector<std::thread>;

    void noteEndOfThisThread();
    static void join(Threads &threads);

    std::mutex _mutex;
    std::condition_variable _changed;
    // Guarded by _mutex.
    Threads _running;
    Threads _done; // have returned from what they ran
};

#endif
