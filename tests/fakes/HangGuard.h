#ifndef FAKES_HANGGUARD_H
#define FAKES_HANGGUARD_H

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

/// Ends the process, naming what hangs, unless it is destroyed or told of progress within its time. For what cannot be
/// waited for with a deadline, because the waiting thread itself would hang.
class HangGuard {
public:
    explicit HangGuard(std::string what, std::chrono::seconds limit = std::chrono::seconds(60))
        : _what(std::move(what))
        , _limit(limit)
        , _watch([this] { watch(); })
    {
    }
    ~HangGuard()
    {
        {
            const std::lock_guard<std::mutex> lock(_mutex);
            _isOver = true;
        }
        _changed.notify_all();
        _watch.join();
    }
    HangGuard(const HangGuard &) = delete;
    HangGuard &operator=(const HangGuard &) = delete;

    /// Something was done: its time begins anew.
    void noteProgress()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _end = Clock::now() + _limit;
    }

private:
    using Clock = std::chrono::system_clock; // ThreadSanitizer does not know the wait on the steady one

    void watch()
    {
        std::unique_lock<std::mutex> lock(_mutex);
        while (Clock::now() < _end) {
            if (_changed.wait_until(lock, Clock::time_point(_end), [this] { return _isOver; }))
                return;
        }
        std::fprintf(stderr, "%s: hangs\n", _what.c_str());
        std::abort();
    }

    const std::string _what;
    const std::chrono::seconds _limit;
    std::mutex _mutex; // guards the next two
    Clock::time_point _end = Clock::now() + _limit;
    bool _isOver = false;
    std::condition_variable _changed;
    std::thread _watch; // last: it uses the others
};

#endif
