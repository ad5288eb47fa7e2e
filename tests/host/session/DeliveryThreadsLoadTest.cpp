#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include "fakes/WaitUntil.h"
#include "host/session/DeliveredOnce.h"
#include <gtest/gtest.h>

namespace {

using Next = DeliveryThreads::Next;

// Within which callbacks begin, whatever others do; on a busy machine and under sanitizers, too.
constexpr std::chrono::milliseconds moment(500);

} // namespace

TEST(DeliveryThreads, CallNobodyThatIsNotWokenAndOnceForEachTimeItIs)
{
    const auto threads = std::make_shared<DeliveryThreads>();
    std::atomic<int> calls{0};
    const std::function<void()> wake = threads->add([&calls] { return ++calls < 3 ? Next::Wait : Next::Done; });
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    for (int count = 0; count < 3; ++count) {
        EXPECT_EQ(calls, count);
        wake();
        EXPECT_TRUE(waitUntil([&] { return calls == count + 1; }));
    }
    threads->waitForAll();
    wake();
    EXPECT_EQ(calls, 3);
}

TEST(DeliveryThreads, CallAgainWhoeverIsWokenWhileItIsCalled)
{
    const auto threads = std::make_shared<DeliveryThreads>();
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    std::atomic<int> calls{0};
    const std::function<void()> wake = threads->add([&calls, gate] {
        const int call = ++calls;
        gate.wait();
        return call == 1 ? Next::Wait : Next::Done;
    });
    wake();
    EXPECT_TRUE(waitUntil([&calls] { return calls == 1; }));
    wake();
    open.set_value();
    EXPECT_TRUE(waitUntil([&calls] { return calls == 2; }));
    threads->waitForAll();
}

TEST(DeliveryThreads, TakeTurnsWithThoseThatHaveMoreToDo)
{
    const auto threads = std::make_shared<DeliveryThreads>(1);
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    std::atomic<int> calls{0};
    std::atomic<bool> ends{false};
    const std::function<void()> wake = threads->add([&calls, &ends, gate] {
        ++calls;
        gate.wait();
        return ends ? Next::Done : Next::More;
    });
    wake();
    EXPECT_TRUE(waitUntil([&calls] { return calls == 1; }));
    int callsBefore = 0;
    ASSERT_TRUE(runOnce(threads, [&] {
        callsBefore = calls;
        ends = true;
    }));
    open.set_value();
    threads->waitForAll();
    EXPECT_LE(callsBefore, 2) << "it waited behind one that was called later";
}

TEST(DeliveryThreads, NeverCallOneDeliveryTwiceAtATimeNorForgetOne)
{
    constexpr int deliveries = 24;
    constexpr int wakers = 3;
    constexpr int rounds = 2000;
    struct Delivered {
        std::atomic<int> wanted{0};
        std::atomic<bool> isCalled{false};
        int done = 0; // by whoever calls: a race of two would show
        std::function<void()> wake;
    };
    const auto threads = std::make_shared<DeliveryThreads>(4);
    std::vector<Delivered> all(deliveries);
    std::atomic<int> overlaps{0};
    for (Delivered &each : all)
        each.wake = threads->add([&each, &overlaps] {
            if (each.isCalled.exchange(true))
                ++overlaps;
            if (each.done < each.wanted)
                ++each.done;
            const bool isMore = each.done < each.wanted;
            const bool isEnd = each.done == wakers * rounds;
            each.isCalled = false;
            return isEnd ? Next::Done : isMore ? Next::More : Next::Wait;
        });
    std::vector<std::thread> wakes;
    wakes.reserve(wakers);
    for (int waker = 0; waker < wakers; ++waker)
        wakes.emplace_back([&all] {
            for (int round = 0; round < rounds; ++round) {
                for (Delivered &each : all) {
                    ++each.wanted;
                    each.wake();
                }
            }
        });
    for (std::thread &waker : wakes)
        waker.join();
    std::future<void> waited = std::async(std::launch::async, [&] { threads->waitForAll(); });
    ASSERT_EQ(waited.wait_for(deadline), std::future_status::ready) << "one was forgotten";
    EXPECT_EQ(overlaps, 0);
    for (const Delivered &each : all)
        EXPECT_EQ(each.done, wakers * rounds);
}

