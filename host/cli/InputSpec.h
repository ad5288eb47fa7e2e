#ifndef HOST_CLI_INPUTSPEC_H
#define HOST_CLI_INPUTSPEC_H

#include <optional>
#include <string>
#include <vector>

#include "cli/InputWords.h"

/// One input as the user writes it: a file or a URL; a URL also as `NAME=URL`, such as `front-door=rtsp://10.0.0.5/1`,
/// where the name consists of letters, digits, dots, dashes and underscores. Behind either there may be options for
/// this input alone, `#{WORD=VALUE&WORD=VALUE}`. No address has such signs in it; a file whose name ends so is given
/// with "#{}" behind it.
struct InputSpec {
    std::string url;
    std::optional<std::string> name;
    std::vector<InputWords::Setting> settings = {};

    /// @param given the name, where it is told apart from the text.
    /// @throws decoding::Error when what stands before `=URL` cannot be a name, or what stands behind it cannot be
    ///         options. A path that holds such a text is given from "/" or "." on.
    static InputSpec parse(const std::string &text, const std::optional<std::string> &given = std::nullopt);

    /// @return @p text with the path in it complete, where it is that of a file that is there.
    static std::string completed(const std::string &text);

    /// @return @p options as this input has them. @throws decoding::Error that names the input and the culprit.
    decoding::InputOptions over(decoding::InputOptions options) const;

    /// Whether it has outputs of its own, which are in the place of those of all inputs.
    bool hasOutputs() const;
    bool isLive() const;
};

#endif
