#ifndef HOST_CONTROL_CONTROLADDRESS_H
#define HOST_CONTROL_CONTROLADDRESS_H

#include <string>
#include <variant>

#include <sys/un.h>

/// Where the control socket of a host is. All operations are thread-safe.
namespace ControlAddress {

/// @return the address of the socket at @p path, or one line that says why there can be none.
[[nodiscard]] std::variant<sockaddr_un, std::string> of(const std::string &path);

} // namespace ControlAddress

#endif
