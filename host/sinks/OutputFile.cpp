#include "sinks/OutputFile.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <poll.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "media/DescriptorLimit.h"
#include "sinks/SinkWorkers.h"
#include <sys/stat.h>

namespace {

constexpr mode_t fileMode = 0666; // except for what the user's mask takes away
// After which a writer that waits looks whether it is still to.
constexpr std::chrono::milliseconds glanceInterval(50);
// With inputs that are about to end, and to close their files.
constexpr std::chrono::seconds limitPatience(5);

bool isPipe(const std::string &path)
{
    struct stat file = {};
    return ::stat(path.c_str(), &file) == 0 && S_ISFIFO(file.st_mode);
}

} // namespace

OutputFile::OutputFile(std::shared_ptr<WriteWatch> watch)
    : _watch(std::move(watch))
{
}

OutputFile::~OutputFile()
{
    static_cast<void>(close());
}

/// @return the result of @p systemCall, which is made again for as long as signals interrupt it.
template <class SystemCall>
auto OutputFile::call(SystemCall systemCall)
{
    const WriteWatch::Call watched(*_watch);
    auto result = systemCall();
    while (result < 0 && errno == EINTR)
        result = systemCall();
    return result;
}

int OutputFile::create(const std::string &path, Existing existing)
{
    int error = createOnce(path, existing);
    const auto end = WriteWatch::Clock::now() + limitPatience;
    while (DescriptorLimit::isReached(error) && WriteWatch::Clock::now() < end) {
        {
            const SinkWorkers::Waiting waiting;
            std::this_thread::sleep_for(glanceInterval);
        }
        if (!_watch->mayWaitOn(glanceInterval))
            break;
        error = createOnce(path, existing);
    }
    return error;
}

int OutputFile::createOnce(const std::string &path, Existing existing)
{
    // Nothing else than O_NONBLOCK has the system say that a pipe has no reader.
    constexpr int flags = O_WRONLY | O_NONBLOCK | O_CLOEXEC;
    const bool keeps = existing == Existing::Keep;
    int error = open(path, flags | O_CREAT | (keeps ? O_EXCL : O_TRUNC));
    if (keeps && error == EEXIST) {
        struct stat file = {};
        if (call([&] { return ::stat(path.c_str(), &file); }) != 0 || S_ISREG(file.st_mode))
            return EEXIST;
        error = open(path, flags);
    }
    return error == ENXIO && isPipe(path) ? waitUntilReadByAnybody(path, flags) : error;
}

int OutputFile::open(const std::string &path, int flags)
{
    const int descriptor = call([&] { return ::open(path.c_str(), flags, fileMode); });
    return descriptor < 0 ? errno : take(descriptor);
}

int OutputFile::waitUntilReadByAnybody(const std::string &path, int flags)
{
    int error = ENXIO;
    while (error == ENXIO) {
        {
            const SinkWorkers::Waiting waiting;
            std::this_thread::sleep_for(glanceInterval);
        }
        if (!_watch->mayWaitOn(glanceInterval))
            return ETIMEDOUT;
        error = open(path, flags);
    }
    return error;
}

int OutputFile::openStandardOutput()
{
    struct stat file = {};
    if (::fstat(STDOUT_FILENO, &file) != 0)
        return errno;
    // One of its own, because whoever shares the program's expects it to block.
    if ((S_ISFIFO(file.st_mode) || S_ISCHR(file.st_mode)) && open("/proc/self/fd/1", O_WRONLY | O_NONBLOCK) == 0)
        return 0;
    const int descriptor = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (descriptor < 0)
        return errno;
    if (!S_ISREG(file.st_mode))
        _maxWrite = PIPE_BUF;
    return take(descriptor);
}

/// @return 0.
int OutputFile::take(int descriptor)
{
    struct stat file = {};
    _descriptor = descriptor;
    _isSeekable = ::fstat(descriptor, &file) == 0 && S_ISREG(file.st_mode);
    return 0;
}

int OutputFile::write(const quint8 *data, qint64 size)
{
    while (size > 0) {
        if (_maxWrite > 0) {
            if (const int error = waitForRoom())
                return error;
        }
        const auto piece = static_cast<std::size_t>(_maxWrite > 0 ? std::min(size, _maxWrite) : size);
        const auto written = call([&] { return ::write(_descriptor, data, piece); });
        if (written >= 0) {
            data += written;
            size -= written;
        } else if (errno != EAGAIN) {
            return errno;
        } else if (const int error = waitForRoom()) {
            return error;
        }
    }
    return 0;
}

int OutputFile::waitForRoom()
{
    pollfd room = {_descriptor, POLLOUT, 0};
    if (::poll(&room, 1, 0) != 0)
        return 0;
    const SinkWorkers::Waiting waiting;
    for (;;) {
        const auto before = WriteWatch::Clock::now();
        if (::poll(&room, 1, static_cast<int>(glanceInterval.count())) > 0)
            return 0;
        if (!_watch->mayWaitOn(WriteWatch::Clock::now() - before))
            return ETIMEDOUT;
    }
}

qint64 OutputFile::seek(qint64 offset, int whence)
{
    const auto place = call([&] { return ::lseek(_descriptor, offset, whence); });
    return place < 0 ? -errno : place;
}

int OutputFile::cut(qint64 size)
{
    if (call([&] { return ::ftruncate(_descriptor, size); }) != 0)
        return errno;
    const qint64 place = seek(size, SEEK_SET);
    return place < 0 ? static_cast<int>(-place) : 0;
}

int OutputFile::close()
{
    if (_descriptor < 0)
        return 0;
    const WriteWatch::Call watched(*_watch);
    // After an interrupted one, too, the descriptor is gone.
    return ::close(std::exchange(_descriptor, -1)) == 0 || errno == EINTR ? 0 : errno;
}
