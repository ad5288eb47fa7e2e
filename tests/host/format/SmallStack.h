#ifndef HOST_FORMAT_TESTS_SMALLSTACK_H
#define HOST_FORMAT_TESTS_SMALLSTACK_H

#include <cstddef>
#include <functional>

/// A thread with the stack of a decoder thread, to find out how much of it is used.
namespace SmallStack {

/// Bytes that a decoder thread has.
constexpr std::size_t size = 102400;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isMeasured = false;
#else
constexpr bool isMeasured = true;
#endif

/// Runs @p work on such a thread and waits for its end. Sanitizers get more room, as they need it for themselves.
/// @return the bytes between the stack's beginning and the last one that was written.
std::size_t run(const std::function<void()> &work);

} // namespace SmallStack

#endif
