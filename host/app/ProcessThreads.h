#ifndef HOST_APP_PROCESSTHREADS_H
#define HOST_APP_PROCESSTHREADS_H

#include <set>

/// The threads of this process, as the operating system counts them. Thread-safe.
namespace ProcessThreads {

/// @return the system's thread ids. For Linux and Windows.
[[nodiscard]] std::set<int> ids();

} // namespace ProcessThreads

#endif
