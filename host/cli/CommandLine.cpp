#include "cli/CommandLine.h"

#include <algorithm>
#include <functional>
#include <map>

#include "cli/ExitCode.h"
#include "cli/InputSpec.h"
#include "cli/LoadLimitsText.h"
#include "cli/OutputFiles.h"
#include "media/ShownUrl.h"
#include "session/CodecThreads.h"
#include "sources/InputNames.h"
#include <CLI/CLI.hpp>

namespace {

// Each copy of an input has a thread and two decoders of its own.
constexpr int maxCopies = 1000;
constexpr int maxAtOnce = 100000;

std::string notEmpty(const std::string &text)
{
    return text.empty() ? "must not be empty" : std::string();
}

/// @throw CLI::ValidationError when an output takes none of the streams that are asked for.
void checkOutputsHaveStreams(const DecodeOptions &options)
{
    try {
        InputWords::checkOutputsHaveStreams(options.input);
    } catch (const decoding::Error &error) {
        throw CLI::ValidationError("--output", error.what());
    }
    for (const std::string &input : options.inputs) {
        try {
            static_cast<void>(InputSpec::parse(input).over(options.input));
        } catch (const decoding::Error &error) {
            throw CLI::ValidationError("INPUT", error.what());
        }
    }
}

/// @throw CLI::ValidationError when the report would go where an output may write.
void checkReportIsNoOutput(const DecodeOptions &options)
{
    for (const decoding::Output &output : options.outputs()) {
        if (options.jsonFile && OutputFiles::mayInclude(output, *options.jsonFile))
            throw CLI::ValidationError("--json", "\"" + *options.jsonFile + "\" may be a file that the output " +
                                                     output.kindName() + " writes; name another");
    }
}

/// @throw CLI::ValidationError when the standard output would hold more than one stream, or something beside it.
void checkStandardOutput(const DecodeOptions &options)
{
    int taken = 0; // by outputs
    const auto check = [&](const decoding::InputOptions &input, bool isOfAll) {
        for (const decoding::Output &output : input.outputs) {
            if (!output.isStandardOutput())
                continue;
            const auto refuse = [&](const std::string &why) {
                throw CLI::ValidationError("--output",
                                           std::string(output.kindName()) + ":-: the standard output takes " + why);
            };
            ++taken;
            if (options.jsonFile == "-" || taken > 1)
                refuse("one output, or the report of --json");
            if (options.copies != 1 || (isOfAll && (options.inputs.size() != 1 || options.controlSocket)))
                refuse("one input");
            if (input.video && output.takesVideo() && input.audio && output.takesAudio())
                refuse("one stream; choose it by --streams");
        }
    };
    check(options.input, true);
    for (const std::string &text : options.inputs) {
        const InputSpec input = InputSpec::parse(text);
        if (input.hasOutputs())
            check(input.over(options.input), false);
    }
}

/// What becomes of an option's value.
template <class Value>
using Take = std::function<void(const Value &value)>;

/// Those of every command that runs a component.
void addComponentOptions(CLI::App &command, const Take<int> &takeThreads, const Take<std::string> &takeLibrary,
                         const Take<std::string> &takeSettings)
{
    command.footer("Settings are taken from the command line, then from environment variables\n"
                   "DECODING_<KEY>, then from the file that --settings names.");
    command
        .add_option_function<int>("--threads", takeThreads,
                                  "Start N decoder threads (setting THREADS;\nby default one for each processor core)")
        ->option_text("N")
        ->check(CLI::Range(0, maxThreads));
    command.add_option_function<std::string>("--component", takeLibrary, "Load the component from FILE")
        ->option_text("FILE")
        ->check(notEmpty);
    command.add_option_function<std::string>("--settings", takeSettings, "Read settings from the INI FILE")
        ->option_text("FILE")
        ->check(notEmpty);
}

std::string isInput(const std::string &text)
{
    try {
        static_cast<void>(InputSpec::parse(text).over({}));
    } catch (const decoding::Error &error) {
        return error.what();
    }
    return notEmpty(text);
}

CLI::Option &addInputs(CLI::App &command, std::vector<std::string> &inputs)
{
    return *command.add_option("INPUT", inputs, "Files or URLs to read")->option_text("...")->check(isInput);
}

/// @throw CLI::ValidationError when an input is given a name that one before it has, be that given or made.
void checkNamesDiffer(const std::vector<std::string> &inputs)
{
    InputNames names;
    for (const std::string &input : inputs) {
        const InputSpec spec = InputSpec::parse(input);
        if (spec.name && names.isTaken(*spec.name))
            throw CLI::ValidationError("INPUT", "\"" + *spec.name + "\" is the name of another input, too");
        static_cast<void>(names.next(spec.url, spec.name.value_or(std::string())));
    }
}

/// @throw CLI::ValidationError
void setWord(decoding::InputOptions &options, const InputWords::Setting &setting)
{
    try {
        InputWords::set(options, setting);
    } catch (const decoding::Error &error) {
        throw CLI::ValidationError("--" + setting.word, error.what());
    }
}

/// The option that says for all inputs what @p word says for one.
void addWord(CLI::App &command, const InputWords::Word &word, decoding::InputOptions &options)
{
    const std::string name = word.name;
    if (!word.argument) {
        command.add_flag_callback(
            "--" + name,
            [&options, name] {
                setWord(options, {name, "yes"});
            },
            word.help);
        return;
    }
    CLI::Option *const option = command.add_option_function<std::vector<std::string>>(
        "--" + name,
        [&options, name](const std::vector<std::string> &values) {
            for (const std::string &value : values)
                setWord(options, {name, value});
        },
        word.help);
    option->option_text(word.argument)->allow_extra_args(false);
    if (name != "output")
        option->expected(1);
}

/// Those of runs that go on for as long as the operator likes.
void addLiveOptions(CLI::App &command, DecodeOptions &options)
{
    command
        .add_option_function<std::string>(
            "--governor",
            [&options](const std::string &text) {
                const auto limits = LoadLimitsText::parse(text);
                if (const std::string *const error = std::get_if<std::string>(&limits))
                    throw CLI::ValidationError("--governor", *error);
                options.session.governor = std::get<decoding::LoadLimits>(limits);
            },
            "Decode key blocks only while the CPU load is too high: from above\nHIGH until below LOW, such as 0.6:0.9")
        ->option_text("LOW:HIGH");
    command
        .add_option_function<std::string>(
            "--control", [&options](const std::string &path) { options.controlSocket = path; },
            "Take requests of decoding-host ctl on the socket PATH, and run until\ntold to quit")
        ->option_text("PATH")
        ->check(notEmpty);
    const std::map<std::string, DecodeOptions::Board> boards{{"auto", DecodeOptions::Board::Automatic},
                                                             {"always", DecodeOptions::Board::Always},
                                                             {"never", DecodeOptions::Board::Never}};
    command
        .add_option_function<std::string>(
            "--board", [&options, boards](const std::string &when) { options.board = boards.at(when); },
            "Show every stream's state on the standard output: a full screen on a\n"
            "terminal, else a line every few seconds. always, never, or auto (the\n"
            "default): with live inputs or --control")
        ->option_text("WHEN")
        ->check(CLI::IsMember({"auto", "always", "never"}));
}

void addDecode(CLI::App &app, DecodeOptions &options)
{
    CLI::App &command = *app.add_subcommand("decode", "Decode the inputs, side by side, and report");
    addInputs(command, options.inputs);
    for (const InputWords::Word &word : InputWords::all())
        addWord(command, word, options.input);
    command.add_flag_callback(
        "--time-saving", [&options] { options.session.mode = decoding::Mode::TimeSaving; }, "Decode key blocks only");
    command
        .add_option("--codec-threads", options.session.codecThreads,
                    "Let libavcodec decode a file's video in N threads, where it can; 0\n"
                    "(the default): as many as there are cores for. Live and paced inputs\nhave one")
        ->option_text("N")
        ->check(CLI::Range(0, CodecThreads::most));
    command.add_option("--copies", options.copies, "Decode each input N times, side by side")
        ->option_text("N")
        ->check(CLI::Range(1, maxCopies));
    command
        .add_option("--at-once", options.session.filesAtOnce,
                    "Decode N files at the same time, of those that are not paced; the\n"
                    "others wait (by default as many as keep the decoder threads busy)")
        ->option_text("N")
        ->check(CLI::Range(1, maxAtOnce));
    addLiveOptions(command, options);
    addComponentOptions(
        command,
        [&options](int count) {
            options.session.threads = count;
            options.noThreads = count == 0;
        },
        [&options](const std::string &file) { options.session.component = file; },
        [&options](const std::string &file) { options.session.settings = file; });
    command
        .add_option_function<std::string>(
            "--json", [&options](const std::string &file) { options.jsonFile = file; },
            "Write the report as JSON to FILE, too; - is the standard output")
        ->option_text("FILE")
        ->check(notEmpty);
    command.add_flag("--quiet", options.quiet, "Print nothing but errors");
    command.callback([&options] {
        if (options.inputs.empty() && !options.controlSocket)
            throw CLI::RequiredError("INPUT");
        checkNamesDiffer(options.inputs);
        if (options.input.outputs.empty())
            options.input.outputs.emplace_back();
        checkOutputsHaveStreams(options);
        checkReportIsNoOutput(options);
        checkStandardOutput(options);
    });
}

void addProbe(CLI::App &app, ProbeOptions &options)
{
    CLI::App &command = *app.add_subcommand("probe", "Show the streams of the inputs that decode would take");
    addInputs(command, options.inputs).required();
    command.add_flag("--json", options.json, "Show them as JSON");
}

void addCheck(CLI::App &app, CheckOptions &options)
{
    CLI::App &command = *app.add_subcommand("check", "Load the component, show what it starts, and stop it");
    ComponentOptions &component = options.component;
    addComponentOptions(
        command, [&component](int count) { component.threads = count; },
        [&component](const std::string &file) { component.libraryFile = file; },
        [&component](const std::string &file) { component.settingsFile = file; });
    command.add_flag("--json", options.json, "Report as JSON");
}

void addControl(CLI::App &app, ControlOptions &options)
{
    CLI::App &command = *app.add_subcommand("ctl", "Ask something of a decoding-host that runs with --control");
    command.add_option("--socket", options.socket, "The socket that it listens on")
        ->option_text("PATH")
        ->required()
        ->check(notEmpty);
    command.add_option("REQUEST", options.request, "What to ask, such as: list; help tells more")
        ->option_text("...")
        ->required();
}

/// @return @p text with the arguments that it quotes as they may be shown.
std::string withoutSecrets(std::string text, int argc, const char *const *argv)
{
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        // An option's value may stand behind its name.
        for (const std::string &part : {argument, argument.substr(argument.find('=') + 1)}) {
            const std::string shown = ShownUrl::withoutSecrets(part);
            for (std::size_t at = 0; shown != part && (at = text.find(part, at)) != std::string::npos;)
                text.replace(at, part.size(), shown), at += shown.size();
        }
    }
    return text;
}

