#ifndef HOST_CLI_CHECKRUN_H
#define HOST_CLI_CHECKRUN_H

#include <string>
#include <variant>

#include "cli/CheckReport.h"
#include "cli/CommandLine.h"

/// The command `check`.
namespace CheckRun {

/// Runs the component once, from its loading to its end, on the main thread; there must be an application object.
/// @return what was seen; when the component cannot be run, one line that says why.
[[nodiscard]] std::variant<CheckReport, std::string> run(const CheckOptions &options);

} // namespace CheckRun

#endif
