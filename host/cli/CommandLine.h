#ifndef HOST_CLI_COMMANDLINE_H
#define HOST_CLI_COMMANDLINE_H

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "session/ComponentOptions.h"
#include <decoding/Session.h>

struct DecodeOptions {
    enum class Board {
        Automatic, // where an input is live, or others may come
        Always,
        Never
    };

    decoding::SessionOptions session; // as far as the command line says
    bool noThreads = false;           // were asked for, and so nothing can be decoded
    std::vector<std::string> inputs;  // at least one, unless there is a control socket
    /// Of every input that says nothing else. There is at least one output; each takes a kind of streams that is of
    /// interest, and no two write the same files.
    decoding::InputOptions input;
    int copies = 1;                           // of each input, side by side
    std::optional<std::string> controlSocket; // path
    Board board = Board::Automatic;
    std::optional<std::string> jsonFile; // "-": the standard output
    bool quiet = false;

    /// Of all inputs, and of those that have some of their own.
    std::vector<decoding::Output> outputs() const;
    /// Whether the standard output is for an output or the JSON report alone, and the error output for everything else.
    bool isStandardOutputTaken() const;
};

struct ProbeOptions {
    std::vector<std::string> inputs; // at least one
    bool json = false;
};

struct CheckOptions {
    ComponentOptions component;
    bool json = false;
};

/// One request to a decoding-host that runs.
struct ControlOptions {
    std::string socket;               // path
    std::vector<std::string> request; // its words, at least one
};

/// The command line of decoding-host. Texts are UTF-8, except the names of files, which are what the system has.
namespace CommandLine {

/// Nothing is to be run.
struct Exit {
    int code;         // ExitCode::success: the text, of whole lines, is what was asked for
    std::string text; // otherwise: what is wrong, naming the culprit
};

/// @param argv the program's name and @p argc - 1 arguments, as main gets them. @return what is to be run, complete and
///        within its limits. Files are not looked at, directories only to tell whether two outputs name the same one.
[[nodiscard]] std::variant<DecodeOptions, ProbeOptions, CheckOptions, ControlOptions, Exit>
parse(int argc, const char *const *argv);

} // namespace CommandLine

#endif
