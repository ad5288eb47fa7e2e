#ifndef HOST_CLI_COMMANDLINE_H
#define HOST_CLI_COMMANDLINE_H

#include <chrono>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "queues/LiveQueue.h"
#include "session/GovernorLimits.h"
#include "sinks/OutputSpec.h"

/// Which component to run, and with what settings; the same for every command that runs one.
struct ComponentOptions {
    std::optional<std::string> libraryFile;  // without one, the component that belongs to the program
    std::optional<std::string> settingsFile; // INI
    std::optional<int> threads;
};

struct DecodeOptions {
    enum class Board {
        Automatic, // where an input is live, or others may come
        Always,
        Never
    };

    ComponentOptions component;
    std::vector<std::string> inputs; // at least one, unless there is a control socket
    std::vector<OutputSpec>
        outputs; // at least one; each takes a kind of streams asked for, no two write the same files
    bool video = true;
    bool audio = true;
    bool paced = false;
    bool timeSaving = false;
    bool excludeFromTuning = false;
    int repeat = 1; // each input's rounds
    int copies = 1; // of each input, side by side
    std::optional<std::chrono::milliseconds> duration;
    std::chrono::milliseconds maxLatency = LiveQueue::Limits().age; // of live sources
    std::optional<GovernorLimits> governor;
    std::optional<std::string> controlSocket; // path
    Board board = Board::Automatic;
    std::optional<std::string> jsonFile;
    bool quiet = false;
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

/// The command line of decoding-host. Texts are UTF-8.
namespace CommandLine {

/// Nothing is to be run.
struct Exit {
    int code;         // ExitCode::success: the text, of whole lines, is what was asked for
    std::string text; // otherwise: what is wrong, naming the culprit
};

/// The component takes any number of threads: a mistyped one would use up the machine.
constexpr int maxThreads = 1024;

/// @param argv the program's name and @p argc - 1 arguments, as main gets them. @return what is to be run, complete and
///        within its limits. Files are not looked at, directories only to tell whether two outputs name the same one.
[[nodiscard]] std::variant<DecodeOptions, ProbeOptions, CheckOptions, ControlOptions, Exit>
parse(int argc, const char *const *argv);

} // namespace CommandLine

#endif
