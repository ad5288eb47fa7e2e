#ifndef HOST_SESSION_PROCESSTHREADS_H
#define HOST_SESSION_PROCESSTHREADS_H

#include <set>
#include <vector>

/// The threads of this process, as the operating system counts them. Thread-safe.
namespace ProcessThreads {

/// @return the system's thread ids. For Linux and Windows.
[[nodiscard]] std::set<int> ids();

/// @return the threads that run now and did not at @p before.
[[nodiscard]] std::vector<int> startedSince(const std::set<int> &before);

/// The same once all of them were told to end. Waits up to two seconds for them to go: Qt reports the end of a thread a
/// moment before the system has ended it.
[[nodiscard]] std::vector<int> leftSince(const std::set<int> &before);

/// @return which of @p threads, which were told to end, still run. Waits likewise.
[[nodiscard]] std::vector<int> leftOf(const std::vector<int> &threads);

} // namespace ProcessThreads

#endif
