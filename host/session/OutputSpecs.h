#ifndef HOST_SESSION_OUTPUTSPECS_H
#define HOST_SESSION_OUTPUTSPECS_H

#include "sinks/OutputSpec.h"
#include <decoding/Output.h>

namespace OutputSpecs {

/// @return @p output as the sinks call it.
[[nodiscard]] OutputSpec of(const decoding::Output &output);

} // namespace OutputSpecs

#endif
