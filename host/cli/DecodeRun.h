#ifndef HOST_CLI_DECODERUN_H
#define HOST_CLI_DECODERUN_H

#include <string>
#include <variant>

#include "cli/CommandLine.h"
#include "cli/DecodeReport.h"

/// The command `decode`.
namespace DecodeRun {

/// Decodes all inputs at once, on the main thread's event loop; there must be an application object. Shows the progress
/// and tells warnings on the standard error output. SIGINT and SIGTERM end the run early, with a report.
/// @return what was done; when nothing could be begun, one line that says why.
[[nodiscard]] std::variant<DecodeReport, std::string> run(const DecodeOptions &options);

} // namespace DecodeRun

#endif
