#include "session/DeliveryThreads.h"

#include <algorithm>
#include <pthread.h>
#include <system_error>
#include <utility>

DeliveryThreads::~DeliveryThreads()
{
    // The last share may have been that of the last thread, which cannot wait for itself.
    for (std::thread &thread : _done) {
        if (thread.get_id() == std::this_thread::get_id())
            thread.detach();
        else
            thread.join();
    }
}

bool DeliveryThreads::add(std::function<void()> run)
{
    Threads done;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        done.swap(_done);
        try {
            _running.emplace_back([shared = shared_from_this(), run = std::move(run)]() mutable {
                pthread_setname_np(pthread_self(), "Frames");
                run();
                run = nullptr;
                shared->noteEndOfThisThread();
            });
        } catch (const std::system_error &) {
            done.swap(_done);
            return false;
        }
    }
    join(done);
    return true;
}

void DeliveryThreads::waitForAll()
{
    Threads done;
    {
        std::unique_lock<std::mutex> lock(_mutex);
        _changed.wait(lock, [this] {
            return std::all_of(_running.begin(), _running.end(),
                               [](const std::thread &thread) { return thread.get_id() == std::this_thread::get_id(); });
        });
        done.swap(_done);
    }
    join(done);
}

void DeliveryThreads::noteEndOfThisThread()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    const auto own = std::find_if(_running.begin(), _running.end(), [](const std::thread &thread) {
        return thread.get_id() == std::this_thread::get_id();
    });
    _done.push_back(std::move(*own));
    _running.erase(own);
    _changed.notify_all();
}

void DeliveryThreads::join(Threads &threads)
{
    for (std::thread &thread : threads)
        thread.join();
}
