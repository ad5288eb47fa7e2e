#include "session/SessionCore.h"

#include <QThread>

#include <algorithm>
#include <cmath>
#include <system_error>
#include <utility>

#include "format/FormatManager.h"
#include "interfaces/InterfaceIdentifiers.h"
#include "media/ShownUrl.h"
#include "session/CodecThreads.h"
#include "session/InputCore.h"
#include "session/InputOptionsCheck.h"
#include "session/ProcessThreads.h"
#include "session/SnapshotFiller.h"
#include "session/ThreadDemand.h"

namespace {

constexpr std::chrono::milliseconds stepInterval(20); // while there is always something new
constexpr int loadIntervalMs = 1000;                  // that the component measures the load in
constexpr int firstLoadMs = 1100;                     // not before it has measured for the first time
constexpr std::size_t maxMessages = 50;
// After which no frame means that none come any more. Key blocks may be far from each other.
constexpr std::chrono::seconds longestPause(5);
constexpr std::chrono::seconds longestPauseOfKeyBlocks(30);

template <class Interface>
ModkitPtr<Interface> published(ObjectRegistry &registry, const char *identifier)
{
    return ModkitPtr<Interface>(registry.getObject(identifier));
}

/// @return what 1.0 of the load is, by the component's count: each of @p threads can keep one core busy.
int usableCores(const std::vector<int> &threads)
{
    const int threadCount = static_cast<int>(threads.size());
    const int cores = QThread::idealThreadCount();
    return cores < 1 ? threadCount : std::min(cores, threadCount);
}

void addSample(double now, decoding::Snapshot::Load &load)
{
    load.now = now;
    // Between two samples in the same moment there is no load.
    if (!std::isfinite(now))
        return;
    load.average += (now - load.average) / static_cast<double>(++load.samples);
    load.maximum = std::max(load.maximum, now);
}

std::shared_ptr<EventThread> eventThread()
{
    try {
        return EventThread::shared();
    } catch (const std::system_error &error) {
        throw decoding::Error(std::string("there is no thread for the session: ") + error.what());
    }
}

} // namespace

decoding::Session::Core::Core(SessionOptions options)
    : _options(std::move(options))
    , _events(eventThread())
    , _jobs(std::make_shared<SessionJobs>([this](SessionJobs::Step step) { wake(step); }))
{
    if (_options.threads < 0 || _options.threads > maxThreads)
        throw Error("SessionOptions::threads is " + std::to_string(_options.threads) +
                    "; it takes a number from 0 to " + std::to_string(maxThreads));
    if (_options.filesAtOnce < 0)
        throw Error("SessionOptions::filesAtOnce is " + std::to_string(_options.filesAtOnce) +
                    "; it takes a number from 0");
    if (_options.codecThreads < 0 || _options.codecThreads > CodecThreads::most)
        throw Error("SessionOptions::codecThreads is " + std::to_string(_options.codecThreads) +
                    "; it takes a number from 0 to " + std::to_string(CodecThreads::most));
    if (_options.governor && !(_options.governor->low > 0 && _options.governor->low < _options.governor->high))
        throw Error("SessionOptions::governor takes limits with 0 < low < high");
    // Here rather than on the thread that other sessions need, too: they are read from disks.
    const SessionSettings settings(_options);
    _events->call([this, &settings] {
        try {
            start(settings);
        } catch (...) {
            stop();
            throw;
        }
    });
}

decoding::Session::Core::~Core()
{
    end();
}

void decoding::Session::Core::registerServices()
{
    _registry.setObject(InterfaceIdentifiers::avFormatManager,
                        ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(new FormatManager(_damage))));
    if (!_options.lights)
        return;
    try {
        _indications = ModkitPtr<IndicationManager>(new IndicationManager);
    } catch (const std::system_error &error) {
        throw Error(std::string("there is no thread for the indications: ") + error.what());
    }
    _registry.setObject(InterfaceIdentifiers::indicationManager,
                        ModkitPtr<IPolymorph>(ModkitPtr<IIndicationManager>(_indications)));
}

