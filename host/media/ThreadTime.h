#ifndef HOST_MEDIA_THREADTIME_H
#define HOST_MEDIA_THREADTIME_H

#include <chrono>

/// How long the calling thread has computed. Thread-safe.
namespace ThreadTime {

std::chrono::nanoseconds now();

} // namespace ThreadTime

#endif
