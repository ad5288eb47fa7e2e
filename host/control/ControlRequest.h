#ifndef HOST_CONTROL_CONTROLREQUEST_H
#define HOST_CONTROL_CONTROLREQUEST_H

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <decoding/Mode.h>

/// The requests of the control protocol, which docs/control.md describes. All operations are thread-safe.
namespace ControlRequest {

struct Add {
    std::string url;
    std::optional<std::string> name;
};
struct Remove {
    std::string name;
};
struct List {};
struct Status {};
struct Mode {
    decoding::Mode mode;
};
struct Governor {
    bool on;
};
struct Quit {};
struct Help {};

using Any = std::variant<Add, Remove, List, Status, Mode, Governor, Quit, Help>;

/// @param words the request's name and its arguments, in UTF-8. @return the request, or one line that says what is
///         wrong.
[[nodiscard]] std::variant<Any, std::string> parse(const std::vector<std::string> &words);

/// @return for each request a line with its form and what it does.
[[nodiscard]] std::vector<std::string> help();

} // namespace ControlRequest

#endif
