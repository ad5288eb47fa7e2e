#ifndef HOST_CONTROL_CONTROLSOCKET_H
#define HOST_CONTROL_CONTROLSOCKET_H

#include <memory>
#include <string>
#include <variant>

#include "control/Descriptor.h"
#include <sys/types.h>

/// A socket file that clients connect to, from its making to its removal. Its mode is 0600 from the first moment: who
/// may not write to it cannot connect. Reentrant.
///
/// Beside it, "PATH.lock" is locked as long as it lives, which ends with the process however that ends. Only who has
/// the lock makes or removes the file, so that of two hosts that find a dead one's file, never one removes what the
/// other has just made.
class ControlSocket final {
public:
    /// Makes the file at @p path, and listens. A socket that nobody listens on any more is replaced; nothing else is.
    /// @return the socket, or one line that names @p path and says what is wrong.
    [[nodiscard]] static std::variant<std::unique_ptr<ControlSocket>, std::string> listen(const std::string &path);

    /// Removes the file, unless it is another one by now. Where the disk does not let go of it, that is left to the
    /// system after a moment.
    ~ControlSocket();
    ControlSocket(const ControlSocket &) = delete;
    ControlSocket &operator=(const ControlSocket &) = delete;

    /// To be watched for clients to come; it never blocks.
    [[nodiscard]] int descriptor() const { return _socket.get(); }

    /// @return the next client's connection, which never blocks; a closed one, and the reason in errno, when it
    ///         gets no client.
    [[nodiscard]] Descriptor accept();

private:
    /// The lock file, locked.
    struct Lock {
        explicit Lock(std::string ofPath)
            : path(std::move(ofPath))
        {
        }
        /// Removes the file, if it is ours, and with it the lock.
        ~Lock();
        Lock(const Lock &) = delete;
        Lock &operator=(const Lock &) = delete;

        const std::string path;
        Descriptor file; // open once it is locked
    };

    /// What is to be removed.
    struct Files {
        ~Files();

        std::string path;
        std::unique_ptr<Lock> lock; // released last
        dev_t device = 0;           // with the next one: which file is ours
        ino_t inode = 0;
    };

    ControlSocket(const std::string &path, std::unique_ptr<Lock> lock, Descriptor socket);

    static std::variant<std::unique_ptr<Lock>, std::string> lock(const std::string &path);

    std::unique_ptr<Files> _files;
    const Descriptor _socket;
};

#endif
