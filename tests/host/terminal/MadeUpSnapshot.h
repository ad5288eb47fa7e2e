#ifndef TESTS_HOST_TERMINAL_MADEUPSNAPSHOT_H
#define TESTS_HOST_TERMINAL_MADEUPSNAPSHOT_H

#include <string>
#include <vector>

#include "terminal/StreamRow.h"
#include <decoding/Snapshot.h>

/// Snapshots that no real streams are needed for.
namespace MadeUpSnapshot {

/// An input with one stream that runs well. @param name of both.
[[nodiscard]] decoding::Snapshot::Input input(const std::string &name);

/// @return the row of its only stream.
[[nodiscard]] StreamRow row(const decoding::Snapshot::Input &input);

/// Streams "cam-1 video", "cam-2 video" and so on, each of an input "cam-1", "cam-2" ..., most of them well: the 2nd
/// has lost its connection, the 7th loses blocks, the 11th is still connecting, the 13th late, the 19th without frames,
/// the 23rd in a mode of its own, the 29th failed, the 31st at its end.
[[nodiscard]] decoding::Snapshot streams(int count);

/// @return one sample of the load after the other, up to that of `streams`.
[[nodiscard]] std::vector<decoding::Snapshot::Load> loads();

/// Adds a message.
void say(decoding::Snapshot &snapshot, const std::string &message);

} // namespace MadeUpSnapshot

#endif
