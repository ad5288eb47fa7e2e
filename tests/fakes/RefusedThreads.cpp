#include "fakes/RefusedThreads.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <pthread.h>

namespace {

constexpr int allThreads = -1;

int threadsOfTheEnvironment()
{
    const char *const number = std::getenv("THREADS_TO_START"); // NOLINT(concurrency-mt-unsafe): before all threads
    return number ? std::atoi(number) : allThreads;
}

std::atomic<int> threadsLeft = threadsOfTheEnvironment();

} // namespace

RefusedThreads::RefusedThreads(int afterStarts)
{
    threadsLeft = afterStarts;
}

RefusedThreads::~RefusedThreads()
{
    threadsLeft = allThreads;
}

// Goes before the one in the C library.
extern "C" int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*run)(void *),
                              void *argument) noexcept
{
    int left = threadsLeft;
    while (left != allThreads && !threadsLeft.compare_exchange_weak(left, left == 0 ? 0 : left - 1)) {
    }
    if (left == 0)
        return EAGAIN;
    static auto *const real = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    return real(thread, attributes, run, argument);
}
