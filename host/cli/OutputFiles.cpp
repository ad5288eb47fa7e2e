#include "cli/OutputFiles.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <system_error>
#include <vector>

namespace {

using Kind = decoding::Output::Kind;

constexpr int maxLinks = 40; // as for the system

/// How the names of the files end that an output of the kind writes.
const std::map<Kind, std::vector<std::string>> &suffixes()
{
    static const std::map<Kind, std::vector<std::string>> all = {
        {Kind::Null, {}},      {Kind::FrameMd5, {".video.framemd5", ".audio.framemd5"}},
        {Kind::Y4m, {".y4m"}}, {Kind::Raw, {".video.raw", ".audio.raw"}},
        {Kind::Wav, {".wav"}}, {Kind::Png, {".png"}},
    };
    return all;
}

bool endsWith(const std::string &text, const std::string &end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

} // namespace

std::filesystem::path OutputFiles::resolved(const std::filesystem::path &path)
{
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(path, error).lexically_normal();
    // One to a file that is yet to be made, too.
    for (int links = 0; links < maxLinks && std::filesystem::is_symlink(absolute, error); ++links)
        absolute = (absolute.parent_path() / std::filesystem::read_symlink(absolute, error)).lexically_normal();
    std::filesystem::path canonical = std::filesystem::weakly_canonical(absolute, error);
    return error ? absolute : canonical;
}

std::string OutputFiles::placeOf(const std::string &directory)
{
    // Without the slash that may stand at its end.
    return (resolved(std::filesystem::path(directory) / ".") / "").parent_path().string();
}

bool OutputFiles::mayInclude(const decoding::Output &output, const std::string &path)
{
    const std::filesystem::path file = resolved(path);
    const std::vector<std::string> &ends = suffixes().at(output.kind);
    return std::any_of(ends.begin(), ends.end(),
                       [&file](const std::string &end) { return endsWith(file.filename().string(), end); }) &&
           placeOf(file.parent_path().string()) == placeOf(output.directory);
}
