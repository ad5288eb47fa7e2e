#ifndef HOST_CLI_OUTPUTFILES_H
#define HOST_CLI_OUTPUTFILES_H

#include <filesystem>
#include <string>

#include <decoding/Output.h>

/// Which files the outputs of a run write, as far as that is known before it. Reentrant.
namespace OutputFiles {

/// @return @p path with the links in it followed, as far as it is there; one at its end, too, where that leads to
///         nothing.
[[nodiscard]] std::filesystem::path resolved(const std::filesystem::path &path);

/// @return one text for all ways to name a directory, which need not be there.
[[nodiscard]] std::string placeOf(const std::string &directory);

/// Whether @p output writes a file at @p path, be it a link to there, when an input has a name that leads to it. Inputs
/// may come at any time.
[[nodiscard]] bool mayInclude(const decoding::Output &output, const std::string &path);

} // namespace OutputFiles

#endif
