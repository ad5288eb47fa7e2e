#ifndef HOST_SESSION_DELIVERYTHREADS_H
#define HOST_SESSION_DELIVERYTHREADS_H

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <sys/types.h>

/// The threads of a session that call back to the program. All of its deliveries share them, and none waits for the
/// callback of another. There are as many threads as callbacks that wait or last long, one more for each processor at
/// most, and a spare one, which finds out what callbacks wait.
///
/// Work is taken at once while fewer threads are awake in callbacks than there are processors. When it has waited for
/// 10 ms, the spare one asks the system which of these are asleep, and no longer counts them, nor those that have been
/// at one call for 50 ms. A thread that leaves no other to wait for work starts the next one before it begins; one that
/// had nothing to do for a second ends, except for the spare one. All end with the last delivery.
///
/// Each thread has a share in this object, and nothing in the session: a callback may destroy the session, and whatever
/// else it likes. Made by std::make_shared; thread-safe.
class DeliveryThreads final : public std::enable_shared_from_this<DeliveryThreads> {
public:
    /// What becomes of a delivery after one call.
    enum class Next {
        More, // it is called again, after those that wait already
        Wait, // it is called when it is woken, or was woken during the call
        Done  // it is destroyed
    };
    using Call = std::function<Next()>;

    /// @param processors at least 1.
    explicit DeliveryThreads(std::size_t processors = std::max(1U, std::thread::hardware_concurrency()));
    ~DeliveryThreads();
    DeliveryThreads(const DeliveryThreads &) = delete;
    DeliveryThreads &operator=(const DeliveryThreads &) = delete;

    /// Adds a delivery, which waits. @p call must not throw; it is called by one thread at a time, and destroyed on
    /// one of them, which are all named "Frames". Whoever adds a delivery sees to it that it is done one day.
    /// @return what wakes it: thread-safe, never blocks nor starts a thread, and does nothing once it is done. Empty,
    ///         and nothing added, when there is no thread and the system has none left.
    [[nodiscard]] std::function<void()> add(Call call);

    /// Waits until all deliveries are done, and all threads have ended; within a call, for all other deliveries.
    void waitForAll();

private:
    using Clock = std::chrono::steady_clock;

    // All guarded by _mutex, except where noted.

    struct Delivery {
        Call call;                // used by the thread that calls it
        bool isScheduled = false; // waits for a thread, or is called
        bool isWoken = false;     // since it was called last
    };
    struct Work {
        std::shared_ptr<Delivery> delivery;
        Clock::time_point since;
    };
    struct Thread {
        std::thread handle; // written under _starting, and used by the thread itself
        std::thread::id id;
        pid_t systemId = 0;
        std::condition_variable called;       // also notified to have the spare one watch the work that waits
        bool isCalled = false;                // is to look for work
        bool isAwake = false;                 // in a call, and counted
        std::atomic<bool> hasReturned{false}; // from the call, whether or not it has the lock yet
        std::uint64_t turn = 0;               // number of the call
        Clock::time_point since;              // when the call began
    };
    using Threads = std::list<Thread>;

    void wake(const std::shared_ptr<Delivery> &delivery);
    bool start();
    void startSpare();
    void serve(Threads::iterator own);
    void work(Thread &own, std::unique_lock<std::mutex> &lock);
    bool waitForCall(Thread &own, std::unique_lock<std::mutex> &lock);
    void watch(Thread &own, std::unique_lock<std::mutex> &lock);
    void countOutThoseAsleep(std::unique_lock<std::mutex> &lock);
    void callIdleLocked();
    void noteDoneLocked();
    static void join(std::vector<std::thread> &threads);

    const std::size_t _processors;

    std::mutex _starting; // held while a thread is started; taken before the next one
    std::mutex _mutex;    // held for moments; guards all that follows
    std::condition_variable _changed;
    std::deque<Work> _waiting;
    std::size_t _live = 0; // deliveries that are not done
    Threads _threads;      // that have not decided to end
    // Those that wait to be called. It is the last one that is called, so that the others may end; the first one is the
    // spare one.
    std::vector<Thread *> _idle;
    std::size_t _called = 0; // threads that are called or started, and have not looked for work yet
    std::size_t _awake = 0;  // threads in calls that are counted; at most _processors take work
    bool _isWatched = false; // the spare one looks after the work that waits, or was told to
    std::uint64_t _lastTurn = 0;
    std::vector<std::thread> _done; // have nothing left to do but to join others that ended before
};

#endif
