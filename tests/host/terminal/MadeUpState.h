#ifndef TESTS_HOST_TERMINAL_MADEUPSTATE_H
#define TESTS_HOST_TERMINAL_MADEUPSTATE_H

#include "terminal/BoardState.h"

/// States that no real streams are needed for.
namespace MadeUpState {

/// A stream that runs well.
[[nodiscard]] BoardState::Row row(const std::string &name);

/// Streams "cam-1 video", "cam-2 video" and so on, most of them well: the 2nd has lost its connection, the 7th loses
/// blocks, the 11th is still connecting, the 13th late, the 19th without frames, the 23rd in a mode of its own, the
/// 29th failed, the 31st at its end.
[[nodiscard]] BoardState streams(int count);

} // namespace MadeUpState

#endif
