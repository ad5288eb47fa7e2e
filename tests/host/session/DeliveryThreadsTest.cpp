#include "session/DeliveryThreads.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <pthread.h>
#include <set>
#include <string>
#include <thread>
#include <unistd.h>

#include "fakes/WaitUntil.h"
#include "host/session/DeliveredOnce.h"
#include "host/session/ThreadRefusal.h"
#include <gtest/gtest.h>

namespace {

using Next = DeliveryThreads::Next;

std::size_t addressSpacePages()
{
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages;
}

} // namespace

TEST(DeliveryThreads, RunOnThreadsOfTheirOwnWhoseNameTellsWhatTheyDo)
{
    const auto threads = std::make_shared<DeliveryThreads>();
    std::promise<std::string> name;
    std::promise<std::thread::id> id;
    ASSERT_TRUE(runOnce(threads, [&] {
        char text[16] = {};
        pthread_getname_np(pthread_self(), text, sizeof text);
        name.set_value(text);
        id.set_value(std::this_thread::get_id());
    }));
    EXPECT_EQ(name.get_future().get(), "Frames");
    EXPECT_NE(id.get_future().get(), std::this_thread::get_id());
    threads->waitForAll();
}

TEST(DeliveryThreads, WaitingForAllLeavesNoThread)
{
    const std::set<int> before = threadsOnceOneHasRun();
    const auto threads = std::make_shared<DeliveryThreads>();
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    std::atomic<int> done{0};
    for (int index = 0; index < 4; ++index)
        ASSERT_TRUE(runOnce(threads, [gate, &done, index] {
            if (index > 0)
                gate.wait();
            ++done;
        }));
    std::future<void> waited = std::async(std::launch::async, [&] { threads->waitForAll(); });
    EXPECT_EQ(waited.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    open.set_value();
    waited.get();
    EXPECT_EQ(done, 4);
    EXPECT_TRUE(ProcessThreads::leftSince(before).empty());
    threads->waitForAll();
}

TEST(DeliveryThreads, ThatEndedAreLetGoOfWhileOthersComeAndGo)
{
    // A thread that nobody has joined keeps its stack.
    constexpr std::size_t stackBytes = std::size_t(16) << 20;
    constexpr int rounds = 100;
    pthread_attr_t before;
    ASSERT_EQ(pthread_getattr_default_np(&before), 0);
    pthread_attr_t large;
    pthread_attr_init(&large);
    pthread_attr_setstacksize(&large, stackBytes);
    ASSERT_EQ(pthread_setattr_default_np(&large), 0);

    const auto threads = std::make_shared<DeliveryThreads>();
    const std::size_t pagesBefore = addressSpacePages();
    for (int round = 0; round < rounds; ++round) {
        std::promise<void> ran;
        ASSERT_TRUE(runOnce(threads, [&ran] { ran.set_value(); }));
        ran.get_future().wait();
    }
    const std::size_t pages = addressSpacePages();
    ASSERT_EQ(pthread_setattr_default_np(&before), 0);
    pthread_attr_destroy(&large);
    pthread_attr_destroy(&before);
    EXPECT_LT(pages, pagesBefore + rounds / 2 * stackBytes / static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)));
    threads->waitForAll();
}

