#include "sources/InputFile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <strings.h>
#include <system_error>
#include <unistd.h>

#include <sys/stat.h>

namespace {

const std::string filePrefix = "file:";

} // namespace

std::optional<std::string> InputFile::pathOf(const std::string &url)
{
    if (url.find("://") == std::string::npos)
        return url;
    if (strncasecmp(url.c_str(), "file://", 7) == 0)
        return url.substr(filePrefix.size());
    return std::nullopt;
}

std::string InputFile::nameOf(const std::string &url)
{
    // Without the prefix, a file name with a colon in it would name a protocol.
    if (const auto path = pathOf(url))
        return filePrefix + *path;
    std::string name = url;
    std::transform(
        name.begin(), name.begin() + static_cast<std::ptrdiff_t>(name.find("://")), name.begin(),
        [](char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter; });
    return name;
}

std::optional<std::string> InputFile::obstacle(const std::string &path)
{
    // Qt would not know a file whose name is not UTF-8.
    struct stat file = {};
    if (stat(path.c_str(), &file) != 0 && (errno == ENOENT || errno == ENOTDIR))
        return "there is no such file";
    if (S_ISDIR(file.st_mode))
        return "this is a directory; name a media file in it";
    if (file.st_mode != 0 && !S_ISREG(file.st_mode))
        return "this is not a regular file";
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return "the file cannot be read: " + std::generic_category().message(errno);
    close(descriptor);
    if (file.st_size == 0)
        return "the file is empty";
    return std::nullopt;
}

bool InputFile::beginsWith(const std::string &path, const std::string &text)
{
    std::ifstream file(path, std::ios::binary);
    std::string beginning(text.size(), '\0');
    file.read(beginning.data(), static_cast<std::streamsize>(beginning.size()));
    return file && beginning == text;
}
