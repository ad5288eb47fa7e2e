#ifndef HOST_CONTROL_CONTROLADDRESS_H
#define HOST_CONTROL_CONTROLADDRESS_H

#include <optional>
#include <string>
#include <variant>

#include <sys/un.h>

/// Where the control socket of a host is. All operations are thread-safe.
namespace ControlAddress {

/// @return "decoding-host.sock" in the directory that the user's session has for such files, $XDG_RUNTIME_DIR; nothing
///         without one: no place that all users can write to is as safe.
[[nodiscard]] std::optional<std::string> defaultPath();

/// @return the address of the socket at @p path, or one line that says why there can be none.
[[nodiscard]] std::variant<sockaddr_un, std::string> of(const std::string &path);

} // namespace ControlAddress

#endif