TEST(DeliveryThreads, AreNoMoreThanProcessorsAndASpareOneForQuickCalls)
{
    constexpr std::size_t processors = 2;
    const std::set<int> before = threadsOnceOneHasRun();
    const auto threads = std::make_shared<DeliveryThreads>(processors);
    std::atomic<bool> ends{false};
    std::atomic<int> calls{0};
    std::vector<std::function<void()>> wakes;
    for (int count = 0; count < 64; ++count)
        wakes.push_back(threads->add([&ends, &calls] {
            // So long that threads could be started meanwhile.
            const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(100);
            while (std::chrono::steady_clock::now() < end) {
            }
            ++calls;
            return ends ? Next::Done : Next::Wait;
        }));
    std::size_t most = 0;
    EXPECT_TRUE(waitUntil([&] {
        for (const auto &wake : wakes)
            wake();
        most = std::max(most, ProcessThreads::startedSince(before).size());
        return calls >= 64 * 50;
    }));
    EXPECT_GE(most, 2U);
    EXPECT_LE(most, processors + 2) << "on a busy machine, a quick call may take as long as a slow one";
    ends = true;
    for (const auto &wake : wakes)
        wake();
    threads->waitForAll();
    EXPECT_TRUE(ProcessThreads::leftSince(before).empty());
}

TEST(DeliveryThreads, LetNobodyWaitForCallsThatWaitAndEndWhenTheyAreNotNeeded)
{
    constexpr int waiting = 20;
    const std::set<int> before = threadsOnceOneHasRun();
    const auto threads = std::make_shared<DeliveryThreads>(2);
    std::atomic<int> calls{0};
    std::atomic<bool> ends{false};
    const std::function<void()> wake = threads->add([&calls, &ends] {
        ++calls;
        return ends ? Next::Done : Next::Wait;
    });
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    std::atomic<int> begun{0};
    for (int count = 0; count < waiting; ++count)
        ASSERT_TRUE(runOnce(threads, [gate, &begun] {
            ++begun;
            gate.wait();
        }));
    const auto since = std::chrono::steady_clock::now();
    wake(); // behind them all
    EXPECT_TRUE(waitUntil([&calls] { return calls == 1; }));
    EXPECT_LT(std::chrono::steady_clock::now() - since, moment);
    EXPECT_EQ(begun, waiting);
    // Now that they are known to wait, nobody waits for them any more.
    for (int call = 2; call <= 100; ++call) {
        wake();
        EXPECT_TRUE(waitUntil([&] { return calls == call; }));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - since, 4 * moment);
    EXPECT_LE(ProcessThreads::startedSince(before).size(), std::size_t(waiting) + 2 + 1);

    open.set_value();
    EXPECT_TRUE(waitUntil([&before] { return ProcessThreads::startedSince(before).size() <= 1; }))
        << "one is left for the delivery that goes on";
    ends = true;
    wake();
    threads->waitForAll();
    EXPECT_TRUE(ProcessThreads::leftSince(before).empty());
}

TEST(DeliveryThreads, LetNobodyWaitForCallsThatComputeForLong)
{
    const auto threads = std::make_shared<DeliveryThreads>(2);
    std::atomic<bool> ends{false};
    for (int count = 0; count < 4; ++count)
        ASSERT_TRUE(runOnce(threads, [&ends] {
            while (!ends) {
            }
        }));
    std::promise<void> ran;
    ASSERT_TRUE(runOnce(threads, [&ran] { ran.set_value(); }));
    EXPECT_EQ(ran.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
    ends = true;
    threads->waitForAll();
}
