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

/// Ends the process, naming what hangs, unless it is destroyed within its time. For what cannot be waited for with a
/// deadline, because the waiting thread itself would hang.
class HangGuard {
public:
    explicit HangGuard(std::string what, std::chrono::seconds limit = std::chrono::seconds(60))
        : _what(std::move(what))
        , _watch([this, limit] { watch(limit); })
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

private:
    void watch(std::chrono::seconds limit)
    {
        std::unique_lock<std::mutex> lock(_mutex);
        // On the system clock, because ThreadSanitizer does not know the wait on the steady one.
        if (_changed.wait_until(lock, std::chrono::system_clock::now() + limit, [this] { return _isOver; }))
            return;
        std::fprintf(stderr, "%s: hangs\n", _what.c_str());
        std::abort();
    }

    const std::string _what;
    std::mutex _mutex;
    std::condition_variable _changed;
    bool _isOver = false; // guarded by _mutex
    std::thread _watch;   // last: it uses the others
};

#endif
