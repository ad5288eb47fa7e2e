#include "media/InputFiles.h"

#include <algorithm>

#include <sys/stat.h>

void InputFiles::expect(quint64 input)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _files[input] = {Clock::now()};
}

void InputFiles::identify(quint64 input, const std::string &path)
{
    struct stat file = {};
    const bool isThere = stat(path.c_str(), &file) == 0;
    const std::lock_guard<std::mutex> lock(_mutex);
    const auto found = _files.find(input);
    if (found == _files.end())
        return;
    if (isThere)
        found->second.identity = {file.st_dev, file.st_ino};
    else
        _files.erase(found);
    _identified.notify_all();
}

void InputFiles::forget(quint64 input)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _files.erase(input);
    _identified.notify_all();
}

bool InputFiles::contains(const std::string &path) const
{
    struct stat file = {};
    if (stat(path.c_str(), &file) != 0)
        return false;
    std::unique_lock<std::mutex> lock(_mutex);
    for (;;) {
        const Clock::time_point now = Clock::now();
        std::optional<Clock::time_point> awaited;
        for (const auto &[input, known] : _files) {
            if (known.identity && known.identity->first == file.st_dev && known.identity->second == file.st_ino)
                return true;
            if (!known.identity && known.expectedAt + patience > now)
                awaited = std::max(awaited.value_or(now), known.expectedAt + patience);
        }
        if (!awaited)
            return false;
        _identified.wait_until(lock, *awaited);
    }
}
