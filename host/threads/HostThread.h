#ifndef HOST_THREADS_HOSTTHREAD_H
#define HOST_THREADS_HOSTTHREAD_H

#include <csignal>
#include <pthread.h>
#include <thread>
#include <utility>

/// How every thread of the host is started: no signal interrupts it, so that none of the embedding program's signals is
/// handled there, and it bears a name in the system's lists. All operations are thread-safe.
namespace HostThread {

/// While it lives, the calling thread takes no signals, and neither does, for good, any thread that it starts. Those
/// that a thread raises by what it does itself, as by touching memory that is not there, come all the same.
class WithoutSignals final {
public:
    WithoutSignals()
    {
        sigset_t signals;
        sigfillset(&signals);
        for (const int own : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP})
            sigdelset(&signals, own);
        pthread_sigmask(SIG_BLOCK, &signals, &_before);
    }
    ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &_before, nullptr); }
    WithoutSignals(const WithoutSignals &) = delete;
    WithoutSignals &operator=(const WithoutSignals &) = delete;

private:
    sigset_t _before = {};
};

/// While it lives, threads that the calling thread has libraries start bear a name of their own, rather than its.
class NameForOthers final {
public:
    /// @param name as in `start`.
    explicit NameForOthers(const char *name)
    {
        pthread_getname_np(pthread_self(), _before, sizeof _before);
        pthread_setname_np(pthread_self(), name);
    }
    ~NameForOthers() { pthread_setname_np(pthread_self(), _before); }
    NameForOthers(const NameForOthers &) = delete;
    NameForOthers &operator=(const NameForOthers &) = delete;

private:
    char _before[16] = {};
};

/// Starts a thread that calls @p run, which must not throw. @param name a literal of at most 15 characters.
/// @throws std::system_error when the system has no thread left.
template <class Run>
[[nodiscard]] std::thread start(const char *name, Run run)
{
    const WithoutSignals inherited;
    return std::thread([name, run = std::move(run)]() mutable {
        pthread_setname_np(pthread_self(), name);
        run();
    });
}

} // namespace HostThread

#endif
