#ifndef HOST_CLI_PROBERUN_H
#define HOST_CLI_PROBERUN_H

#include <string>
#include <vector>

#include "cli/CommandLine.h"

/// The command `probe`.
namespace ProbeRun {

struct Result {
    std::string text;                // for the standard output
    std::vector<std::string> errors; // one line for each input that could not be looked at
};

/// Opens each input and tells what would be decoded.
[[nodiscard]] Result run(const ProbeOptions &options);

} // namespace ProbeRun

#endif
