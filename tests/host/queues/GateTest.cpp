#include "queues/Gate.h"

#include <memory>
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

TEST(Gate, HasRoomForAsManyFramesAsTheOutputWithTheLeast)
{
    const auto gate = std::make_shared<Gate>();
    EXPECT_EQ(gate->room(), Gate::unlimited);
    Gate::Output many(gate, 8);
    {
        Gate::Output few(gate, 3);
        EXPECT_EQ(gate->room(), 3);
        few.setRoom(5);
        EXPECT_EQ(gate->room(), 5);
        many.setRoom(4);
        EXPECT_EQ(gate->room(), 4);
    }
    EXPECT_EQ(gate->room(), 4);
    many.setRoom(9);
    EXPECT_EQ(gate->room(), 9);
}

TEST(Gate, IsClosedWhileAnOutputHasNoRoom)
{
    const auto gate = std::make_shared<Gate>();
    {
        Gate::Output one(gate, 0);
        Gate::Output other(gate, 2);
        EXPECT_FALSE(gate->isOpen());
        EXPECT_EQ(gate->room(), 0);
        other.setRoom(0);
        one.setRoom(1);
        one.setRoom(2);
        EXPECT_FALSE(gate->isOpen());
        other.setRoom(1);
        EXPECT_TRUE(gate->isOpen());
        gate->close();
        EXPECT_EQ(gate->room(), 0);
        gate->open();
        one.setRoom(0);
        EXPECT_FALSE(gate->isOpen());
    }
    EXPECT_TRUE(gate->isOpen()) << "an output that is gone holds nothing up";
    EXPECT_EQ(gate->room(), Gate::unlimited);
}