void decoding::Session::Core::start(const SessionSettings &settings)
{
    registerServices();
    _component = std::make_unique<ComponentHost>(settings.settings(), _registry);
    if (const auto error = _component->start(settings.componentFile()))
        throw Error(*error);
    _componentThreads = _component->threads();
    _manager = published<IDecodingManager>(_registry, InterfaceIdentifiers::decodingManager);
    _tuning = published<ITuneDecoding>(_registry, InterfaceIdentifiers::tuneDecoding);
    if (_manager.isNull() || _tuning.isNull())
        throw Error(_component->componentPath() + ": " + _component->componentName() +
                    " does not publish both IDecodingManager and ITuneDecoding, which decoding needs");

    _messageTaker = std::make_shared<std::function<void(const std::string &)>>(
        [this](const std::string &text) { addMessage(text); });
    _events->addMessageTaker(_messageTaker);
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        try {
            _workers =
                std::make_unique<SinkWorkers>(static_cast<std::size_t>(std::max(1, QThread::idealThreadCount())));
        } catch (const std::system_error &error) {
            throw Error(std::string("there are no threads to write the outputs: ") + error.what());
        }
        try {
            const DecodedStream::Environment environment{*_manager, *_workers, *_damage,
                                                         static_cast<int>(_componentThreads.size())};
            // A governor would not see what threads compute that are not the component's.
            const auto codecThreads = std::make_shared<CodecThreads>(
                _options.codecThreads, _options.governor ? 1 : usableCores(_componentThreads));
            _inputs = std::make_unique<InputSet>(environment, _jobs, codecThreads, makeAdmission());
        } catch (const std::system_error &error) {
            throw Error(std::string("there is no thread to open the inputs: ") + error.what());
        }
    }
    if (_options.mode == Mode::TimeSaving)
        switchMode(Mode::TimeSaving);
    if (_options.governor) {
        GovernorPolicy::Settings policy;
        policy.limits = *_options.governor;
        _governor.emplace(_tuning, policy, _options.mode, [this](const std::string &line) {
            {
                const std::lock_guard<std::mutex> lock(_mutex);
                _mode = _governor->mode();
            }
            noteGovernor();
            addMessage(line);
        });
        noteGovernor();
    }

    _stepTimer = std::make_unique<QTimer>();
    QObject::connect(_stepTimer.get(), &QTimer::timeout, [this] { step(); });
    _stepTimer->setSingleShot(true);
    _loadMeter.emplace(_componentThreads, usableCores(_componentThreads), Clock::now());
    _loadTimer = std::make_unique<QTimer>();
    QObject::connect(_loadTimer.get(), &QTimer::timeout, [this] {
        _loadTimer->setInterval(loadIntervalMs);
        sampleLoad();
    });
    _loadTimer->start(firstLoadMs);
}

Admission decoding::Session::Core::makeAdmission() const
{
    const auto demand = std::make_shared<ThreadDemand>(_componentThreads, Clock::now());
    return Admission(_options.filesAtOnce, static_cast<int>(_componentThreads.size()),
                     [demand](Clock::time_point now) { return demand->sample(now); });
}

std::shared_ptr<decoding::Input::Core> decoding::Session::Core::open(const std::string &url, InputOptions options,
                                                                     InputSet::Opening opening)
{
    InputOptionsCheck::check(ShownUrl::withoutSecrets(url), options);
    std::shared_ptr<Input::Core> input;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (!_inputs)
            throw Error("the session has ended");
        const auto added = _inputs->add(url, std::move(options), opening);
        if (const std::string *const error = std::get_if<std::string>(&added))
            throw Error(*error);
        input = std::get<std::shared_ptr<Input::Core>>(added);
    }
    wake(SessionJobs::Step::Now);
    return input;
}

decoding::Snapshot decoding::Session::Core::snapshot() const
{
    Snapshot snapshot;
    snapshot.at = std::chrono::system_clock::now();
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        snapshot.mode = _mode;
        snapshot.governor = _governorText;
        snapshot.load = _load;
        snapshot.measuredLoad = _measuredLoad;
        if (_inputs) {
            const SnapshotFiller filler(_indications.data(), _mode);
            snapshot.inputs.reserve(_inputs->inputs().size());
            for (const auto &input : _inputs->inputs()) {
                if (!input->isAbandoned())
                    filler.add(*input, snapshot);
            }
            snapshot.decoders = _tuning->decoderCount();
        }
    }
    snapshot.running = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - _startedAt);
    const std::lock_guard<std::mutex> lock(_messagesMutex);
    snapshot.messages.assign(_messages.begin(), _messages.end());
    return snapshot;
}

void decoding::Session::Core::setMode(Mode mode)
{
    _events->call([this, mode] {
        throwIfEnded();
        switchMode(mode);
    });
}

void decoding::Session::Core::throwIfEnded() const
{
    if (_tuning.isNull())
        throw Error("the session has ended");
}

void decoding::Session::Core::switchMode(Mode mode)
{
    if (mode == Mode::Performance)
        _tuning->usePerformanceMode();
    else
        _tuning->useTimeSavingMode();
    if (_governor)
        _governor->noteSwitch(mode);
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _mode = mode;
    }
    noteGovernor();
}

void decoding::Session::Core::noteGovernor()
{
    if (!_governor)
        return;
    const std::lock_guard<std::mutex> lock(_mutex);
    _governorText = _governor->status();
}

