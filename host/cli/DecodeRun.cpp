#include "cli/DecodeRun.h"

#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <memory>
#include <optional>
#include <unistd.h>
#include <utility>
#include <vector>

#include "cli/InputSpec.h"
#include "cli/InterruptSignals.h"
#include "cli/ProcessFigures.h"
#include "cli/ReportFile.h"
#include "cli/RunControl.h"
#include "cli/RunInputs.h"
#include "cli/RunMessages.h"
#include "cli/RunSession.h"
#include "cli/WarningLog.h"
#include "control/ControlServer.h"
#include "media/FileSet.h"
#include "modkit/ObjectTrace.h"
#include "slab/BigBlockCounts.h"
#include "sources/LiveUrl.h"
#include "terminal/DisplayText.h"
#include "terminal/DisplayThread.h"
#include "terminal/LineOutput.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int pollIntervalMs = 20;
constexpr std::chrono::milliseconds messagePatience(100);

/// Writes lines for people, one for each message. Where somebody waits for the end, nobody need read them.
void tell(const std::vector<std::string> &messages, bool isAwaited)
{
    LineOutput output(STDERR_FILENO);
    for (const std::string &message : messages)
        output.write("decoding-host: " + DisplayText::printable(message).toStdString() + '\n');
    static_cast<void>(output.finish(isAwaited ? std::optional(messagePatience) : std::nullopt));
}

/// Whether it may go on and on, and be looked at meanwhile; else it is a batch of files.
bool isLive(const DecodeOptions &options)
{
    return options.controlSocket || std::any_of(options.inputs.begin(), options.inputs.end(),
                                                [](const auto &input) { return InputSpec::parse(input).isLive(); });
}

bool showsBoard(const DecodeOptions &options)
{
    if (options.quiet || options.board == DecodeOptions::Board::Never)
        return false;
    return options.board == DecodeOptions::Board::Always || isLive(options);
}

/// What goes on between the start of the session and its end.
class Run final {
public:
    Run(const DecodeOptions &options, const InterruptSignals &interruptSignals, decoding::Session &session,
        std::unique_ptr<ControlSocket> socket, RunMessages &messages, WarningLog &warnings, DecodeReport &report)
        : _options(options)
        , _interruptSignals(interruptSignals)
        , _session(session)
        , _messages(messages)
        , _inputs(_session, messages, options.input)
        , _control(_session, _inputs, [this] { _quitRequested = true; })
        , _server(socket ? std::make_unique<ControlServer>(std::move(socket), _control) : nullptr)
        , _display({showsBoard(options), options.quiet, options.isStandardOutputTaken()})
        , _warnings(warnings)
        , _report(report)
    {
    }

    void decode()
    {
        for (const std::string &input : _options.inputs)
            _inputs.add(InputSpec::parse(input), _options.copies);

        QEventLoop loop;
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, [&] {
            poll();
            if (_inputs.isFinished() && (!_server || _isEnding))
                loop.quit();
        });
        timer.start(pollIntervalMs);
        loop.exec();

        _report.snapshot = _inputs.snapshot();
        _report.removedOutputErrors = _inputs.outputErrorsOfRemoved();
        tellMessages();
    }

private:
    void poll()
    {
        if (_interruptSignals.isInterruptRequested() || _quitRequested)
            end();
        _inputs.poll();
        _control.poll(Clock::now());
        for (const std::string &warning : _warnings.take())
            _messages.add(warning);
        tellMessages();
        show();
    }

    void end()
    {
        if (std::exchange(_isEnding, true))
            return;
        _report.isAwaited = true;
        const std::vector<decoding::Snapshot::Input> inputs = _inputs.snapshot().inputs;
        // Who quits expects live inputs to end, but hardly files.
        _report.interrupted =
            _interruptSignals.isInterruptRequested() ||
            std::any_of(inputs.begin(), inputs.end(), [](const auto &input) { return !input.live && !input.decoded; });
        _inputs.close();
    }

    void tellMessages()
    {
        for (const std::string &message : _messages.take())
            _display.tell(message);
    }

    void show()
    {
        if (_display.wantsSnapshot())
            _display.show(_inputs.snapshot());
        for (const BoardAction action : _display.takeActions())
            perform(action);
    }

    void perform(BoardAction action)
    {
        switch (action) {
        case BoardAction::PerformanceMode:
            _control.setMode(decoding::Mode::Performance);
            break;
        case BoardAction::TimeSavingMode:
            _control.setMode(decoding::Mode::TimeSaving);
            break;
        case BoardAction::ToggleGovernor:
            if (const auto error = _control.toggleGovernor())
                _messages.add(*error);
            break;
        case BoardAction::Quit:
            _quitRequested = true;
            break;
        case BoardAction::None:
        case BoardAction::Redraw:
        case BoardAction::TerminalLost:
            break;
        }
    }

    const DecodeOptions &_options;
    const InterruptSignals &_interruptSignals;
    RunSession _session;
    RunMessages &_messages;
    RunInputs _inputs;
    RunControl _control;
    const std::unique_ptr<ControlServer> _server; // null without a socket
    DisplayThread _display;
    WarningLog &_warnings;
    DecodeReport &_report;
    bool _quitRequested = false;
    bool _isEnding = false;
};

