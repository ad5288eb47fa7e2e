#include "host/sinks/LimitedDisk.h"

#include <algorithm>
#include <cerrno>
#include <dlfcn.h>
#include <mutex>
#include <unistd.h>

#include <sys/stat.h>

namespace {

constexpr qint64 unlimitedRoom = -1;

std::mutex roomMutex;
qint64 roomLeft = unlimitedRoom; // guarded by roomMutex

bool isRegular(int file)
{
    struct stat status = {};
    return fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

LimitedDisk::~LimitedDisk()
{
    setRoom(unlimitedRoom);
}

void LimitedDisk::setRoom(qint64 room)
{
    const std::lock_guard<std::mutex> lock(roomMutex);
    roomLeft = room;
}

// The program's own definition goes before the one in the C library.

extern "C" ssize_t write(int file, const void *bytes, size_t count)
{
    static auto *const real = reinterpret_cast<ssize_t (*)(int, const void *, size_t)>(dlsym(RTLD_NEXT, "write"));
    const std::lock_guard<std::mutex> lock(roomMutex);
    if (roomLeft == unlimitedRoom || !isRegular(file))
        return real(file, bytes, count);
    if (roomLeft == 0) {
        errno = ENOSPC;
        return -1;
    }
    const ssize_t written = real(file, bytes, std::min(count, static_cast<size_t>(roomLeft)));
    roomLeft -= std::max<ssize_t>(written, 0);
    return written;
}
