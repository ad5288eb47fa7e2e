#include "media/ChangeNote.h"

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

TEST(ChangeNote, TellsTheFirstChangeSinceTheLastLook)
{
    int told = 0;
    ChangeNote note([&told] { ++told; });
    EXPECT_FALSE(note.take());
    note.set();
    note.set();
    EXPECT_EQ(told, 1);
    EXPECT_TRUE(note.take());
    EXPECT_FALSE(note.take());
    note.set();
    EXPECT_EQ(told, 2);
    ChangeNote::set(nullptr);
}

TEST(ChangeNote, LeavesNoChangeUnseenHoweverThreadsMeet)
{
    constexpr int changesOfEach = 50'000;
    constexpr int threadCount = 3;
    std::mutex mutex; // guards the next one
    bool isTold = false;
    std::condition_variable told;
    ChangeNote note([&] {
        const std::lock_guard<std::mutex> lock(mutex);
        isTold = true;
        told.notify_one();
    });
    std::vector<std::atomic<int>> changes(threadCount);
    std::vector<std::thread> threads;
    for (std::atomic<int> &own : changes)
        threads.emplace_back([&own, &note] {
            for (int change = 0; change < changesOfEach; ++change) {
                own.fetch_add(1, std::memory_order_relaxed);
                note.set();
            }
        });
    int seen = 0;
    bool isInTime = true;
    while (seen < threadCount * changesOfEach && isInTime) {
        {
            std::unique_lock<std::mutex> lock(mutex);
            isInTime = told.wait_for(lock, std::chrono::seconds(30), [&isTold] { return isTold; });
            isTold = false;
        }
        note.take();
        seen = 0;
        for (const std::atomic<int> &own : changes)
            seen += own.load(std::memory_order_relaxed);
    }
    EXPECT_TRUE(isInTime) << "only " << seen << " changes were seen";
    for (std::thread &thread : threads)
        thread.join();
}
