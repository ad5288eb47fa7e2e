#include "queues/Gate.h"

#include <thread>
#include <vector>

#include <gtest/gtest.h>

TEST(Gate, IsOpenWhileNobodyHoldsItClosed)
{
    Gate gate;
    EXPECT_TRUE(gate.isOpen());
    gate.close();
    gate.close();
    gate.open();
    EXPECT_FALSE(gate.isOpen());
    gate.open();
    EXPECT_TRUE(gate.isOpen());
}

TEST(Gate, CountsThoseThatCloseItOnDifferentThreads)
{
    Gate gate;
    gate.close();
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index)
        threads.emplace_back([&gate] {
            for (int round = 0; round < 20'000; ++round) {
                gate.close();
                EXPECT_FALSE(gate.isOpen());
                gate.open();
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_FALSE(gate.isOpen());
    gate.open();
    EXPECT_TRUE(gate.isOpen());
}
