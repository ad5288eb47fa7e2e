#ifndef FAKES_WAITUNTIL_H
#define FAKES_WAITUNTIL_H

#include <chrono>
#include <functional>
#include <thread>

const std::chrono::seconds deadline(30); // only a hang reaches it

/// @return whether @p condition has become true before the deadline.
inline bool waitUntil(const std::function<bool()> &condition)
{
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

#endif