/// @return what is wrong, and where to find help.
std::string describe(const CLI::Error &error, const CLI::App &app)
{
    const std::vector<CLI::App *> commands = app.get_subcommands();
    if (!commands.empty())
        return error.what() + std::string("; see decoding-host ") + commands.front()->get_name() + " --help";
    const std::vector<std::string> others = app.remaining();
    return (others.empty() ? "a command is missing" : "\"" + others.front() + "\" is no command") +
           "; see decoding-host --help";
}

} // namespace

std::vector<decoding::Output> DecodeOptions::outputs() const
{
    std::vector<decoding::Output> outputs = input.outputs;
    for (const std::string &text : inputs) {
        const InputSpec spec = InputSpec::parse(text);
        const std::vector<decoding::Output> own = spec.over(input).outputs;
        if (spec.hasOutputs())
            outputs.insert(outputs.end(), own.begin(), own.end());
    }
    return outputs;
}

bool DecodeOptions::isStandardOutputTaken() const
{
    const std::vector<decoding::Output> all = outputs();
    return jsonFile == "-" || std::any_of(all.begin(), all.end(), std::mem_fn(&decoding::Output::isStandardOutput));
}

std::variant<DecodeOptions, ProbeOptions, CheckOptions, ControlOptions, CommandLine::Exit>
CommandLine::parse(int argc, const char *const *argv)
{
    CLI::App app("Runs the decoding manager on real media.", "decoding-host");
    app.set_version_flag("--version", "decoding-host " PROJECT_VERSION, "Print the version and exit");
    DecodeOptions decode;
    ProbeOptions probe;
    CheckOptions check;
    ControlOptions control;
    addDecode(app, decode);
    addProbe(app, probe);
    addCheck(app, check);
    addControl(app, control);
    app.require_subcommand(1);

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        return Exit{ExitCode::success, app.help()};
    } catch (const CLI::CallForVersion &version) {
        return Exit{ExitCode::success, version.what() + std::string("\n")};
    } catch (const CLI::Error &error) {
        return Exit{ExitCode::wrongUsage, withoutSecrets(describe(error, app), argc, argv)};
    }

    if (app.got_subcommand("probe"))
        return probe;
    if (app.got_subcommand("check"))
        return check;
    if (app.got_subcommand("ctl"))
        return control;
    return decode;
}
