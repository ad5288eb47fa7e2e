#ifndef TESTS_HOST_SESSION_THREADREFUSAL_H
#define TESTS_HOST_SESSION_THREADREFUSAL_H

#include <cstddef>
#include <pthread.h>

/// While it lives, the system has no room for the stack of a new thread.
class ThreadRefusal {
public:
    ThreadRefusal()
    {
        pthread_getattr_default_np(&_before);
        pthread_attr_t tooLarge;
        pthread_attr_init(&tooLarge);
        pthread_attr_setstacksize(&tooLarge, std::size_t(1) << 46);
        pthread_setattr_default_np(&tooLarge);
        pthread_attr_destroy(&tooLarge);
    }
    ~ThreadRefusal()
    {
        pthread_setattr_default_np(&_before);
        pthread_attr_destroy(&_before);
    }
    ThreadRefusal(const ThreadRefusal &) = delete;
    ThreadRefusal &operator=(const ThreadRefusal &) = delete;

private:
    pthread_attr_t _before = {};
};

#endif
