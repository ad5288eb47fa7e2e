#ifndef DECODING_MODE_H
#define DECODING_MODE_H

#include <decoding/Export.h>

namespace decoding {

/// What the decoders make of their streams: every block, or key blocks only, which costs a fraction.
enum class Mode { Performance, TimeSaving };

/// @return "performance" or "time-saving". Thread-safe.
DECODING_EXPORT const char *toText(Mode mode);

} // namespace decoding

#endif
