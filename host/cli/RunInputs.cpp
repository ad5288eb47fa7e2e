#include "cli/RunInputs.h"

#include <algorithm>
#include <map>
#include <utility>

using decoding::Snapshot;

namespace {

// Of inputs that come and go for months, on a disk that is full.
constexpr std::size_t maxOutputErrors = 100;

const Snapshot::Input *find(const Snapshot &snapshot, const std::string &name)
{
    const auto found = std::find_if(snapshot.inputs.begin(), snapshot.inputs.end(),
                                    [&name](const Snapshot::Input &input) { return input.name == name; });
    return found == snapshot.inputs.end() ? nullptr : &*found;
}

} // namespace

RunInputs::RunInputs(IRunSession &session, RunMessages &messages, decoding::InputOptions options)
    : _session(session)
    , _messages(messages)
    , _options(std::move(options))
{
}

std::string RunInputs::add(const InputSpec &input, int copies)
{
    if (_isClosing)
        throw decoding::Error("no input is taken any more: this host is ending");
    std::string name = open(input);
    _names.push_back(name);
    if (copies > 1)
        _copies.push_back({name, input, copies - 1});
    return name;
}

std::string RunInputs::open(const InputSpec &input)
{
    return _session.open(input.url, input.over(_options));
}

bool RunInputs::remove(const std::string &name)
{
    const auto found = std::find(_names.begin(), _names.end(), name);
    if (found == _names.end())
        return false;
    Leaving leaving;
    leaving.name = name;
    note(_session.snapshot(), leaving);
    _session.close(name);
    _leaving.push_back(std::move(leaving));
    _names.erase(found);
    _copies.erase(
        std::remove_if(_copies.begin(), _copies.end(), [&name](const Copies &copies) { return copies.first == name; }),
        _copies.end());
    return true;
}

void RunInputs::close()
{
    _isClosing = true;
    _copies.clear();
    for (const std::string &name : _names)
        _session.close(name);
}

void RunInputs::poll()
{
    forgetRemoved();
    beginCopies();
}

bool RunInputs::contains(const std::string &name) const
{
    return std::find(_names.begin(), _names.end(), name) != _names.end();
}

bool RunInputs::isLeaving(const std::string &name) const
{
    return std::any_of(_leaving.begin(), _leaving.end(),
                       [&name](const Leaving &leaving) { return leaving.name == name; });
}

bool RunInputs::isFinished() const
{
    return _leaving.empty() && _copies.empty() &&
           std::all_of(_names.begin(), _names.end(),
                       [this](const std::string &name) { return _session.isFinished(name); });
}

Snapshot RunInputs::snapshot() const
{
    Snapshot snapshot = _session.snapshot();
    std::map<std::string, Snapshot::Input> inputs;
    for (Snapshot::Input &input : std::exchange(snapshot.inputs, {})) {
        std::string name = input.name;
        inputs.emplace(std::move(name), std::move(input));
    }
    for (const std::string &name : _names) {
        const auto input = inputs.find(name);
        if (input != inputs.end())
            snapshot.inputs.push_back(std::move(input->second));
    }
    snapshot.messages = _messages.latest();
    return snapshot;
}

bool RunInputs::isOpen(const Snapshot::Input &input)
{
    return (input.live && input.state != decoding::State::Failed) || !input.streams.empty();
}

/// Begins the copies of each input that was opened, and drops those of each that could not be.
void RunInputs::beginCopies()
{
    if (_copies.empty())
        return;
    const Snapshot snapshot = _session.snapshot();
    for (const Copies &copies : std::exchange(_copies, {})) {
        const Snapshot::Input *const first = find(snapshot, copies.first);
        if (first && isOpen(*first))
            beginCopies(copies);
        else if (!first || !first->finished)
            _copies.push_back(copies);
    }
}

void RunInputs::beginCopies(const Copies &copies)
{
    auto next = std::next(std::find(_names.begin(), _names.end(), copies.first));
    for (int copy = 0; copy < copies.count; ++copy) {
        InputSpec input = copies.input;
        if (input.name)
            input.name = nextName(*input.name);
        try {
            next = std::next(_names.insert(next, open(input)));
        } catch (const decoding::Error &error) {
            _messages.add(error.what());
        }
    }
}

/// @return @p name with the first number behind it that makes it no other input's, as the session numbers the names
///         that it makes.
std::string RunInputs::nextName(const std::string &name) const
{
    for (int number = 2;; ++number) {
        std::string next = name + " (" + std::to_string(number) + ')';
        if (!contains(next) && !isLeaving(next))
            return next;
    }
}

void RunInputs::forgetRemoved()
{
    const auto forgotten = std::partition(_leaving.begin(), _leaving.end(), [this](const Leaving &leaving) {
        return !_session.isFinished(leaving.name);
    });
    if (forgotten == _leaving.end())
        return;
    const Snapshot snapshot = _session.snapshot();
    for (auto leaving = forgotten; leaving != _leaving.end(); ++leaving) {
        note(snapshot, *leaving);
        for (std::string &error : leaving->outputErrors) {
            if (_outputErrors.size() < maxOutputErrors)
                _outputErrors.push_back(std::move(error));
        }
        // One that could not be opened has reported its error.
        if (leaving->wasOpen)
            _messages.add(leaving->name + ": removed, after " + std::to_string(leaving->frames) + " frames");
        _session.forget(leaving->name);
    }
    _leaving.erase(forgotten, _leaving.end());
}

/// Notes what has become of it by now.
void RunInputs::note(const Snapshot &snapshot, Leaving &leaving)
{
    const Snapshot::Input *const input = find(snapshot, leaving.name);
    if (!input)
        return;
    leaving.wasOpen = isOpen(*input);
    leaving.frames = 0;
    leaving.outputErrors.clear();
    for (const Snapshot::Stream &stream : input->streams) {
        leaving.frames += stream.frames;
        for (std::string &error : stream.outputErrors())
            leaving.outputErrors.push_back(std::move(error));
    }
}
