#include "media/FilePlace.h"

#include <system_error>

namespace {

constexpr int maxLinks = 40; // as for the system

} // namespace

std::filesystem::path FilePlace::resolved(const std::filesystem::path &path)
{
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(path, error).lexically_normal();
    // One to a file that is yet to be made, too.
    for (int links = 0; links < maxLinks && std::filesystem::is_symlink(absolute, error); ++links)
        absolute = (absolute.parent_path() / std::filesystem::read_symlink(absolute, error)).lexically_normal();
    std::filesystem::path canonical = std::filesystem::weakly_canonical(absolute, error);
    return error ? absolute : canonical;
}

std::string FilePlace::ofDirectory(const std::string &directory)
{
    // Without the slash that may stand at its end.
    return (resolved(std::filesystem::path(directory) / ".") / "").parent_path().string();
}
