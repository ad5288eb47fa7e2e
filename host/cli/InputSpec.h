#ifndef HOST_CLI_INPUTSPEC_H
#define HOST_CLI_INPUTSPEC_H

#include <optional>
#include <string>

/// One input as the user writes it: a file or a URL; a URL also as `NAME=URL`, such as `front-door=rtsp://10.0.0.5/1`,
/// where the name consists of letters, digits, dots, dashes and underscores.
struct InputSpec {
    std::string url;
    std::optional<std::string> name;

    /// @throws decoding::Error when what stands before `=URL` cannot be a name. A path that holds such a text is given
    ///         from "/" or "." on.
    static InputSpec parse(const std::string &text);

    bool isLive() const;
};

#endif
