#ifndef HOST_CLI_OUTPUTFILES_H
#define HOST_CLI_OUTPUTFILES_H

#include <string>

#include <decoding/Output.h>

/// Which files the outputs of a run write, as far as that is known before it. Reentrant.
namespace OutputFiles {

/// Whether @p output writes a file at @p path, be it a link to there, when an input has a name that leads to it. Inputs
/// may come at any time.
[[nodiscard]] bool mayInclude(const decoding::Output &output, const std::string &path);

} // namespace OutputFiles

#endif
