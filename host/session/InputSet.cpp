#include "session/InputSet.h"

#include <algorithm>
#include <utility>

InputSet::InputSet(const DecodedStream::Environment &environment)
    : _environment{environment, _openers, _enders}
{
}

InputSet::~InputSet()
{
    cancel();
}

std::variant<InputNames::Name, std::string> InputSet::add(const InputSpec &input, int copies)
{
    if (_cancelled)
        return std::string("no input is taken any more: this host is ending");
    if (input.name && _names.isShown(*input.name))
        return *input.name + ": there is an input of this name";
    _inputs.push_back(std::make_unique<InputRun>(input.url, _names.next(input), _environment));
    _inputFiles.reset();
    const InputRun &first = *_inputs.back();
    Copies others{input.url, &first, {}};
    for (int copy = 1; copy < copies; ++copy)
        others.names.push_back(_names.next(input));
    if (!others.names.empty())
        _copies.push_back(std::move(others));
    return first.name();
}

bool InputSet::remove(const std::string &name)
{
    const auto found = std::find_if(_inputs.begin(), _inputs.end(),
                                    [&name](const auto &input) { return input->name().shown == name; });
    if (found == _inputs.end())
        return false;
    const InputRun *const removed = found->get();
    const auto others = std::find_if(_copies.begin(), _copies.end(),
                                     [removed](const Copies &copies) { return copies.first == removed; });
    if (others != _copies.end()) {
        forget(*others);
        _copies.erase(others);
    }
    (*found)->cancel();
    _removed.push_back(std::move(*found));
    _inputs.erase(found);
    return true;
}

void InputSet::cancel()
{
    _cancelled = true;
    _copies.clear();
    for (const auto &input : _inputs)
        input->cancel();
}

void InputSet::poll()
{
    for (const auto &input : _removed)
        poll(*input);
    dropRemoved();
    for (const auto &input : _inputs)
        poll(*input);
    beginCopies();
}

void InputSet::poll(InputRun &input)
{
    const bool wasFinished = input.isFinished();
    input.poll(inputFiles());
    for (std::string &report : input.takeReports())
        _messages.push_back(std::move(report));
    if (input.isFinished() && !wasFinished) {
        for (std::string &error : input.errors())
            _messages.push_back(std::move(error));
    }
}

std::shared_ptr<const FileSet> InputSet::inputFiles()
{
    if (!_inputFiles) {
        const auto files = std::make_shared<FileSet>();
        for (const auto *const inputs : {&_inputs, &_removed}) {
            for (const auto &input : *inputs)
                files->add(input->files());
        }
        _inputFiles = files;
    }
    return _inputFiles;
}

const InputRun *InputSet::find(const std::string &name) const
{
    const auto found = std::find_if(_inputs.begin(), _inputs.end(),
                                    [&name](const auto &input) { return input->name().shown == name; });
    return found == _inputs.end() ? nullptr : found->get();
}

bool InputSet::isLeaving(const std::string &name) const
{
    return std::any_of(_removed.begin(), _removed.end(),
                       [&name](const auto &input) { return input->name().shown == name; });
}

bool InputSet::isFinished() const
{
    return _removed.empty() && _copies.empty() &&
           std::all_of(_inputs.begin(), _inputs.end(), [](const auto &input) { return input->isFinished(); });
}

std::vector<std::string> InputSet::takeMessages()
{
    return std::exchange(_messages, {});
}

/// Begins the copies of each input that was opened, and forgets those of each that could not be.
void InputSet::beginCopies()
{
    std::vector<Copies> waiting;
    for (Copies &copies : std::exchange(_copies, {})) {
        if (copies.first->isOpen() || copies.first->isLive())
            beginCopies(copies);
        else if (copies.first->isFinished())
            forget(copies);
        else
            waiting.push_back(std::move(copies));
    }
    _copies = std::move(waiting);
}

void InputSet::beginCopies(const Copies &copies)
{
    auto next = std::next(place(*copies.first));
    for (const InputNames::Name &name : copies.names)
        next = std::next(_inputs.insert(next, std::make_unique<InputRun>(copies.url, name, _environment)));
    _inputFiles.reset();
}

/// There will be no such copies.
void InputSet::forget(const Copies &copies)
{
    for (const InputNames::Name &name : copies.names)
        _names.release(name);
}

std::vector<std::unique_ptr<InputRun>>::iterator InputSet::place(const InputRun &input)
{
    return std::find_if(_inputs.begin(), _inputs.end(),
                        [&input](const auto &candidate) { return candidate.get() == &input; });
}

void InputSet::dropRemoved()
{
    const auto dropped =
        std::partition(_removed.begin(), _removed.end(), [](const auto &input) { return !input->isFinished(); });
    for (auto input = dropped; input != _removed.end(); ++input) {
        const InputRun &removed = **input;
        qint64 frames = 0;
        for (const InputRun::StreamView &stream : removed.streams())
            frames += stream.frames;
        // Of one that could not be opened, enough is told.
        if (removed.isOpen() || removed.isLive())
            _messages.push_back(removed.name().shown + ": removed, after " + std::to_string(frames) + " frames");
        _names.release(removed.name());
    }
    if (dropped == _removed.end())
        return;
    _removed.erase(dropped, _removed.end());
    _inputFiles.reset();
}
