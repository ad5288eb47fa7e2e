#include "sinks/OutputPlace.h"

#include <filesystem>
#include <system_error>

std::string OutputPlace::name(const std::string &ending) const
{
    return isStandardOutput ? "the standard output" : base + ending;
}

std::optional<std::string> OutputPlace::refusal(const std::string &path) const
{
    const WriteWatch::Call watched(*watch);
    if (!inputs || !inputs->contains(path))
        return std::nullopt;
    return "cannot write " + path + ": it is one of the inputs; name another directory";
}

std::optional<std::string> OutputPlace::createDirectory() const
{
    if (isStandardOutput)
        return std::nullopt;
    const WriteWatch::Call watched(*watch);
    const std::filesystem::path path = std::filesystem::path(base).parent_path();
    std::error_code error;
    if (path.empty() || std::filesystem::create_directories(path, error) || !error)
        return std::nullopt;
    std::error_code ignored;
    return "cannot create the directory " + path.string() + ": " +
           (std::filesystem::exists(path, ignored) ? "a file is in the way" : error.message());
}
