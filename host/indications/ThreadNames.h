#ifndef HOST_INDICATIONS_THREADNAMES_H
#define HOST_INDICATIONS_THREADNAMES_H

#include <QString>

#include <limits>
#include <vector>

/// The names of threads as small numbers, which cost an indication no more than a comparison. A thread's name is the
/// object name that its QThread has when its number is first asked for; other threads, and Qt's own without a name,
/// have the empty one. Threads of the same name share a number, so there are few. All operations are thread-safe.
namespace ThreadNames {

using Id = quint16;

/// Stands for the empty name, and for each name beyond the first 65,534.
constexpr Id nameless = 0;

namespace Detail {
constexpr Id unknown = std::numeric_limits<Id>::max();
// Here, and in the thread's static block, so that the number is read without a call.
[[gnu::tls_model("initial-exec")]] inline thread_local Id ofThisThread = unknown;
Id learn() noexcept;
} // namespace Detail

/// @return the calling thread's number. The first call on each thread takes a lock; the others take a nanosecond.
inline Id current() noexcept
{
    return Detail::ofThisThread != Detail::unknown ? Detail::ofThisThread : Detail::learn();
}

/// @return the name of each number that has been given so far, at the number's position.
[[nodiscard]] std::vector<QString> all();

} // namespace ThreadNames

#endif
