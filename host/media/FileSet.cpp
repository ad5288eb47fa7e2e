#include "media/FileSet.h"

#include <sys/stat.h>

void FileSet::add(const std::string &path)
{
    struct stat file = {};
    if (stat(path.c_str(), &file) == 0)
        _files.insert({file.st_dev, file.st_ino});
}

bool FileSet::contains(const std::string &path) const
{
    struct stat file = {};
    return !_files.empty() && stat(path.c_str(), &file) == 0 && _files.count({file.st_dev, file.st_ino}) != 0;
}
