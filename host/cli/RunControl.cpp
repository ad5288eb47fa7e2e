#include "cli/RunControl.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "media/ShownUrl.h"

RunControl::RunControl(IRunSession &session, RunInputs &inputs, std::function<void()> quit)
    : _session(session)
    , _inputs(inputs)
    , _quit(std::move(quit))
{
}

void RunControl::poll(Instant now)
{
    // An answer may bring the next request.
    if (!_adding.empty()) {
        const decoding::Snapshot snapshot = _inputs.snapshot();
        for (Adding &adding : std::exchange(_adding, {})) {
            adding.since = adding.since.value_or(now);
            if (!answer(adding, snapshot, now))
                _adding.push_back(std::move(adding));
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
        const InputSpec input = InputSpec::parse(url, name);
        const std::vector<decoding::Output> outputs = input.over({}).outputs;
        // Something else may be on it, and nobody who asks from outside can see that.
        if (std::any_of(outputs.begin(), outputs.end(), std::mem_fn(&decoding::Output::isStandardOutput)))
            throw decoding::Error(ShownUrl::withoutSecrets(input.url) +
                                  ": the standard output is for inputs of the command line");
        _adding.push_back({_inputs.add(input), done, std::nullopt});
    } catch (const decoding::Error &error) {
        done(std::string(), error.what());
    }
}

/// @return false as long as it is not known what becomes of the input. A live one that does not come at once is tried
///         on and on, and a file may have to wait for its turn: nothing more need be known of them.
bool RunControl::answer(const Adding &adding, const decoding::Snapshot &snapshot, Instant now)
{
    if (!_inputs.contains(adding.name)) {
        adding.done(adding.name, adding.name + ": removed before it was open");
        return true;
    }
    const auto input = std::find_if(snapshot.inputs.begin(), snapshot.inputs.end(),
                                    [&adding](const auto &candidate) { return candidate.name == adding.name; });
    if (input == snapshot.inputs.end())
        return false;
    const bool hasWaited = now - *adding.since >= answerLimit;
    const bool mayComeLater =
        input->live ? input->state != decoding::State::Failed && (input->state == decoding::State::Waiting || hasWaited)
                    : input->state == decoding::State::Queued && hasWaited;
    const bool isOpen = !input->streams.empty() || (mayComeLater && !input->finished);
    if (!isOpen && !input->finished)
        return false;
    if (isOpen) {
        adding.done(adding.name, std::nullopt);
        return true;
    }
    const std::vector<std::string> errors = input->errors();
    const std::string error = errors.empty() ? adding.name + ": not opened" : errors.front();
    _inputs.remove(adding.name);
    // Its name is to be free by then.
    _removing.push_back({adding.name, [adding, error](const Error & /*none*/) { adding.done(adding.name, error); }});
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
