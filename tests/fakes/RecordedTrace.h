#ifndef FAKES_RECORDEDTRACE_H
#define FAKES_RECORDEDTRACE_H

#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "strata/base/modkit/modkit"

/// The object trace of test programs: defines the two trace functions, and tells what they were called with.
namespace RecordedTrace {

struct Call {
    enum Kind { Add, Remove } kind;
    const ModkitCounter *counter;
    std::string typeName; // of Add
    std::int32_t flag;    // of Add
};

inline bool operator==(const Call &left, const Call &right)
{
    return left.kind == right.kind && left.counter == right.counter && left.typeName == right.typeName &&
           left.flag == right.flag;
}

inline std::ostream &operator<<(std::ostream &stream, const Call &call)
{
    if (call.kind == Call::Remove)
        return stream << "Remove(" << call.counter << ")";
    return stream << "Add(" << call.counter << ", " << call.typeName << ", " << call.flag << ")";
}

/// The calls since the last take, on all threads.
std::vector<Call> take();

/// Hands every later call to @p duringCall, within the call; null: no more.
void watch(const std::function<void(const Call &)> &duringCall);

/// Number of blocks that were added with flag 0 and not removed, by type name, since the program began.
std::map<std::string, int> liveByTypeName();

} // namespace RecordedTrace

#endif
