#include "control/ControlAddress.h"

#include <QByteArray>

#include <sys/socket.h>

std::optional<std::string> ControlAddress::defaultPath()
{
    const std::string directory = qgetenv("XDG_RUNTIME_DIR").toStdString();
    // Others than absolute ones are to be taken for none.
    if (directory.empty() || directory.front() != '/')
        return std::nullopt;
    return directory + "/decoding-host.sock";
}

std::variant<sockaddr_un, std::string> ControlAddress::of(const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.empty())
        return std::string("the control socket's path is empty");
    if (path.size() >= sizeof address.sun_path)
        return "the control socket's path " + path + " is longer than " + std::to_string(sizeof address.sun_path - 1) +
               " bytes";
    path.copy(address.sun_path, path.size());
    return address;
}
