#ifndef HOST_CONTROL_CONTROLCLIENT_H
#define HOST_CONTROL_CONTROLCLIENT_H

#include <chrono>
#include <string>
#include <vector>

/// Asks a running host, as the command `ctl` does. Needs no event loop; thread-safe.
namespace ControlClient {

enum class Outcome {
    Done,
    /// The host could not be asked, or could not do it.
    Failed,
    /// There is no such request; nothing was sent.
    WrongUsage
};

struct Answer {
    Outcome outcome = Outcome::Failed;
    std::vector<std::string> lines; // of data
    std::string error;              // one line that says what is wrong; empty when all is done
};

/// Sends one request and waits for its answer.
/// @param path of the host's socket file. @param words the request's name and its arguments. @param timeout for all of
///         it;
///        to open an input may take the host long.
[[nodiscard]] Answer ask(const std::string &path, const std::vector<std::string> &words,
                         std::chrono::milliseconds timeout);

} // namespace ControlClient

#endif
