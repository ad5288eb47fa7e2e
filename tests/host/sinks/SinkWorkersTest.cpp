#include "sinks/SinkWorkers.h"

#include <algorithm>
#include <future>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

TEST(SinkWorkers, AreTakenInTurn)
{
    SinkWorkers workers(2);
    const auto first = workers.next();
    const auto second = workers.next();
    EXPECT_NE(first, second);
    EXPECT_EQ(workers.next(), first);
}

TEST(SinkWorkers, RunJobsInTheirOrderOnOneOtherThread)
{
    std::vector<int> order;
    std::vector<std::thread::id> threads;
    {
        SinkWorkers workers(1);
        const auto worker = workers.next();
        for (int number = 0; number < 1000; ++number)
            ASSERT_TRUE(worker->post([&, number] {
                order.push_back(number);
                threads.push_back(std::this_thread::get_id());
            }));
    }
    ASSERT_EQ(order.size(), 1000U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_THAT(threads, testing::Each(threads.front()));
    EXPECT_NE(threads.front(), std::this_thread::get_id());
}

TEST(SinkWorkers, RunWhatWaitsBeforeTheyEndAndTakeNothingAfterwards)
{
    std::promise<void> gate;
    std::shared_future<void> opened = gate.get_future().share();
    bool ran = false;
    std::shared_ptr<SinkWorkers::Worker> worker;
    {
        SinkWorkers workers(1);
        worker = workers.next();
        ASSERT_TRUE(worker->post([opened] { opened.wait(); }));
        ASSERT_TRUE(worker->post([&ran] { ran = true; }));
        gate.set_value();
    }
    EXPECT_TRUE(ran);
    EXPECT_FALSE(worker->post([] {}));
}
