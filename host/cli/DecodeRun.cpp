#include "cli/DecodeRun.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>
#include <set>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#include "cli/RunControl.h"
#include "cli/WarningLog.h"
#include "control/ControlServer.h"
#include "format/FormatManager.h"
#include "indications/IndicationManager.h"
#include "interfaces/IDecodingManager.h"
#include "interfaces/ITuneDecoding.h"
#include "interfaces/InterfaceIdentifiers.h"
#include "modkit/ObjectRegistry.h"
#include "modkit/ObjectTrace.h"
#include "session/ComponentHost.h"
#include "session/Governor.h"
#include "session/HostSettings.h"
#include "session/InputSet.h"
#include "session/ProcessThreads.h"
#include "session/RunObserver.h"
#include "slab/BigBlockCounts.h"
#include "terminal/DisplayText.h"
#include "terminal/RunDisplay.h"
#include "terminal/TerminalGuard.h"
#include <sys/resource.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int pollIntervalMs = 20;
constexpr std::chrono::seconds loadInterval(1); // that the component measures the load in

std::atomic<bool> interruptRequested{false};

void requestInterrupt(int number)
{
    // The end of the session is told to the program by the system, and once more by its shell: nobody grows impatient.
    if (!interruptRequested.exchange(true) || number == SIGHUP)
        return;
    TerminalGuard::giveBack();
    struct sigaction end = {};
    end.sa_handler = SIG_DFL;
    sigaction(number, &end, nullptr);
    // Comes when this handler has returned.
    static_cast<void>(raise(number));
}

/// While it lives, SIGINT, SIGTERM and, unless it is ignored, SIGHUP ask for an interrupt instead of ending the program;
/// a second one, but for SIGHUP, ends it and leaves the terminal in order.
class InterruptSignals final {
public:
    InterruptSignals()
    {
        struct sigaction action = {};
        action.sa_handler = requestInterrupt;
        for (Handled &handled : _handled) {
            sigaction(handled.signal, &action, &handled.previous);
            // Who ignores the end of the session, as nohup does, wants to go on without it.
            if (handled.signal == SIGHUP && handled.previous.sa_handler == SIG_IGN)
                sigaction(SIGHUP, &handled.previous, nullptr);
        }
    }
    ~InterruptSignals()
    {
        for (const Handled &handled : _handled)
            sigaction(handled.signal, &handled.previous, nullptr);
    }
    InterruptSignals(const InterruptSignals &) = delete;
    InterruptSignals &operator=(const InterruptSignals &) = delete;

private:
    struct Handled {
        int signal;
        struct sigaction previous;
    };
    std::array<Handled, 3> _handled = {{{SIGINT, {}}, {SIGTERM, {}}, {SIGHUP, {}}}};
};

/// Each output of each copy of each input holds a file open: far more than the 1024 that are usual until a program asks
/// for more.
void allowManyOpenFiles()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

/// Writes one line for people.
void tell(const std::string &message)
{
    std::fprintf(stderr, "decoding-host: %s\n", DisplayText::printable(message).toUtf8().constData());
}

qint64 cpuTimeMs()
{
    return static_cast<qint64>(std::clock()) * 1000 / CLOCKS_PER_SEC;
}

qint64 peakMemoryBytes()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<qint64>(usage.ru_maxrss) * 1024;
}

/// What goes on between the start of the component and its stop.
class Run final {
public:
    Run(const DecodeOptions &options, ObjectRegistry &registry, const IndicationManager *indications,
        DamageCounts &damage, WarningLog &warnings, DecodeReport &report)
        : _options(options)
        , _manager(registry.getObject(InterfaceIdentifiers::decodingManager))
        , _tuning(registry.getObject(InterfaceIdentifiers::tuneDecoding))
        , _workers(static_cast<std::size_t>(std::max(1, QThread::idealThreadCount())))
        , _inputs({options, *_manager, _workers, damage, indications})
        , _observer(_inputs, indications, *_tuning, !options.excludeFromTuning, Clock::now())
        , _control(_inputs, _observer,
                   {[this](DecodingMode mode) { switchMode(mode); }, [this](bool on) { return setGovernor(on); },
                    [this] { _quitRequested = true; }})
        , _display(options)
        , _warnings(warnings)
        , _report(report)
    {
        if (options.timeSaving)
            switchMode(DecodingMode::TimeSaving);
        if (options.governor)
            _governor.emplace(_tuning, GovernorPolicy::Settings{*options.governor}, _observer.mode(),
                              [this](const std::string &line) { noteGovernor(line); });
    }

