#ifndef BENCH_COMPONENTDECODING_H
#define BENCH_COMPONENTDECODING_H

#include "DecodingTask.h"

/// Decodes with the component: its library loaded as any host does it, the reference host's format component, queues in
/// memory, and outputs that count.
namespace ComponentDecoding {

/// @return what it took; or, with a message, nothing when it could not be done.
std::variant<DecodingResult, std::string> run(const Clip &clip, const DecodingTask &task);

} // namespace ComponentDecoding

#endif
