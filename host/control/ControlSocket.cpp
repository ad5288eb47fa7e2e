#include "control/ControlSocket.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <future>
#include <optional>
#include <system_error>
#include <utility>

#include "control/ControlAddress.h"
#include "threads/HostThread.h"
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace {

constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;
constexpr int backlog = 16; // clients that have come but were not accepted yet
constexpr std::chrono::milliseconds removalPatience(600);

std::string failure(const std::string &what, int error = errno)
{
    return "control socket " + what + ": " + std::generic_category().message(error);
}

std::string heldByAnother(const std::string &path)
{
    return "control socket " + path + ": another program listens on it already";
}

const sockaddr *plain(const sockaddr_un &address)
{
    return reinterpret_cast<const sockaddr *>(&address);
}

Descriptor newSocket()
{
    return Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

/// Makes room at @p path for a new socket. @return nothing on success.
std::optional<std::string> removeStale(const std::string &path, const sockaddr_un &address)
{
    struct stat found = {};
    if (lstat(path.c_str(), &found) != 0)
        return errno == ENOENT ? std::nullopt : std::optional(failure(path));
    if (!S_ISSOCK(found.st_mode))
        return "control socket " + path + ": there is another file of that name, which is not replaced";

    const Descriptor probe = newSocket();
    if (!probe.isOpen())
        return failure(path);
    // EAGAIN: many clients wait to be accepted, and by somebody.
    if (connect(probe.get(), plain(address), sizeof address) == 0 || errno == EAGAIN)
        return heldByAnother(path);
    if (errno != ECONNREFUSED && errno != ENOENT)
        return failure(path);
    if (unlink(path.c_str()) != 0 && errno != ENOENT)
        return failure(path);
    return std::nullopt;
}

} // namespace

ControlSocket::Lock::~Lock()
{
    // While it is locked still: whoever opens it now sees afterwards that it is not there any more.
    if (file.isOpen())
        unlink(path.c_str());
}

std::variant<std::unique_ptr<ControlSocket>, std::string> ControlSocket::listen(const std::string &path)
{
    const auto address = ControlAddress::of(path);
    if (const std::string *const error = std::get_if<std::string>(&address))
        return *error;
    auto locked = lock(path);
    if (const std::string *const error = std::get_if<std::string>(&locked))
        return *error;
    if (auto error = removeStale(path, std::get<sockaddr_un>(address)))
        return *error;

    Descriptor socket = newSocket();
    // The file takes its mode from the socket that is bound to it.
    if (!socket.isOpen() || fchmod(socket.get(), ownerOnly) != 0)
        return failure(path);
    if (bind(socket.get(), plain(std::get<sockaddr_un>(address)), sizeof(sockaddr_un)) != 0)
        return failure(path);
    std::unique_ptr<ControlSocket> result(
        new ControlSocket(path, std::move(std::get<std::unique_ptr<Lock>>(locked)), std::move(socket)));
    if (::listen(result->descriptor(), backlog) != 0)
        return failure(path);
    return result;
}

ControlSocket::ControlSocket(const std::string &path, std::unique_ptr<Lock> lock, Descriptor socket)
    : _files(std::make_unique<Files>())
    , _socket(std::move(socket))
{
    _files->path = path;
    _files->lock = std::move(lock);
    struct stat made = {};
    if (lstat(path.c_str(), &made) == 0) {
        _files->device = made.st_dev;
        _files->inode = made.st_ino;
    }
}

ControlSocket::Files::~Files()
{
    struct stat found = {};
    if (lstat(path.c_str(), &found) == 0 && found.st_dev == device && found.st_ino == inode)
        unlink(path.c_str());
}

ControlSocket::~ControlSocket()
{
    std::packaged_task<void()> removal([files = std::move(_files)]() mutable { files.reset(); });
    const std::future<void> done = removal.get_future();
    try {
        std::thread thread = HostThread::start("SocketRemover", std::move(removal));
        if (done.wait_for(removalPatience) == std::future_status::ready)
            thread.join();
        else
            thread.detach();
    } catch (const std::system_error &) { // NOLINT(bugprone-empty-catch): the task is destroyed, and with it the files
    }
}

Descriptor ControlSocket::accept()
{
    return Descriptor(::accept4(_socket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

std::variant<std::unique_ptr<ControlSocket::Lock>, std::string> ControlSocket::lock(const std::string &path)
{
    auto result = std::make_unique<Lock>(path + ".lock");
    while (true) {
        Descriptor file(open(result->path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, ownerOnly));
        struct stat opened = {};
        if (!file.isOpen() || fstat(file.get(), &opened) != 0)
            return failure(result->path);
        if (!S_ISREG(opened.st_mode) || opened.st_size != 0)
            return "control socket " + result->path + ": there is another file of that name, which is not touched";
        if (flock(file.get(), LOCK_EX | LOCK_NB) != 0)
            return errno == EWOULDBLOCK ? heldByAnother(path) : failure(result->path);

        // Its last owner may have removed it in between; then the lock of a file that is nowhere is worth nothing.
        struct stat present = {};
        if (lstat(result->path.c_str(), &present) == 0 && present.st_dev == opened.st_dev &&
            present.st_ino == opened.st_ino) {
            result->file = std::move(file);
            return result;
        }
    }
}
