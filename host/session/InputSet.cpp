#include "session/InputSet.h"

#include <algorithm>
#include <utility>

#include "media/ShownUrl.h"
#include "session/SnapshotFiller.h"
#include "sources/LiveUrl.h"

namespace {

// The session reports trouble at once, but nobody sees whether it is a quarter of a second later.
constexpr std::chrono::milliseconds watchInterval(250);

TroubleWatch::Moment present()
{
    return {std::chrono::steady_clock::now(), std::chrono::system_clock::now()};
}

} // namespace

InputSet::InputSet(const DecodedStream::Environment &environment, std::shared_ptr<SessionJobs> jobs)
    : _environment{environment, {_enders, [jobs] { jobs->wake(); }, std::make_shared<BurstTime>()}, _openers}
    , _jobs(std::move(jobs))
{
}

InputSet::~InputSet()
{
    close();
}

std::variant<std::shared_ptr<decoding::Input::Core>, std::string> InputSet::add(const std::string &url,
                                                                                decoding::InputOptions options)
{
    if (_closed)
        return std::string("no input is taken any more: this host is ending");
    // Who has let go of a finished input may use its name at once.
    forgetLeft();
    if (!options.name.empty() && _names.isTaken(options.name))
        return ShownUrl::withoutSecrets(options.name) + ": there is an input of this name";
    InputNames::Name name = _names.next(url, options.name);
    const bool isLive = LiveUrl::isLive(url);
    const auto core = std::make_shared<decoding::Input::Core>(name.shown, std::move(options), isLive, _jobs);
    _inputs.push_back(std::make_unique<InputRun>(url, std::move(name), core, _environment));
    _inputFiles.reset();
    return core;
}

void InputSet::close()
{
    _closed = true;
    for (const auto &input : _inputs)
        input->close();
}

void InputSet::poll()
{
    for (const auto &input : _inputs)
        poll(*input);
    watch();
    forgetLeft();
}

void InputSet::watch()
{
    const TroubleWatch::Moment moment = present();
    if (_watchedAt && moment.now - *_watchedAt < watchInterval)
        return;
    _watchedAt = moment.now;
    for (const auto &input : _inputs) {
        if (!input->isFinished())
            input->watch(moment);
    }
}

void InputSet::poll(InputRun &input)
{
    const bool wasFinished = input.isFinished();
    input.poll(inputFiles());
    if (input.isFinished() && !wasFinished)
        input.watchEnd(present(), SnapshotFiller(nullptr, decoding::Mode()).snapshotOf(input).errors());
    for (Report &report : input.takeReports())
        _messages.push_back(std::move(report));
}

bool InputSet::hasWork() const
{
    return !_inputs.empty();
}

std::shared_ptr<const FileSet> InputSet::inputFiles()
{
    if (!_inputFiles) {
        const auto files = std::make_shared<FileSet>();
        for (const auto &input : _inputs)
            files->add(input->files());
        _inputFiles = files;
    }
    return _inputFiles;
}

InputRun *InputSet::find(const decoding::Input::Core &core)
{
    const auto found =
        std::find_if(_inputs.begin(), _inputs.end(), [&core](const auto &input) { return &input->core() == &core; });
    return found == _inputs.end() ? nullptr : found->get();
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
    const auto isLeft = [this](const std::unique_ptr<InputRun> &input) {
        if (!input->isFinished() || !input->isAbandoned())
            return false;
        _names.release(input->name());
        return true;
    };
    const auto left = std::remove_if(_inputs.begin(), _inputs.end(), isLeft);
    if (left == _inputs.end())
        return;
    _inputs.erase(left, _inputs.end());
    _inputFiles.reset();
}
