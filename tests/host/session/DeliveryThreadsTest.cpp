#include "session/DeliveryThreads.h"

#include <atomic>
#include <cstddef>
#include <fstream>
#include <future>
#include <memory>
#include <pthread.h>
#include <set>
#include <string>
#include <thread>
#include <unistd.h>

#include "fakes/WaitUntil.h"
#include "session/ProcessThreads.h"
#include <gtest/gtest.h>

namespace {

std::size_t addressSpacePages()
{
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages;
}

// A sanitizer starts a thread of its own beside the first one of a process, and keeps it.
std::set<int> threadsOnceOneHasRun()
{
    std::thread([] {}).join();
    return ProcessThreads::ids();
}

} // namespace

TEST(DeliveryThreads, RunOnThreadsOfTheirOwnWhoseNameTellsWhatTheyDo)
{
    const auto threads = std::make_shared<DeliveryThreads>();
    std::promise<std::string> name;
    std::promise<std::thread::id> id;
    ASSERT_TRUE(threads->add([&] {
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
        ASSERT_TRUE(threads->add([gate, &done, index] {
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
        ASSERT_TRUE(threads->add([&ran] { ran.set_value(); }));
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
    ASSERT_TRUE(threads->add([gate, &otherIsDone] {
        gate.wait();
        otherIsDone = true;
    }));
    // As the destructor of a session does that a callback destroys.
    ASSERT_TRUE(threads->add([shared = threads, &waited, &otherIsDone] {
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
        ASSERT_TRUE(threads->add([held, gate] { gate.wait(); }));
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
        ASSERT_TRUE(threads->add([held] {}));
    }
    EXPECT_EQ(waited.get_future().wait_for(deadline), std::future_status::ready);
    threads->waitForAll();
}

TEST(DeliveryThreads, WhatTheyRunMayDestroyTheRestOfThem)
{
    const std::set<int> before = threadsOnceOneHasRun();
    for (int round = 0; round < 20; ++round) {
        auto threads = std::make_shared<DeliveryThreads>();
        ASSERT_TRUE(threads->add([] {}));
        ASSERT_TRUE(threads->add([] {}));
        threads.reset();
    }
    EXPECT_TRUE(ProcessThreads::leftSince(before).empty());
}

TEST(DeliveryThreads, SayThatTheSystemHasNoThreadLeftAndGoOn)
{
    const auto threads = std::make_shared<DeliveryThreads>();
    // Without room for a stack, the system gives no thread.
    pthread_attr_t before;
    ASSERT_EQ(pthread_getattr_default_np(&before), 0);
    pthread_attr_t tooLarge;
    pthread_attr_init(&tooLarge);
    pthread_attr_setstacksize(&tooLarge, std::size_t(1) << 46);
    ASSERT_EQ(pthread_setattr_default_np(&tooLarge), 0);
    const bool isAdded = threads->add([] {});
    ASSERT_EQ(pthread_setattr_default_np(&before), 0);
    pthread_attr_destroy(&tooLarge);
    pthread_attr_destroy(&before);
    EXPECT_FALSE(isAdded);

    std::atomic<bool> ran{false};
    EXPECT_TRUE(threads->add([&ran] { ran = true; }));
    threads->waitForAll();
    EXPECT_TRUE(ran);
}
