#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <sys/stat.h>

// What a program meets that has files on a disk which has stopped answering: a call does not return. Loaded into it
// before its other libraries. Files whose name contains "cannot-open" hang when they are opened, those with
// "cannot-write" when they are written, with "cannot-read" when they are read beyond their first 512 KiB, with
// "cannot-stat" when it is asked what they are, and with "cannot-remove" when they are removed.

namespace {

void hangWhere(const char *path, const char *word)
{
    while (std::strstr(path, word))
        pause();
}

std::array<char, 4096> pathOf(int descriptor)
{
    std::array<char, 32> link = {};
    std::array<char, 4096> path = {};
    std::snprintf(link.data(), link.size(), "/proc/self/fd/%d", descriptor);
    if (readlink(link.data(), path.data(), path.size() - 1) < 0)
        path[0] = '\0';
    return path;
}

template <class Function>
Function systemsOwn(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

// NOLINTBEGIN(cert-dcl50-cpp): as the system declares them
__attribute__((visibility("default"))) int open64(const char *path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    const mode_t mode = flags & O_CREAT ? va_arg(more, mode_t) : 0;
    va_end(more);
    hangWhere(path, "cannot-open");
    return systemsOwn<int (*)(const char *, int, ...)>("open64")(path, flags, mode);
}

__attribute__((visibility("default"))) int open(const char *path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    const mode_t mode = flags & O_CREAT ? va_arg(more, mode_t) : 0;
    va_end(more);
    hangWhere(path, "cannot-open");
    return systemsOwn<int (*)(const char *, int, ...)>("open")(path, flags, mode);
}
// NOLINTEND(cert-dcl50-cpp)

__attribute__((visibility("default"))) int stat(const char *path, struct stat *file) noexcept
{
    hangWhere(path, "cannot-stat");
    return systemsOwn<int (*)(const char *, struct stat *)>("stat")(path, file);
}

__attribute__((visibility("default"))) int stat64(const char *path, struct stat64 *file) noexcept
{
    hangWhere(path, "cannot-stat");
    return systemsOwn<int (*)(const char *, struct stat64 *)>("stat64")(path, file);
}

__attribute__((visibility("default"))) int unlink(const char *path) noexcept
{
    hangWhere(path, "cannot-remove");
    return systemsOwn<int (*)(const char *)>("unlink")(path);
}

__attribute__((visibility("default"))) ssize_t read(int descriptor, void *data, size_t size)
{
    constexpr off_t readable = 512 << 10;
    const int error = errno;
    if (lseek(descriptor, 0, SEEK_CUR) >= readable)
        hangWhere(pathOf(descriptor).data(), "cannot-read");
    errno = error;
    return systemsOwn<ssize_t (*)(int, void *, size_t)>("read")(descriptor, data, size);
}

__attribute__((visibility("default"))) ssize_t write(int descriptor, const void *data, size_t size)
{
    const int error = errno;
    hangWhere(pathOf(descriptor).data(), "cannot-write");
    errno = error;
    return systemsOwn<ssize_t (*)(int, const void *, size_t)>("write")(descriptor, data, size);
}
}
