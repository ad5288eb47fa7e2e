#ifndef HOST_CLI_REPORTFILE_H
#define HOST_CLI_REPORTFILE_H

#include <optional>
#include <string>
#include <vector>

#include <decoding/Output.h>

/// The file that the report of a run is written to; "-" is the standard output. Failures are one line that names it.
namespace ReportFile {

/// @return why @p path cannot be written, as far as that shows without touching it; a directory that is missing may be
///         one that an output of the run makes.
[[nodiscard]] std::optional<std::string> obstacle(const std::string &path,
                                                  const std::vector<decoding::Output> &outputs);

[[nodiscard]] std::optional<std::string> write(const std::string &path, const std::string &text);

} // namespace ReportFile

#endif
