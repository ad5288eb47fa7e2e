#ifndef BENCH_BAREDECODING_H
#define BENCH_BAREDECODING_H

#include "DecodingTask.h"

/// Decodes with libavcodec and nothing else: one loop on each thread, over the streams that are dealt out to it. The
/// streams take turns packet by packet, as they do in the component and must wherever all of them are live.
namespace BareDecoding {

/// @return what it took; or, with a message, nothing when it could not be done.
std::variant<DecodingResult, std::string> run(const Clip &clip, const DecodingTask &task);

} // namespace BareDecoding

#endif
