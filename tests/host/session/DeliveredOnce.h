#ifndef TESTS_HOST_SESSION_DELIVEREDONCE_H
#define TESTS_HOST_SESSION_DELIVEREDONCE_H

#include <functional>
#include <memory>
#include <set>
#include <thread>
#include <utility>

#include "session/DeliveryThreads.h"
#include "session/ProcessThreads.h"

/// Has @p run called once by @p threads. @return whether they could take it.
template <class Run>
[[nodiscard]] bool runOnce(const std::shared_ptr<DeliveryThreads> &threads, Run run)
{
    const std::function<void()> wake = threads->add([run = std::move(run)]() mutable {
        run();
        return DeliveryThreads::Next::Done;
    });
    if (wake)
        wake();
    return wake != nullptr;
}

/// @return the threads of this process before a test. A sanitizer starts a thread of its own beside the first one, and
///         keeps it.
inline std::set<int> threadsOnceOneHasRun()
{
    std::thread([] {}).join();
    return ProcessThreads::ids();
}

#endif
