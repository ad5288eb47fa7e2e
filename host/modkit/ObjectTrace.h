#ifndef HOST_MODKIT_OBJECTTRACE_H
#define HOST_MODKIT_OBJECTTRACE_H

#include <cstddef>
#include <map>
#include <string>

/// The objects that live in a ModkitPtr, from the calls of ModkitObjectTrace_Add and ModkitObjectTrace_Remove.
///
/// The trace knows objects by their counter blocks and never looks into a block. It copies type names, so the library
/// that defines a type may be unloaded. It works until the process ends, static destructors of any library included. A
/// block for which there is no memory stays unlisted: the trace never fails a caller.
///
/// Both operations are thread-safe. They visit the parts of the trace one after the other, each under its own lock, so
/// the result is exact only while no other thread creates or drops objects.
namespace ObjectTrace {

/// @return the number of live objects.
[[nodiscard]] std::size_t liveCount();

/// @return the number of live objects by the readable name of their type; types without a live object are left out. An
///         object is listed under the type that it was entered with.
[[nodiscard]] std::map<std::string, std::size_t> liveCountByType();

} // namespace ObjectTrace

#endif