/// @return what would be wrong with a run, whatever the component.
std::optional<std::string> obstacle(const DecodeOptions &options)
{
    if (options.noThreads)
        return "the setting THREADS (--threads, DECODING_THREADS or settings file) is 0: no thread would decode";
    // Where there is no report yet, no disk need be asked about the inputs.
    FileSet report;
    if (options.jsonFile)
        report.add(*options.jsonFile);
    if (std::any_of(options.inputs.begin(), options.inputs.end(), [&report](const std::string &input) {
            return report.contains(LiveUrl::pathOf(InputSpec::parse(input).url));
        }))
        return "cannot write the report to " + *options.jsonFile + ": it is one of the inputs";
    return options.jsonFile ? ReportFile::obstacle(*options.jsonFile, options.outputs()) : std::nullopt;
}

/// @return nothing on success, and then nothing that was made here lives any more; otherwise what went wrong.
std::optional<std::string> runSession(const DecodeOptions &options, RunMessages &messages, WarningLog &warnings,
                                      DecodeReport &report)
{
    decoding::SessionOptions sessionOptions = options.session;
    sessionOptions.lights = showsBoard(options);
    sessionOptions.onMessage = [&messages](const RunMessages::Message &message) { messages.add(message); };
    // Before the signals are taken: a disk that hangs is no reason to live on.
    std::unique_ptr<ControlSocket> socket;
    if (options.controlSocket) {
        auto listening = ControlSocket::listen(*options.controlSocket);
        if (std::string *const error = std::get_if<std::string>(&listening))
            return std::move(*error);
        socket = std::move(std::get<std::unique_ptr<ControlSocket>>(listening));
    }
    std::optional<InterruptSignals> interruptSignals(std::in_place); // before there are other threads
    try {
        decoding::Session session(std::move(sessionOptions));
        const Clock::time_point startedAt = Clock::now();
        const qint64 cpuBeforeMs = ProcessFigures::cpuTimeMs();
        Run(options, *interruptSignals, session, std::move(socket), messages, warnings, report).decode();
        interruptSignals.reset();
        report.wallTimeMs = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - startedAt).count();
        report.cpuTimeMs = ProcessFigures::cpuTimeMs() - cpuBeforeMs;
        report.cores = ProcessFigures::cores();
        report.remains = session.end();
    } catch (const decoding::Error &error) {
        return error.what();
    }
    return std::nullopt;
}

} // namespace

std::variant<DecodeReport, std::string> DecodeRun::run(const DecodeOptions &options)
{
    ProcessFigures::allowManyOpenFiles();
    // The outputs need it not; but where the report and the messages go to files, these may reach the limit of a file's
    // size, too, which is no reason to end.
    std::signal(SIGXFSZ, SIG_IGN);
    if (const auto error = obstacle(options))
        return *error;
    DecodeReport report;
    RunMessages messages;
    {
        WarningLog warnings;
        const auto error = runSession(options, messages, warnings, report);
        // Decoders outlive their inputs, and warn until the component is stopped.
        for (const std::string &warning : warnings.take())
            messages.add(warning);
        tell(messages.take(), report.isAwaited);
        if (error)
            return *error;
    }
    report.peakMemoryBytes = ProcessFigures::peakMemoryBytes();
    report.objectsLeft = ObjectTrace::liveCountByType();
    report.slabBlocksLeft = static_cast<qint64>(slab::liveBlockCount());
    for (const QString &each : report.leftBehind())
        messages.add("the component left " + each.toStdString());
    tell(messages.take(), report.isAwaited);
    return report;
}
