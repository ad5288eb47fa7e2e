#include "app/DecodeRun.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>
#include <set>
#include <unistd.h>
#include <utility>
#include <vector>

#include "app/ComponentHost.h"
#include "app/DisplayText.h"
#include "app/HostSettings.h"
#include "app/InputNames.h"
#include "app/InputRun.h"
#include "app/ProcessThreads.h"
#include "app/ProgressDisplay.h"
#include "app/WarningLog.h"
#include "format/FormatManager.h"
#include "interfaces/IDecodingManager.h"
#include "interfaces/ITuneDecoding.h"
#include "interfaces/InterfaceIdentifiers.h"
#include "modkit/ObjectRegistry.h"
#include "modkit/ObjectTrace.h"
#include "slab/BigBlockCounts.h"
#include <sys/resource.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int pollIntervalMs = 20;
constexpr std::chrono::seconds loadInterval(1); // that the component measures the load in

std::atomic<bool> interruptRequested{false};

void requestInterrupt(int /*signal*/)
{
    interruptRequested = true;
}

/// While it lives, SIGINT and SIGTERM ask for an interrupt instead of ending the program; a second one ends it.
class InterruptSignals final {
public:
    InterruptSignals()
    {
        struct sigaction action = {};
        action.sa_handler = requestInterrupt;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigaction(SIGINT, &action, &_previousInt);
        sigaction(SIGTERM, &action, &_previousTerm);
    }
    ~InterruptSignals()
    {
        sigaction(SIGINT, &_previousInt, nullptr);
        sigaction(SIGTERM, &_previousTerm, nullptr);
    }
    InterruptSignals(const InterruptSignals &) = delete;
    InterruptSignals &operator=(const InterruptSignals &) = delete;

private:
    struct sigaction _previousInt = {};
    struct sigaction _previousTerm = {};
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

/// The inputs between the start of the component and its stop.
class Run final {
public:
    Run(const DecodeOptions &options, ObjectRegistry &registry, const DamageCounts &damage,
        const std::shared_ptr<const FileSet> &inputFiles, WarningLog &warnings, DecodeReport &report)
        : _options(options)
        , _manager(registry.getObject(InterfaceIdentifiers::decodingManager))
        , _tuning(registry.getObject(InterfaceIdentifiers::tuneDecoding))
        , _workers(static_cast<std::size_t>(std::max(1, QThread::idealThreadCount())))
        , _environment{options, *_manager, _workers, damage, inputFiles}
        , _warnings(warnings)
        , _report(report)
        , _showsProgress(!options.quiet && isatty(STDERR_FILENO) == 1)
        , _progress(STDERR_FILENO, !_showsProgress)
    {
        if (options.timeSaving)
            _tuning->useTimeSavingMode();
    }

    void decode()
    {
        openInputs();
        for (const Input &input : _inputs) {
            if (input.run)
                input.run->start();
        }

        QEventLoop loop;
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, [&] {
            poll();
            if (std::none_of(_inputs.begin(), _inputs.end(), isRunning))
                loop.quit();
        });
        timer.start(pollIntervalMs);
        loop.exec();

        _progress.clear();
        for (Input &input : _inputs)
            _report.inputs.push_back(input.run ? input.run->report() : std::move(input.failure));
    }

private:
    struct Input {
        std::unique_ptr<InputRun> run; // null when it could not be opened
        DecodeReport::Input failure;
    };

    static bool isRunning(const Input &input) { return input.run && !input.run->isFinished(); }

    void openInputs()
    {
        InputNames names;
        for (const std::string &url : _options.inputs) {
            bool isOpen = true;
            for (int copy = 0; copy < _options.copies && isOpen && !interruptRequested; ++copy)
                isOpen = openInput(url, names.next(url));
        }
    }

    bool openInput(const std::string &url, const InputNames::Name &name)
    {
        Input input;
        auto opened = InputRun::open(url, name, _environment);
        if (const std::string *const error = std::get_if<std::string>(&opened)) {
            input.failure.name = name.shown;
            input.failure.error = *error;
            tell(*error);
        } else {
            input.run = std::move(std::get<std::unique_ptr<InputRun>>(opened));
        }
        _inputs.push_back(std::move(input));
        return _inputs.back().run != nullptr;
    }

