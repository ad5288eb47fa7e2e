#ifndef FAKES_REFUSEDTHREADS_H
#define FAKES_REFUSEDTHREADS_H

/// While it lives, the system starts so many threads for this process, and refuses all others. For programs that are
/// linked with its source. Into a program that is not, the dynamic linker may load that source as a library before all
/// others: there the environment variable THREADS_TO_START takes the number, or THREADS_AT_ONCE how many may run at a
/// time. One at a time.
class RefusedThreads {
public:
    explicit RefusedThreads(int afterStarts);
    ~RefusedThreads();
    RefusedThreads(const RefusedThreads &) = delete;
    RefusedThreads &operator=(const RefusedThreads &) = delete;
};

#endif
