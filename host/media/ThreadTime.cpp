#include "media/ThreadTime.h"

#include <ctime>

std::chrono::nanoseconds ThreadTime::now()
{
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}
