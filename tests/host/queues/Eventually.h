#ifndef TESTS_HOST_QUEUES_EVENTUALLY_H
#define TESTS_HOST_QUEUES_EVENTUALLY_H

#include <chrono>
#include <thread>

/// Waits until @p condition holds, for half a minute at most. @return whether it does.
template <class Condition>
bool eventually(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

#endif
