#include "fakes/RefusedThreads.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <memory>
#include <pthread.h>

namespace {

constexpr int allThreads = -1;

int numberOfTheEnvironment(const char *name)
{
    const char *const number = std::getenv(name); // NOLINT(concurrency-mt-unsafe): before all threads
    return number ? std::atoi(number) : allThreads;
}

const bool limitsThoseThatRun = numberOfTheEnvironment("THREADS_AT_ONCE") != allThreads;
std::atomic<int> threadsLeft = numberOfTheEnvironment(limitsThoseThatRun ? "THREADS_AT_ONCE" : "THREADS_TO_START");

/// What a thread does that gives its place back at its end.
struct Run {
    ~Run() { ++threadsLeft; }

    void *(*run)(void *);
    void *argument;
};

void *runAndGiveBack(void *run)
{
    const std::unique_ptr<Run> own(static_cast<Run *>(run));
    return own->run(own->argument);
}

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
    if (!limitsThoseThatRun)
        return real(thread, attributes, run, argument);
    std::unique_ptr<Run> own(new Run{run, argument});
    const int error = real(thread, attributes, runAndGiveBack, own.get());
    if (error == 0)
        static_cast<void>(own.release());
    return error;
}
