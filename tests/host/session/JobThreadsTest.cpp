#include "session/JobThreads.h"

#include <atomic>
#include <cstddef>
#include <future>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <set>
#include <thread>

#include "fakes/WaitUntil.h"
#include <gtest/gtest.h>

TEST(JobThreads, RunAsManyJobsAtOnceAsTheyMayAndTheOthersAfterwards)
{
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    std::atomic<int> begun{0};
    std::mutex mutex;
    std::set<std::thread::id> used; // guarded by mutex
    {
        JobThreads threads("Opener", 2);
        for (int job = 0; job < 10; ++job)
            EXPECT_TRUE(threads.post([&, gate] {
                ++begun;
                gate.wait();
                const std::lock_guard<std::mutex> lock(mutex);
                used.insert(std::this_thread::get_id());
            }));
        EXPECT_TRUE(waitUntil([&] { return begun >= 2; }));
        open.set_value();
    }
    EXPECT_EQ(begun, 10);
    EXPECT_EQ(used.size(), 2U);
}

TEST(JobThreads, LoseNoJobWhenThereAreNoThreads)
{
    const auto threads = std::make_unique<JobThreads>("Opener", 8);
    const auto idle = std::make_unique<JobThreads>("Opener", 8);
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    std::atomic<int> done{0};
    const auto job = [&done, gate] {
        gate.wait();
        ++done;
    };
    EXPECT_TRUE(threads->post(job));

    // Without room for a stack, the system gives no thread.
    pthread_attr_t before;
    ASSERT_EQ(pthread_getattr_default_np(&before), 0);
    pthread_attr_t tooLarge;
    pthread_attr_init(&tooLarge);
    pthread_attr_setstacksize(&tooLarge, std::size_t(1) << 46);
    ASSERT_EQ(pthread_setattr_default_np(&tooLarge), 0);
    const bool isPosted = threads->post(job);
    const bool isPostedWithoutAny = idle->post(job);
    ASSERT_EQ(pthread_setattr_default_np(&before), 0);
    pthread_attr_destroy(&tooLarge);
    pthread_attr_destroy(&before);

    EXPECT_TRUE(isPosted);
    EXPECT_FALSE(isPostedWithoutAny);
    open.set_value();
    EXPECT_TRUE(waitUntil([&] { return done == 2; }));
}
