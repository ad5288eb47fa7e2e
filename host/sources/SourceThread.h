#ifndef HOST_SOURCES_SOURCETHREAD_H
#define HOST_SOURCES_SOURCETHREAD_H

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "threads/HostThread.h"

/// The thread of a source, which may not return from the system, as where a disk hangs or a name is looked up for long:
/// then it can be left behind with the source. Thread-bound, except for `atDisk`; belongs to the source.
class SourceThread final {
public:
    /// @param name and @param run as HostThread::start has them. @throws std::system_error when there is no thread.
    template <class Run>
    void start(const char *name, Run run)
    {
        _thread = HostThread::start(name, [this, run = std::move(run)]() mutable {
            std::shared_ptr<void> owner; // goes last
            run();
            const std::lock_guard<std::mutex> lock(_mutex);
            _hasEnded = true;
            owner = std::move(_owner);
            _ended.notify_all();
        });
    }

    /// On the thread: calls what may not return. The source may have been left behind when it does.
    template <class Call>
    auto atDisk(Call call)
    {
        noteAtDisk(true);
        auto result = call();
        noteAtDisk(false);
        return result;
    }

    void join()
    {
        if (_thread.joinable())
            _thread.join();
    }

    /// As join; but where the thread is at the disk after @p patience, it is left behind: it keeps @p owner, the
    /// source, until it ends. @param leave called then, while the thread is there; has the source stop, and give up
    /// whatever the thread must not touch any more.
    template <class Leave>
    void joinOrLeave(std::shared_ptr<void> owner, std::chrono::milliseconds patience, Leave leave)
    {
        if (!_thread.joinable())
            return;
        {
            std::unique_lock<std::mutex> lock(_mutex);
            while (!_ended.wait_for(lock, patience, [this] { return _hasEnded; })) {
                if (!_isAtDisk)
                    continue;
                leave();
                _owner = std::move(owner);
                _thread.detach();
                return;
            }
        }
        join();
    }

private:
    void noteAtDisk(bool isThere)
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _isAtDisk = isThere;
    }

    std::mutex _mutex; // guards the next three
    bool _isAtDisk = false;
    bool _hasEnded = false;
    std::shared_ptr<void> _owner; // once it is left behind
    std::condition_variable _ended;
    std::thread _thread; // the last: it uses all the others
};

#endif
