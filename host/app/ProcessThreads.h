#ifndef HOST_APP_PROCESSTHREADS_H
#define HOST_APP_PROCESSTHREADS_H

#include <set>

/// The threads of this process, as the operating system counts them. Thread-safe.
namespace ProcessThreads {

/// @return the system's thread ids; empty on systems without /proc.
[[nodiscard]] std::set<int> ids();

} // namespace ProcessThreads

#endif
