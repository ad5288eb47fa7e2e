#ifndef HOST_MEDIA_FILEPLACE_H
#define HOST_MEDIA_FILEPLACE_H

#include <filesystem>
#include <string>

/// Where names lead to, be they those of files that are yet to be made. Reentrant; asks the file system, which may take
/// its time.
namespace FilePlace {

/// @return @p path with the links in it followed, as far as it is there; one at its end, too, where that leads to
///         nothing.
[[nodiscard]] std::filesystem::path resolved(const std::filesystem::path &path);

/// @return one text for all ways to name a directory, which need not be there.
[[nodiscard]] std::string ofDirectory(const std::string &directory);

} // namespace FilePlace

#endif
