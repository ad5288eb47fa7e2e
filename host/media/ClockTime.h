#ifndef HOST_MEDIA_CLOCKTIME_H
#define HOST_MEDIA_CLOCKTIME_H

#include <chrono>
#include <string>

/// The time of the wall clock as people read it: in the time zone of the machine. All operations are thread-safe.
namespace ClockTime {

/// @return such as "2026-11-22T12:03:10".
[[nodiscard]] std::string full(std::chrono::system_clock::time_point instant);

/// @return such as "12:03:10".
[[nodiscard]] std::string ofDay(std::chrono::system_clock::time_point instant);

} // namespace ClockTime

#endif
