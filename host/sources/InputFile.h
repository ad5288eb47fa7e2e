#ifndef HOST_SOURCES_INPUTFILE_H
#define HOST_SOURCES_INPUTFILE_H

#include <optional>
#include <string>

/// Inputs that are local files. All operations are thread-safe; names are what the system has.
namespace InputFile {

/// @return the path of the file that @p url names; nothing where it is the address of something else. A path stands for
///         itself, whatever signs are in it but "://".
[[nodiscard]] std::optional<std::string> pathOf(const std::string &url);

/// @return what libavformat knows @p url by: a scheme in small letters, and a file by its bytes.
[[nodiscard]] std::string nameOf(const std::string &url);

/// @return in words that go behind its name, what libavformat would say less clearly, or, of a pipe that nobody writes
///         to, not at all; nothing when the file may be media.
[[nodiscard]] std::optional<std::string> obstacle(const std::string &path);

/// @return whether the file begins with @p text.
[[nodiscard]] bool beginsWith(const std::string &path, const std::string &text);

} // namespace InputFile

#endif