    /// @return what kept the run from its beginning.
    std::optional<std::string> decode()
    {
        std::unique_ptr<ControlServer> server;
        if (_options.controlSocket) {
            auto listening = ControlServer::listen(*_options.controlSocket, _control);
            if (std::string *const error = std::get_if<std::string>(&listening))
                return std::move(*error);
            server = std::move(std::get<std::unique_ptr<ControlServer>>(listening));
        }
        for (const std::string &input : _options.inputs) {
            const auto added = _inputs.add(InputSpec::parse(input), _options.copies);
            if (const std::string *const error = std::get_if<std::string>(&added))
                return *error;
        }

        QEventLoop loop;
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, [&] {
            poll();
            if (_inputs.isFinished() && (!server || _isEnding))
                loop.quit();
        });
        timer.start(pollIntervalMs);
        loop.exec();

        for (const auto &input : _inputs.inputs())
            _report.inputs.push_back(input->report());
        return std::nullopt;
    }

private:
    void poll()
    {
        if (interruptRequested || _quitRequested)
            end();
        _inputs.poll();
        _control.poll();
        for (const std::string &message : _inputs.takeMessages())
            tell(message);
        for (const std::string &warning : _warnings.take())
            tell(warning);
        sampleLoad();
        show();
    }

    void end()
    {
        if (std::exchange(_isEnding, true))
            return;
        // Who quits expects live inputs to end, but hardly files.
        _report.interrupted =
            interruptRequested || std::any_of(_inputs.inputs().begin(), _inputs.inputs().end(),
                                              [](const auto &input) { return !input->isLive() && input->isRunning(); });
        _inputs.cancel();
    }

    void switchMode(DecodingMode mode)
    {
        if (mode == DecodingMode::Performance)
            _tuning->usePerformanceMode();
        else
            _tuning->useTimeSavingMode();
        _observer.setMode(mode);
        if (_governor)
            _governor->noteSwitch(mode);
    }

    IControl::Error setGovernor(bool on)
    {
        if (!_governor)
            return "there is no governor; start decoding-host with --governor LOW:HIGH";
        _governor->setPaused(!on);
        return std::nullopt;
    }

    void noteGovernor(const std::string &line)
    {
        _observer.setMode(_governor->mode());
        tell(line);
    }

    void tell(const std::string &message)
    {
        _observer.addMessage(message);
        _display.tell(message);
    }

    void sampleLoad()
    {
        if (Clock::now() < _nextLoadSample)
            return;
        // From the last one, so that none is read twice; but what a pause of the whole program has missed, it has missed.
        _nextLoadSample = std::max(_nextLoadSample + loadInterval, Clock::now());
        const double load = _tuning->cpuLoad(nullptr);
        _observer.setLoad(load, Clock::now());
        noteLateBlocks();
        // Of two ticks in the same moment, the component makes no figure.
        if (!std::isfinite(load))
            return;
        DecodeReport::CpuLoad told = _report.cpuLoad.value_or(DecodeReport::CpuLoad());
        told.average += (load - told.average) / ++_loadSamples;
        told.maximum = std::max(told.maximum, load);
        _report.cpuLoad = told;
    }

    /// What goes with an input that was removed may hide a loss elsewhere, for one interval.
    void noteLateBlocks()
    {
        qint64 lateBlocks = 0;
        for (const auto &input : _inputs.inputs())
            lateBlocks += input->lateBlocks();
        if (lateBlocks > std::exchange(_lateBlocks, lateBlocks) && _governor)
            _governor->noteLateBlocks();
    }

    void show()
    {
        if (_governor)
            _observer.setGovernor(_governor->status());
        switch (_display.update(_inputs, _observer, Clock::now())) {
        case BoardAction::PerformanceMode:
            switchMode(DecodingMode::Performance);
            break;
        case BoardAction::TimeSavingMode:
            switchMode(DecodingMode::TimeSaving);
            break;
        case BoardAction::ToggleGovernor:
            if (const auto error = setGovernor(_governor && _governor->isPaused()))
                tell(*error);
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
    const ModkitPtr<IDecodingManager> _manager;
    const ModkitPtr<ITuneDecoding> _tuning;
    SinkWorkers _workers;
    InputSet _inputs;
    RunObserver _observer;
    RunControl _control;
    std::optional<Governor> _governor;
    RunDisplay _display;
    WarningLog &_warnings;
    DecodeReport &_report;
    bool _quitRequested = false;
    bool _isEnding = false;
    // Not before the component has measured for the first time.
    Clock::time_point _nextLoadSample = Clock::now() + loadInterval + std::chrono::milliseconds(100);
    int _loadSamples = 0;
    qint64 _lateBlocks = 0; // of all inputs, at the last sample
};

template <class Interface>
bool publishes(ObjectRegistry &registry, const char *identifier)
{
    return !ModkitPtr<Interface>(registry.getObject(identifier)).isNull();
}

/// @return nothing on success, and then nothing that was made here lives any more; otherwise what went wrong.
std::optional<std::string> runComponent(const DecodeOptions &options, DecodeReport &report)
{
    const auto settings = HostSettings::collect(options.component);
    if (const std::string *const error = std::get_if<std::string>(&settings))
        return *error;
    const ModkitPtr<ISettings> &chosen = std::get<ModkitPtr<ISettings>>(settings);
    if (chosen->getInt("THREADS", 1) == 0)
        return "the setting THREADS (--threads, DECODING_THREADS or settings file) is 0: no thread would decode";

    FileSet inputFiles;
    for (const std::string &input : options.inputs)
        inputFiles.add(input);
    if (options.jsonFile && inputFiles.contains(*options.jsonFile))
        return "cannot write the report to " + *options.jsonFile + ": it is one of the inputs";

    const auto damage = std::make_shared<DamageCounts>();
    ObjectRegistry registry;
    registry.setObject(InterfaceIdentifiers::avFormatManager,
                       ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(new FormatManager(damage))));
    ModkitPtr<IndicationManager> indications;
    // Paced inputs begin when the indications show that their decoders wait for them.
    if (RunDisplay::showsBoard(options) || options.paced) {
        try {
            indications = ModkitPtr<IndicationManager>(new IndicationManager);
        } catch (const std::system_error &error) {
            return std::string("there is no thread for the indications: ") + error.what();
        }
        registry.setObject(InterfaceIdentifiers::indicationManager,
                           ModkitPtr<IPolymorph>(ModkitPtr<IIndicationManager>(indications)));
    }
    const std::set<int> threadsBefore = ProcessThreads::ids();
    ComponentHost host(chosen, registry);
    if (auto error = host.start(ComponentHost::libraryFile(options.component)))
        return error;
    if (!publishes<IDecodingManager>(registry, InterfaceIdentifiers::decodingManager) ||
        !publishes<ITuneDecoding>(registry, InterfaceIdentifiers::tuneDecoding))
        return host.componentPath() + ": " + host.componentName() +
               " does not publish both IDecodingManager and ITuneDecoding, which decoding needs";

    // Decoders outlive their handles, and warn until the component is stopped.
    WarningLog warnings;
    const Clock::time_point startedAt = Clock::now();
    const qint64 cpuBeforeMs = cpuTimeMs();
    try {
        if (auto error = Run(options, registry, indications.data(), *damage, warnings, report).decode())
            return error;
    } catch (const std::system_error &error) {
        return std::string("there are no threads to write the outputs: ") + error.what();
    }
    report.wallTimeMs = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - startedAt).count();
    report.cpuTimeMs = cpuTimeMs() - cpuBeforeMs;
    report.cores = std::max(1, QThread::idealThreadCount());

    host.stop();
    report.threadsLeft = ProcessThreads::leftSince(threadsBefore);
    for (const std::string &warning : warnings.take())
        tell(warning);
    for (const std::string &identifier : registry.identifiers()) {
        if (identifier != InterfaceIdentifiers::avFormatManager &&
            identifier != InterfaceIdentifiers::indicationManager)
            report.stillPublished.push_back(identifier);
    }
    return std::nullopt;
}

} // namespace

std::variant<DecodeReport, std::string> DecodeRun::run(const DecodeOptions &options)
{
    const InterruptSignals interruptSignals;
    allowManyOpenFiles();
    DecodeReport report;
    if (const auto error = runComponent(options, report))
        return *error;
    report.peakMemoryBytes = peakMemoryBytes();
    report.objectsLeft = ObjectTrace::liveCountByType();
    report.slabBlocksLeft = static_cast<qint64>(slab::liveBlockCount());
    for (const QString &left : report.leftBehind())
        tell("the component left " + left.toStdString());
    return report;
}
