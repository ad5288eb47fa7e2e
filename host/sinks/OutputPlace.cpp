#include "sinks/OutputPlace.h"

#include <sys/stat.h>

void FileSet::add(const std::string &path)
{
    struct stat file = {};
    if (stat(path.c_str(), &file) == 0)
        _files.insert({file.st_dev, file.st_ino});
}

void FileSet::add(const FileSet &others)
{
    _files.insert(others._files.begin(), others._files.end());
}

bool FileSet::contains(const std::string &path) const
{
    struct stat file = {};
    return stat(path.c_str(), &file) == 0 && _files.count({file.st_dev, file.st_ino}) != 0;
}

std::optional<std::string> OutputPlace::refusal(const std::string &path) const
{
    if (!inputs || !inputs->contains(path))
        return std::nullopt;
    return "cannot write " + path + ": it is one of the inputs; name another directory";
}
