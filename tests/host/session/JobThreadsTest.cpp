#include "session/JobThreads.h"

#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include "fakes/WaitUntil.h"
#include "host/session/ThreadRefusal.h"
#include "session/ProcessThreads.h"
#include <gtest/gtest.h>

using namespace std::chrono_literals;

TEST(JobThreads, RunAsManyJobsAtOnceAsTheyMayAndTheOthersAfterwards)
{
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    std::atomic<int> begun{0};
    std::mutex mutex;
    std::set<std::thread::id> used; // guarded by mutex
    {
        JobThreads reserve("Reserve", std::nullopt);
        JobThreads threads("Opener", 2, reserve);
        for (int job = 0; job < 10; ++job)
            threads.post([&, gate] {
                ++begun;
                gate.wait();
                const std::lock_guard<std::mutex> lock(mutex);
                used.insert(std::this_thread::get_id());
            });
        EXPECT_TRUE(waitUntil([&] { return begun >= 2; }));
        open.set_value();
    }
    EXPECT_EQ(begun, 10);
    EXPECT_EQ(used.size(), 2U);
}

TEST(JobThreads, LeaveTheirJobsToThoseThatAreThereOrToTheReserve)
{
    JobThreads reserve("Reserve", std::nullopt);
    JobThreads threads("Opener", 8, reserve);
    JobThreads none("Ender", 8, reserve);
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    std::atomic<int> done{0};
    std::thread::id ofFirst;
    std::thread::id ofSecond;
    threads.post([&, gate] {
        gate.wait();
        ofFirst = std::this_thread::get_id();
        ++done;
    });
    {
        const ThreadRefusal refusal;
        threads.post([&] {
            ofSecond = std::this_thread::get_id();
            ++done;
        });
        none.post([&done] { ++done; });
        EXPECT_TRUE(waitUntil([&done] { return done == 1; })) << "the reserve does what has no thread of its own";
    }
    open.set_value();
    EXPECT_TRUE(waitUntil([&done] { return done == 3; }));
    EXPECT_EQ(ofFirst, ofSecond);
}

TEST(JobThreads, EndWhenNobodyHasNeededThemForAWhileAndComeAgain)
{
    JobThreads reserve("Reserve", std::nullopt);
    const std::set<int> before = ProcessThreads::ids();
    JobThreads threads("Opener", 4, reserve);
    for (const int round : {1, 2}) {
        std::atomic<int> done{0};
        for (int job = 0; job < 4; ++job)
            threads.post([&done] {
                std::this_thread::sleep_for(10ms);
                ++done;
            });
        EXPECT_GT(ProcessThreads::ids().size(), before.size());
        EXPECT_TRUE(waitUntil([&done] { return done == 4; })) << round;
        EXPECT_TRUE(waitUntil([&before] { return ProcessThreads::ids() == before; })) << round;
    }
}

TEST(JobThreads, LeaveBehindWhatDoesNotReturn)
{
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    const auto done = std::make_shared<std::atomic<int>>(0);
    {
        JobThreads reserve("Reserve", 50ms);
        JobThreads threads("Opener", 1, reserve, 50ms);
        for (int job = 0; job < 2; ++job)
            threads.post([gate, done] {
                gate.wait();
                ++*done;
            });
    }
    EXPECT_EQ(*done, 0);
    open.set_value();
    EXPECT_TRUE(waitUntil([&done] { return *done == 2; }));
    EXPECT_TRUE(waitUntil([&done] { return done.use_count() == 1; }));
}