TEST(DeliveryThreads, DoNotWaitForThemselvesButForTheOthers)
{
    auto threads = std::make_shared<DeliveryThreads>();
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    std::atomic<bool> otherIsDone{false};
    std::promise<bool> waited;
    ASSERT_TRUE(runOnce(threads, [gate, &otherIsDone] {
        gate.wait();
        otherIsDone = true;
    }));
    // As the destructor of a session does that a callback destroys.
    ASSERT_TRUE(runOnce(threads, [shared = threads, &waited, &otherIsDone] {
        shared->waitForAll();
        waited.set_value(otherIsDone);
    }));
    threads.reset();
    std::future<bool> wasDone = waited.get_future();
    EXPECT_EQ(wasDone.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    open.set_value();
    EXPECT_TRUE(wasDone.get());
}

TEST(DeliveryThreads, DestroyWhatTheyRunOnTheirOwnThread)
{
    const auto threads = std::make_shared<DeliveryThreads>();
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    std::promise<std::thread::id> destroyed;
    {
        const std::shared_ptr<int> held(new int, [&destroyed](const int *number) {
            delete number;
            destroyed.set_value(std::this_thread::get_id());
        });
        ASSERT_TRUE(runOnce(threads, [held, gate] { gate.wait(); }));
    }
    open.set_value();
    EXPECT_NE(destroyed.get_future().get(), std::this_thread::get_id());
    threads->waitForAll();
}

TEST(DeliveryThreads, WhatTheyHoldMayWaitForThemWhenItIsDestroyed)
{
    const auto threads = std::make_shared<DeliveryThreads>();
    std::promise<void> waited;
    {
        // As a callback that holds the last reference to a session.
        const std::shared_ptr<int> held(new int, [&waited, threads](const int *number) {
            delete number;
            threads->waitForAll();
            waited.set_value();
        });
        ASSERT_TRUE(runOnce(threads, [held] {}));
    }
    EXPECT_EQ(waited.get_future().wait_for(deadline), std::future_status::ready);
    threads->waitForAll();
}

TEST(DeliveryThreads, WhatTheyRunMayDestroyTheRestOfThem)
{
    const std::set<int> before = threadsOnceOneHasRun();
    for (int round = 0; round < 20; ++round) {
        auto threads = std::make_shared<DeliveryThreads>();
        ASSERT_TRUE(runOnce(threads, [] {}));
        ASSERT_TRUE(runOnce(threads, [] {}));
        threads.reset();
    }
    EXPECT_TRUE(ProcessThreads::leftSince(before).empty());
}

TEST(DeliveryThreads, SayThatTheSystemHasNoThreadLeftAndGoOn)
{
    const auto threads = std::make_shared<DeliveryThreads>();
    bool isAdded = true;
    {
        const ThreadRefusal refusal;
        isAdded = runOnce(threads, [] {});
    }
    EXPECT_FALSE(isAdded);
    threads->waitForAll();

    std::atomic<bool> ran{false};
    EXPECT_TRUE(runOnce(threads, [&ran] { ran = true; }));
    threads->waitForAll();
    EXPECT_TRUE(ran);
}

TEST(DeliveryThreads, DoWithThoseThatThereAreWhenTheSystemHasNoneLeft)
{
    const auto threads = std::make_shared<DeliveryThreads>();
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    std::atomic<int> done{0};
    // Keeps the first thread from ending.
    const std::function<void()> wakeLast = threads->add([&done] {
        ++done;
        return Next::Done;
    });
    {
        const ThreadRefusal refusal;
        std::promise<void> runs;
        ASSERT_TRUE(runOnce(threads, [gate, &runs, &done] {
            runs.set_value();
            gate.wait();
            ++done;
        }));
        runs.get_future().wait();
        for (int index = 0; index < 5; ++index)
            ASSERT_TRUE(runOnce(threads, [&done] { ++done; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        EXPECT_EQ(done, 0) << "there is no thread for them";
        open.set_value();
        EXPECT_TRUE(waitUntil([&done] { return done == 6; }));
    }
    wakeLast();
    threads->waitForAll();
    EXPECT_EQ(done, 7);
}

TEST(DeliveryThreads, AskForAThreadAgainWhenTheOnlyOneWaitsForAllOthers)
{
    const auto threads = std::make_shared<DeliveryThreads>();
    std::promise<void> waits;
    std::atomic<bool> otherIsDone{false};
    std::promise<bool> waited;
    const std::function<void()> wakeOther = threads->add([&otherIsDone] {
        otherIsDone = true;
        return Next::Done;
    });
    auto refusal = std::make_unique<ThreadRefusal>();
    ASSERT_TRUE(runOnce(threads, [shared = threads, &waits, &waited, &otherIsDone] {
        waits.set_value();
        shared->waitForAll();
        waited.set_value(otherIsDone);
    }));
    waits.get_future().wait();
    wakeOther();
    std::future<bool> wasDone = waited.get_future();
    EXPECT_EQ(wasDone.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    refusal.reset();
    ASSERT_EQ(wasDone.wait_for(deadline), std::future_status::ready);
    EXPECT_TRUE(wasDone.get());
    threads->waitForAll();
}
