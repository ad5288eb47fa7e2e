#include "session/InputSet.h"

#include <algorithm>
#include <utility>

#include "media/ShownUrl.h"
#include "session/SnapshotFiller.h"
#include "sources/InputFile.h"
#include "sources/LiveUrl.h"

namespace {

// The session reports trouble at once, but nobody sees whether it is a quarter of a second later.
constexpr std::chrono::milliseconds watchInterval(250);
// With what other programs may give back.
constexpr std::chrono::seconds shortagePatience(2);

/// Whether nothing more comes of the input, and nobody sees it any more.
bool isLeft(const InputRun &input)
{
    return input.isFinished() && input.isAbandoned();
}

TroubleWatch::Moment present()
{
    return {std::chrono::steady_clock::now(), std::chrono::system_clock::now()};
}

bool writesFiles(const decoding::InputOptions &options)
{
    return std::any_of(options.outputs.begin(), options.outputs.end(),
                       [](const decoding::Output &output) { return output.kind != decoding::Output::Kind::Null; });
}

} // namespace

InputSet::InputSet(const DecodedStream::Environment &environment, std::shared_ptr<SessionJobs> jobs,
                   std::shared_ptr<CodecThreads> codecThreads, Admission admission,
                   std::chrono::milliseconds roundInterval)
    : _environment{environment,
                   {{_openers, {_enders}}, {_remoteOpeners, {_remoteEnders}}, std::make_shared<BurstTime>()},
                   _inputFiles,
                   std::make_shared<quint64>(0),
                   std::move(codecThreads)}
    , _jobs(std::move(jobs))
    , _roundInterval(roundInterval)
    , _admission(std::move(admission))
{
}

InputSet::~InputSet()
{
    close();
}

std::variant<std::shared_ptr<decoding::Input::Core>, std::string>
InputSet::add(const std::string &url, decoding::InputOptions options, Opening opening)
{
    if (_closed)
        return std::string("the session has ended");
    // Who has let go of a finished input may use its name at once.
    forgetLeft();
    if (!options.name.empty() && _names.isTaken(options.name))
        return ShownUrl::withoutSecrets(options.name) + ": there is an input of this name";
    InputNames::Name name = _names.next(url, options.name, writesFiles(options));
    const bool isLive = LiveUrl::isLive(url);
    const quint64 number = ++_lastNumber;
    if (!isLive && url.find("://") == std::string::npos)
        identify(number, LiveUrl::pathOf(url));
    const auto changes = std::make_shared<ChangeNote>([jobs = _jobs, number] { jobs->noteChange(number); });
    const auto core = std::make_shared<decoding::Input::Core>(name.shown, std::move(options), isLive, _jobs, changes);
    _inputs.push_back(std::make_unique<InputRun>(number, url, std::move(name), core, _environment));
    changes->set();
    if (core->isPunctual() || opening == Opening::AtOnce) {
        _inputs.back()->open();
    } else {
        _queued.push_back(number);
        if (_queued.size() == 1) // else others come first
            admit(Clock::now());
    }
    return core;
}

/// Finds out which file it is. One that cannot be opened is not kept waiting: what is wrong is told soon.
void InputSet::identify(quint64 number, const std::string &path)
{
    _inputFiles->expect(number);
    _identifiers.post([files = _inputFiles, number, path] { files->identify(number, path); });
    _checkers.post([jobs = _jobs, number, path] {
        if (!InputFile::obstacle(path))
            return;
        jobs->post([number](InputSet &inputs) {
            if (InputRun *const input = inputs.find(number))
                input->open();
        });
    });
}

void InputSet::close()
{
    _closed = true;
    _queued.clear();
    for (const auto &input : _inputs)
        input->close();
}

void InputSet::poll()
{
    const Clock::time_point now = Clock::now();
    // Before a round, too: what is noted during the round is for the next step.
    const std::vector<quint64> changed = _jobs->takeChanged();
    if (!_roundAt || now - *_roundAt >= _roundInterval) {
        _roundAt = now;
        for (const auto &input : _inputs)
            poll(*input);
        giveUpShortages(now);
    } else {
        for (const quint64 number : changed) {
            if (InputRun *const input = find(number))
                poll(*input);
        }
    }
    admit(now);
    watch();
    if (std::exchange(_isAnyLeft, false))
        forgetLeft();
}

void InputSet::poll(InputRun &input)
{
    const bool wasFinished = input.isFinished();
    input.poll();
    if (input.isFinished() && !wasFinished)
        input.watchEnd(present(), SnapshotFiller(nullptr, decoding::Mode()).snapshotOf(input).errors());
    for (Report &report : input.takeReports())
        _messages.push_back(std::move(report));
    _unwatched.push_back(input.number());
    _isAnyLeft = _isAnyLeft || isLeft(input);
}

