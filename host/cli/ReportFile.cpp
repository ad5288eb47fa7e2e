#include "cli/ReportFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

#include "media/FilePlace.h"
#include "media/ShownUrl.h"
#include "terminal/LineOutput.h"
#include <sys/stat.h>

namespace {

bool isStandardOutput(const std::string &path)
{
    return path == "-";
}

std::string message(const std::string &path, int error)
{
    const std::string shown = isStandardOutput(path) ? "to the standard output" : ShownUrl::withoutSecrets(path);
    return "cannot write " + shown + ": " + std::generic_category().message(error);
}

/// @return 0, or the error that an access of the kind would meet.
int errorOfAccess(const std::string &path, int kind)
{
    return faccessat(AT_FDCWD, path.c_str(), kind, AT_EACCESS) == 0 ? 0 : errno;
}

} // namespace

std::optional<std::string> ReportFile::obstacle(const std::string &path, const std::vector<decoding::Output> &outputs)
{
    if (isStandardOutput(path))
        return std::nullopt;
    struct stat file = {};
    int error = 0;
    if (stat(path.c_str(), &file) == 0) {
        error = S_ISDIR(file.st_mode) ? EISDIR : errorOfAccess(path, W_OK);
    } else if (errno != ENOENT) {
        error = errno;
    } else {
        const std::string directory = (FilePlace::resolved(path).parent_path() / ".").string();
        error = errorOfAccess(directory, W_OK | X_OK);
        const bool isMade = std::any_of(outputs.begin(), outputs.end(), [&directory](const decoding::Output &output) {
            return output.kind != decoding::Output::Kind::Null &&
                   FilePlace::ofDirectory(output.directory) == FilePlace::ofDirectory(directory);
        });
        if (error == ENOENT && isMade)
            error = 0;
    }
    return error == 0 ? std::nullopt : std::optional(message(path, error));
}

std::optional<std::string> ReportFile::write(const std::string &path, const std::string &text)
{
    if (isStandardOutput(path)) {
        LineOutput output(STDOUT_FILENO);
        output.write(text);
        const int error = output.finish(std::nullopt);
        return error == 0 ? std::nullopt : std::optional(message(path, error));
    }
    std::FILE *const file = std::fopen(path.c_str(), "wb");
    if (!file)
        return message(path, errno);
    const bool written = std::fputs(text.c_str(), file) >= 0 && std::fflush(file) == 0;
    const int error = errno;
    const bool closed = std::fclose(file) == 0;
    if (written && closed)
        return std::nullopt;
    return message(path, written ? errno : error);
}
