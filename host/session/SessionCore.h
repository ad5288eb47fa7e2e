#ifndef HOST_SESSION_SESSIONCORE_H
#define HOST_SESSION_SESSIONCORE_H

#include <QTimer>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "format/DamageCounts.h"
#include "indications/IndicationManager.h"
#include "interfaces/IDecodingManager.h"
#include "interfaces/ITuneDecoding.h"
#include "modkit/ObjectRegistry.h"
#include "session/ComponentHost.h"
#include "session/EventThread.h"
#include "session/Governor.h"
#include "session/InputSet.h"
#include "session/LoadMeter.h"
#include "session/SessionJobs.h"
#include "session/SessionSettings.h"
#include "sinks/SinkWorkers.h"
#include <decoding/Session.h>

/// A session from its beginning to its end: runs the component, and takes the inputs from step to step on the event
/// thread. Thread-safe as the session is.
class DECODING_INTERNAL decoding::Session::Core final {
public:
    /// @throws Error when the component cannot be started, and then nothing that was made here lives any more.
    explicit Core(SessionOptions options);
    Core(const Core &) = delete;
    Core &operator=(const Core &) = delete;
    /// Ends it.
    ~Core();

    std::shared_ptr<Input::Core> open(const std::string &url, InputOptions options, InputSet::Opening opening);
    Snapshot snapshot() const;
    void setMode(Mode mode);
    void setGovernor(bool on);
    /// Does nothing the second time.
    Remains end();

private:
    using Clock = std::chrono::steady_clock;

    // On the event thread.
    void start(const SessionSettings &settings);
    void registerServices();
    Admission makeAdmission() const;
    void step();
    void sampleLoad();
    bool hasLostLateBlocks();
    void throwIfEnded() const;
    void switchMode(Mode mode);
    void noteGovernor();
    void addMessage(const std::string &text, bool isError = false);
    Remains stop();

    void wake(SessionJobs::Step step);
    void stepWithin(std::chrono::milliseconds time);

    // Constant after construction.
    const SessionOptions _options;
    const Clock::time_point _startedAt = Clock::now();
    const std::shared_ptr<EventThread> _events;
    const std::shared_ptr<SessionJobs> _jobs;
    const std::shared_ptr<DamageCounts> _damage = std::make_shared<DamageCounts>();
    std::shared_ptr<std::function<void(const std::string &)>> _messageTaker;

    // Constant between start and stop.
    ObjectRegistry _registry;
    ModkitPtr<IndicationManager> _indications; // empty where nobody wants to see lights
    std::unique_ptr<ComponentHost> _component;
    std::vector<int> _componentThreads;
    ModkitPtr<IDecodingManager> _manager;
    ModkitPtr<ITuneDecoding> _tuning;

    // On the event thread only.
    std::unique_ptr<QTimer> _stepTimer; // to the next step, if there is to be one
    Clock::time_point _steppedAt;
    std::unique_ptr<QTimer> _loadTimer;
    std::optional<LoadMeter> _loadMeter;
    std::optional<Governor> _governor;
    qint64 _lateBlocks = 0; // of all inputs, at the last sample

    std::atomic<bool> _wakePosted{false};

    mutable std::mutex _mutex; // guards the next eight; held while the component adds and removes outputs
    std::condition_variable _finished;
    std::unique_ptr<SinkWorkers> _workers;
    std::unique_ptr<InputSet> _inputs; // between start and stop
    Mode _mode = Mode::Performance;
    std::string _governorText;
    Snapshot::Load _load;
    Snapshot::Load _measuredLoad;
    bool _ended = false;

    mutable std::mutex _messagesMutex; // guards the next two
    std::deque<Snapshot::Message> _messages;
    std::int64_t _messageCount = 0;
};

#endif