/// Opens the files whose turn has come. Servers that do not answer hold up no file that waits for no network.
void InputSet::admit(Clock::time_point now)
{
    if (_queued.empty())
        return;
    using Occupation = Admission::Occupation;
    Admission::Files files;
    for (const auto &input : _inputs) {
        const Occupation occupation = input->occupation(now);
        files.connecting += occupation == Occupation::Connecting ? 1 : 0;
        files.heldUp += occupation == Occupation::HeldUp ? 1 : 0;
        files.going += occupation == Occupation::Going ? 1 : 0;
    }
    _admission.measure(now, files);
    int room = _admission.most() - files.heldUp - files.going;
    int roomToConnect = room - files.connecting;
    const auto isDone = [&](quint64 number) {
        InputRun *const input = find(number);
        if (!input || !input->isQueued())
            return true;
        if (room <= 0 || (input->isRemote() && roomToConnect <= 0))
            return false;
        input->open();
        room -= input->isRemote() ? 0 : 1;
        --roomToConnect;
        return true;
    };
    // One after the other, from the first one on.
    std::deque<quint64> waiting;
    for (const quint64 number : _queued) {
        if (!isDone(number))
            waiting.push_back(number);
    }
    _queued.swap(waiting);
}

/// Ends the files that wait for threads or descriptors while no other input is left that could give any back.
void InputSet::giveUpShortages(Clock::time_point now)
{
    bool isAnyShort = false;
    bool isAnyAtWork = false;
    for (const auto &input : _inputs) {
        const bool isShort = input->isShort();
        isAnyShort = isAnyShort || isShort;
        isAnyAtWork = isAnyAtWork || !(isShort || input->isFinished() || input->isQueued());
    }
    if (!isAnyShort || isAnyAtWork) {
        _shortSince.reset();
        return;
    }
    _shortSince = _shortSince.value_or(now);
    if (now - *_shortSince < shortagePatience)
        return;
    for (const auto &input : _inputs) {
        if (input->isShort())
            input->giveUpShortage();
    }
}

/// Looks for trouble in what has had something new.
void InputSet::watch()
{
    const TroubleWatch::Moment moment = present();
    if (_unwatched.empty() || (_watchedAt && moment.now - *_watchedAt < watchInterval))
        return;
    _watchedAt = moment.now;
    std::vector<quint64> numbers = std::exchange(_unwatched, {});
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    for (const quint64 number : numbers) {
        InputRun *const input = find(number);
        if (!input || input->isFinished())
            continue;
        input->watch(moment);
        for (Report &report : input->takeReports())
            _messages.push_back(std::move(report));
    }
}

std::optional<std::chrono::milliseconds> InputSet::idleTime() const
{
    if (_inputs.empty())
        return std::nullopt;
    const Clock::time_point now = Clock::now();
    Clock::time_point next = _roundAt ? *_roundAt + _roundInterval : now;
    if (!_unwatched.empty())
        next = std::min(next, _watchedAt ? *_watchedAt + watchInterval : now);
    if (!_queued.empty())
        next = std::min(next, now + Admission::interval);
    return std::max(std::chrono::milliseconds(0), std::chrono::ceil<std::chrono::milliseconds>(next - now));
}

InputRun *InputSet::find(const decoding::Input::Core &core)
{
    const auto found =
        std::find_if(_inputs.begin(), _inputs.end(), [&core](const auto &input) { return &input->core() == &core; });
    return found == _inputs.end() ? nullptr : found->get();
}

InputRun *InputSet::find(quint64 number)
{
    const auto found = std::lower_bound(_inputs.begin(), _inputs.end(), number,
                                        [](const auto &input, quint64 wanted) { return input->number() < wanted; });
    return found == _inputs.end() || (*found)->number() != number ? nullptr : found->get();
}

bool InputSet::isFinished() const
{
    return std::all_of(_inputs.begin(), _inputs.end(), [](const auto &input) { return input->isFinished(); });
}

std::vector<Report> InputSet::takeMessages()
{
    return std::exchange(_messages, {});
}

void InputSet::forgetLeft()
{
    const auto left = std::remove_if(_inputs.begin(), _inputs.end(), [this](const std::unique_ptr<InputRun> &input) {
        if (!isLeft(*input))
            return false;
        _names.release(input->name());
        _inputFiles->forget(input->number());
        return true;
    });
    _inputs.erase(left, _inputs.end());
}
