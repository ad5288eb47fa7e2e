#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <pthread.h>

// Loaded into a program before all other libraries, lets it start as many threads as the environment variable
// FEW_THREADS says, and no more.
extern "C" int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*run)(void *), void *argument)
{
    static std::atomic<int> started{0};
    static const auto real = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    const char *const limit = std::getenv("FEW_THREADS"); // NOLINT(concurrency-mt-unsafe): nobody changes it
    return limit && started++ >= std::atoi(limit) ? EAGAIN : real(thread, attributes, run, argument);
}
