#include "cli/RunControl.h"

#include <algorithm>
#include <utility>

#include "media/ShownUrl.h"

RunControl::RunControl(IRunSession &session, RunInputs &inputs, std::function<void()> quit)
    : _session(session)
    , _inputs(inputs)
    , _quit(std::move(quit))
{
}

void RunControl::poll()
{
    // An answer may bring the next request.
    if (!_adding.empty()) {
        const decoding::Snapshot snapshot = _inputs.snapshot();
        for (const Adding &adding : std::exchange(_adding, {})) {
            if (!answer(adding, snapshot))
                _adding.push_back(adding);
        }
    }
    for (const Removing &removing : std::exchange(_removing, {})) {
        if (_inputs.isLeaving(removing.name))
            _removing.push_back(removing);
        else
            removing.done(std::nullopt);
    }
}

void RunControl::add(const std::string &url, const std::optional<std::string> &name, const AddDone &done)
{
    try {
        _adding.push_back({_inputs.add(name ? InputSpec{url, name} : InputSpec::parse(url)), done});
    } catch (const decoding::Error &error) {
        done(std::string(), error.what());
    }
}

/// @return false as long as it is not known what becomes of the input.
bool RunControl::answer(const Adding &adding, const decoding::Snapshot &snapshot)
{
    if (!_inputs.contains(adding.name)) {
        adding.done(adding.name, adding.name + ": removed before it was open");
        return true;
    }
    const auto input = std::find_if(snapshot.inputs.begin(), snapshot.inputs.end(),
                                    [&adding](const auto &candidate) { return candidate.name == adding.name; });
    const bool isOpen = input != snapshot.inputs.end() && RunInputs::isOpen(*input);
    if (!isOpen && (input == snapshot.inputs.end() || !input->finished))
        return false;
    IControl::Error error;
    if (!isOpen) {
        const std::vector<std::string> errors = input->errors();
        error = errors.empty() ? adding.name + ": not opened" : errors.front();
        _inputs.remove(adding.name);
    }
    adding.done(adding.name, error);
    return true;
}

void RunControl::remove(const std::string &name, const Done &done)
{
    if (_inputs.remove(name))
        _removing.push_back({name, done});
    else
        done(ShownUrl::withoutSecrets(name) + ": there is no input of this name");
}

IControl::Error RunControl::setGovernor(bool on)
{
    try {
        _session.setGovernor(on);
    } catch (const decoding::Error &) {
        return "there is no governor; start decoding-host with --governor LOW:HIGH";
    }
    _isGovernorOn = on;
    return std::nullopt;
}
