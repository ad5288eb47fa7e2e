#include "control/ControlAddress.h"

#include <sys/socket.h>

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
