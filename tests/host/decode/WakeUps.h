#ifndef HOST_DECODE_TESTS_WAKEUPS_H
#define HOST_DECODE_TESTS_WAKEUPS_H

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

/// Sees how late the machine wakes a thread, which no program that runs on it can do anything about.
class WakeUps final {
public:
    WakeUps()
        : _thread([this] { run(); })
    {
    }
    ~WakeUps() { end(); }
    WakeUps(const WakeUps &) = delete;
    WakeUps &operator=(const WakeUps &) = delete;

    /// @return the longest that a sleep was too long.
    std::chrono::milliseconds end()
    {
        _ending = true;
        if (_thread.joinable())
            _thread.join();
        return std::chrono::duration_cast<std::chrono::milliseconds>(_worst);
    }

private:
    void run()
    {
        using Clock = std::chrono::steady_clock;
        constexpr std::chrono::milliseconds nap(5);
        while (!_ending) {
            const Clock::time_point before = Clock::now();
            std::this_thread::sleep_for(nap);
            _worst = std::max(_worst, Clock::now() - before - nap);
        }
    }

    std::atomic<bool> _ending{false};
    std::chrono::steady_clock::duration _worst{0};
    std::thread _thread;
};

#endif
