#include "sources/LocalReferences.h"

#include <filesystem>
#include <system_error>

#include "media/ShownUrl.h"

extern "C" {
#include <libavformat/avio.h>
}

namespace {

namespace fs = std::filesystem;

const std::string localPrefix = "file:";

bool startsWith(const std::string &text, const std::string &beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

/// @return where the prefix ends with which libavformat has a file decrypted; 0 where it has no such prefix.
std::size_t endOfDecryption(const std::string &url)
{
    return startsWith(url, "crypto+") || startsWith(url, "crypto:") ? 7 : 0;
}

std::string folderOf(const std::string &path)
{
    std::error_code error;
    return (fs::canonical(fs::absolute(path, error).parent_path(), error) / "").string();
}

} // namespace

LocalReferences::LocalReferences(const std::string &playlist)
    : _folder(folderOf(playlist))
{
}

std::variant<std::string, LocalReferences::Refusal> LocalReferences::follow(const std::string &url) const
{
    // What it holds stands in it.
    if (startsWith(url, "data:"))
        return url;
    const std::size_t begin = endOfDecryption(url);
    const bool isMarked = url.compare(begin, localPrefix.size(), localPrefix) == 0;
    const std::string path = url.substr(begin + (isMarked ? localPrefix.size() : 0));
    const char *const protocol = isMarked ? "file" : avio_find_protocol_name(path.c_str());
    const std::string refusal = "it names " + ShownUrl::withoutSecrets(path) + ", which ";
    if (!protocol || std::string(protocol) != "file")
        return Refusal{refusal + "is no file beside it; references=anywhere allows that"};
    std::error_code error;
    const fs::path file = fs::canonical(path, error);
    if (error)
        return Refusal{};
    if (!startsWith(file.string(), _folder))
        return Refusal{refusal + "does not lie beside it; references=anywhere allows that"};
    if (!fs::is_regular_file(file, error))
        return Refusal{refusal + "is not a regular file"};
    return url.substr(0, begin) + localPrefix + file.string();
}