    void poll()
    {
        if (interruptRequested)
            interrupt();
        else
            finishDecoded();
        for (const std::string &warning : _warnings.take())
            tell(warning);
        sampleLoad();
        if (_showsProgress)
            showProgress();
    }

    /// @return those that have not come to their end.
    std::vector<InputRun *> running() const
    {
        std::vector<InputRun *> inputs;
        for (const Input &input : _inputs) {
            if (isRunning(input))
                inputs.push_back(input.run.get());
        }
        return inputs;
    }

    /// Ends all inputs, in steps: the inputs share their writers, so that none of them may still decode while the outputs
    /// of another one are waited for.
    void interrupt()
    {
        _report.interrupted = true;
        const std::vector<InputRun *> inputs = running();
        for (InputRun *const input : inputs)
            input->cancel();
        for (InputRun *const input : inputs)
            input->stopDecoding();
        for (InputRun *const input : inputs)
            complete(*input);
    }

    void finishDecoded()
    {
        for (InputRun *const input : running()) {
            if (!input->isDecoded())
                continue;
            input->stopDecoding();
            complete(*input);
        }
    }

    void complete(InputRun &input)
    {
        input.completeOutputs();
        for (const std::string &error : input.errors())
            tell(error);
    }

    void showProgress()
    {
        ProgressDisplay::State state;
        for (const Input &input : _inputs) {
            if (input.run)
                state.push_back(input.run->progress());
        }
        _progress.update(state, Clock::now());
    }

    /// As ::tell, whatever else is on the terminal.
    void tell(const std::string &message)
    {
        _progress.clear();
        ::tell(message);
    }

    void sampleLoad()
    {
        if (Clock::now() < _nextLoadSample)
            return;
        _nextLoadSample += loadInterval;
        const double load = _tuning->cpuLoad(nullptr);
        DecodeReport::CpuLoad told = _report.cpuLoad.value_or(DecodeReport::CpuLoad());
        told.average += (load - told.average) / ++_loadSamples;
        told.maximum = std::max(told.maximum, load);
        _report.cpuLoad = told;
    }

    const DecodeOptions &_options;
    const ModkitPtr<IDecodingManager> _manager;
    const ModkitPtr<ITuneDecoding> _tuning;
    SinkWorkers _workers;
    const InputRun::Environment _environment;
    WarningLog &_warnings;
    DecodeReport &_report;
    const bool _showsProgress;
    ProgressDisplay _progress;
    std::vector<Input> _inputs;
    // Not before the component has measured for the first time.
    Clock::time_point _nextLoadSample = Clock::now() + loadInterval + std::chrono::milliseconds(100);
    int _loadSamples = 0;
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

    const auto inputFiles = std::make_shared<FileSet>();
    for (const std::string &input : options.inputs)
        inputFiles->add(input);
    if (options.jsonFile && inputFiles->contains(*options.jsonFile))
        return "cannot write the report to " + *options.jsonFile + ": it is one of the inputs";

    const auto damage = std::make_shared<DamageCounts>();
    ObjectRegistry registry;
    registry.setObject(InterfaceIdentifiers::avFormatManager,
                       ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(new FormatManager(damage))));
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
    Run(options, registry, *damage, inputFiles, warnings, report).decode();
    report.wallTimeMs = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - startedAt).count();
    report.cpuTimeMs = cpuTimeMs() - cpuBeforeMs;
    report.cores = std::max(1, QThread::idealThreadCount());

    host.stop();
    report.threadsLeft = ProcessThreads::leftSince(threadsBefore);
    for (const std::string &warning : warnings.take())
        tell(warning);
    for (const std::string &identifier : registry.identifiers()) {
        if (identifier != InterfaceIdentifiers::avFormatManager)
            report.stillPublished.push_back(identifier);
    }
    return std::nullopt;
}

} // namespace

std::variant<DecodeReport, std::string> DecodeRun::run(const DecodeOptions &options)
{
    const InterruptSignals signals;
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
