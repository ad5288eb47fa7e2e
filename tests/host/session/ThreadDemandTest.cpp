#include "session/ThreadDemand.h"

#include <atomic>
#include <cmath>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <unistd.h>
#include <vector>

#include "fakes/WaitUntil.h"
#include <gtest/gtest.h>

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

/// A thread that is always busy, or sleeps.
class RestlessThread final {
public:
    explicit RestlessThread(bool sleeps)
        : _sleeps(sleeps)
        , _thread([this] { run(); })
    {
        EXPECT_TRUE(waitUntil([this] { return _id != 0; }));
    }
    ~RestlessThread()
    {
        {
            const std::lock_guard<std::mutex> lock(_mutex);
            _isEnding = true;
        }
        _ending.notify_all();
        _thread.join();
    }
    RestlessThread(const RestlessThread &) = delete;
    RestlessThread &operator=(const RestlessThread &) = delete;

    /// The system's.
    int id() const { return _id; }

private:
    void run()
    {
        _id = static_cast<int>(gettid());
        if (_sleeps) {
            std::unique_lock<std::mutex> lock(_mutex);
            _ending.wait(lock, [this] { return _isEnding.load(); });
        }
        while (!_isEnding) {
        }
    }

    const bool _sleeps;
    std::atomic<int> _id{0};
    std::atomic<bool> _isEnding{false};
    std::mutex _mutex; // held to set it
    std::condition_variable _ending;
    std::thread _thread;
};

/// @return the demand of these threads for a while.
double demandOf(const std::vector<int> &threads)
{
    ThreadDemand demand(threads, Clock::now());
    std::this_thread::sleep_for(300ms);
    return demand.sample(Clock::now());
}

} // namespace

TEST(ThreadDemand, IsThatOfTheThreadsWhoeverElseHasTheProcessors)
{
    // More than there are processors for, so that each has to wait.
    std::vector<std::unique_ptr<RestlessThread>> busy;
    std::vector<int> ids;
    for (unsigned int thread = 0; thread < 3 * std::thread::hardware_concurrency(); ++thread)
        ids.push_back(busy.emplace_back(std::make_unique<RestlessThread>(false))->id());
    EXPECT_NEAR(demandOf(ids), 1.0, 0.2);
    const RestlessThread idle(true);
    EXPECT_NEAR(demandOf({idle.id(), ids.front()}), 0.5, 0.2);
}

TEST(ThreadDemand, OfThreadsThatSleepIsNothing)
{
    const RestlessThread idle(true);
    EXPECT_LT(demandOf({idle.id()}), 0.2);
}

TEST(ThreadDemand, IsNoNumberWhereItIsUnknown)
{
    const int none = 0;
    EXPECT_TRUE(std::isnan(demandOf({none})));
    const Clock::time_point now = Clock::now();
    EXPECT_TRUE(std::isnan(ThreadDemand({getpid()}, now).sample(now))) << "no time has passed";
    EXPECT_TRUE(std::isnan(demandOf({}))) << "of no threads";
}