void decoding::Session::Core::setGovernor(bool on)
{
    _events->call([this, on] {
        throwIfEnded();
        if (!_governor)
            throw Error("there is no governor: SessionOptions::governor gives it limits");
        _governor->setPaused(!on);
        noteGovernor();
    });
}

void decoding::Session::Core::wake(SessionJobs::Step step)
{
    if (step == SessionJobs::Step::InTurn) {
        _events->post([this] {
            const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - _steppedAt);
            stepWithin(std::max(std::chrono::milliseconds(0), stepInterval - passed));
        });
    } else if (!_wakePosted.exchange(true)) {
        _events->post([this] {
            _wakePosted = false;
            this->step();
        });
    }
}

void decoding::Session::Core::stepWithin(std::chrono::milliseconds time)
{
    if (_stepTimer && (!_stepTimer->isActive() || _stepTimer->remainingTime() > time.count()))
        _stepTimer->start(time);
}

void decoding::Session::Core::step()
{
    std::vector<Report> messages;
    std::optional<std::chrono::milliseconds> idleTime;
    _steppedAt = Clock::now();
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (!_inputs)
            return;
        _jobs->run(*_inputs);
        _inputs->poll();
        messages = _inputs->takeMessages();
        idleTime = _inputs->idleTime();
        if (_ended && _inputs->isFinished())
            _finished.notify_all();
    }
    for (const Report &message : messages)
        addMessage(message.text, message.isError);
    if (idleTime)
        stepWithin(*idleTime);
}

void decoding::Session::Core::sampleLoad()
{
    const double measured = _loadMeter->sample(Clock::now());
    const double ofTheComponent = _tuning->cpuLoad(nullptr);
    if (_governor)
        _governor->sample(measured, hasLostLateBlocks());
    noteGovernor();
    const std::lock_guard<std::mutex> lock(_mutex);
    const auto pause = _mode == Mode::TimeSaving ? longestPauseOfKeyBlocks : longestPause;
    for (const auto &input : _inputs->inputs())
        input->updateRates(Clock::now(), input->core().options().excludeFromTuning ? longestPause : pause);
    addSample(ofTheComponent, _load);
    addSample(measured, _measuredLoad);
}

/// What goes with an input that has left may hide a loss elsewhere, for one interval.
bool decoding::Session::Core::hasLostLateBlocks()
{
    qint64 lateBlocks = 0;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        for (const auto &input : _inputs->inputs())
            lateBlocks += input->feeds().front()->feed().figures().late;
    }
    return lateBlocks > std::exchange(_lateBlocks, lateBlocks);
}

void decoding::Session::Core::addMessage(const std::string &text, bool isError)
{
    Snapshot::Message message;
    {
        const std::lock_guard<std::mutex> lock(_messagesMutex);
        message = {++_messageCount, std::chrono::system_clock::now(), text, isError};
        if (_messages.size() == maxMessages)
            _messages.pop_front();
        _messages.push_back(message);
    }
    if (!_options.onMessage)
        return;
    try {
        _options.onMessage(message);
    } catch (...) { // NOLINT(bugprone-empty-catch): there is nobody to tell, and the event thread serves others, too
    }
}

decoding::Session::Remains decoding::Session::Core::end()
{
    {
        std::unique_lock<std::mutex> lock(_mutex);
        if (std::exchange(_ended, true))
            return {};
        if (_inputs)
            _inputs->close();
    }
    wake(SessionJobs::Step::Now);
    {
        std::unique_lock<std::mutex> lock(_mutex);
        _finished.wait(lock, [this] { return !_inputs || _inputs->isFinished(); });
    }
    _jobs->deliveries()->waitForAll();
    _jobs->end();
    Remains remains;
    _events->call([this, &remains] { remains = stop(); });
    return remains;
}

/// Everything that start has made goes in the opposite order.
decoding::Session::Remains decoding::Session::Core::stop()
{
    _stepTimer.reset();
    _loadTimer.reset();
    _governor.reset();
    _loadMeter.reset();
    std::unique_ptr<InputSet> inputs;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        inputs = std::move(_inputs);
    }
    inputs.reset();
    _workers.reset();
    _manager.reset();
    _tuning.reset();
    if (_component)
        _component->stop();
    // Decoders outlive their handles, and warn until the component is stopped.
    _messageTaker.reset();

    Remains remains;
    remains.threads = ProcessThreads::leftOf(_componentThreads);
    for (const std::string &identifier : _registry.identifiers()) {
        if (identifier != InterfaceIdentifiers::avFormatManager &&
            identifier != InterfaceIdentifiers::indicationManager)
            remains.published.push_back(identifier);
    }
    for (const std::string &identifier : _registry.identifiers())
        _registry.setObject(identifier, ModkitPtr<IPolymorph>());
    _indications.reset();
    return remains;
}
