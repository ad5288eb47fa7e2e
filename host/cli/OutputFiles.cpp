#include "cli/OutputFiles.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <vector>

#include "media/FilePlace.h"

namespace {

using Kind = decoding::Output::Kind;

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

bool OutputFiles::mayInclude(const decoding::Output &output, const std::string &path)
{
    const std::filesystem::path file = FilePlace::resolved(path);
    const std::vector<std::string> &ends = suffixes().at(output.kind);
    return std::any_of(ends.begin(), ends.end(),
                       [&file](const std::string &end) { return endsWith(file.filename().string(), end); }) &&
           FilePlace::ofDirectory(file.parent_path().string()) == FilePlace::ofDirectory(output.directory);
}
