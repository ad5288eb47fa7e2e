#include "cli/RunControl.h"

#include <algorithm>
#include <utility>

namespace {

const char *word(BoardState::Row::State state)
{
    switch (state) {
    case BoardState::Row::State::Connecting:
        return "connecting";
    case BoardState::Row::State::Running:
        return "running";
    case BoardState::Row::State::Waiting:
        return "waiting";
    case BoardState::Row::State::Ended:
        return "ended";
    case BoardState::Row::State::Failed:
        return "failed";
    }
    return "";
}

} // namespace

RunControl::RunControl(InputSet &inputs, RunObserver &observer, Operations operations)
    : _inputs(inputs)
    , _observer(observer)
    , _operations(std::move(operations))
{
}

void RunControl::poll()
{
    // An answer may bring the next request.
    for (const Adding &adding : std::exchange(_adding, {})) {
        if (!answer(adding))
            _adding.push_back(adding);
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
    const auto added = _inputs.add(name ? InputSpec{url, name} : InputSpec::parse(url));
    if (const std::string *const error = std::get_if<std::string>(&added))
        done(std::string(), *error);
    else
        _adding.push_back({std::get<InputNames::Name>(added).shown, done});
}

/// @return false as long as it is not known what becomes of the input.
bool RunControl::answer(const Adding &adding)
{
    const InputRun *const input = _inputs.find(adding.name);
    if (!input) {
        adding.done(adding.name, adding.name + ": removed before it was open");
    } else if (input->isLive() || input->isOpen()) {
        // A live source may take for ever to connect: it is tried on and on.
        adding.done(adding.name, std::nullopt);
    } else if (input->isFinished()) {
        const std::string error = input->errors().empty() ? adding.name + ": not opened" : input->errors().front();
        _inputs.remove(adding.name);
        adding.done(adding.name, error);
    } else {
        return false;
    }
    return true;
}

void RunControl::remove(const std::string &name, const Done &done)
{
    if (_inputs.remove(name))
        _removing.push_back({name, done});
    else
        done(name + ": there is no input of this name");
}

std::vector<IControl::Stream> RunControl::list()
{
    std::vector<Stream> streams;
    for (const RunObserver::Stream &stream : _observer.streams(std::chrono::steady_clock::now())) {
        const BoardState::Row &row = stream.row;
        Stream told;
        told.input = stream.input;
        told.kind = stream.kind;
        told.state = word(row.state);
        told.frames = row.frames;
        told.framesPerSecond = row.framesPerSecond.value_or(0);
        told.lostBlocks = row.lost;
        if (row.latencyMs)
            told.latency = std::chrono::milliseconds(*row.latencyMs);
        if (row.worstLatencyMs)
            told.worstLatency = std::chrono::milliseconds(*row.worstLatencyMs);
        told.mode =
            row.mode == BoardState::Row::Mode::TimeSaving ? DecodingMode::TimeSaving : DecodingMode::Performance;
        streams.push_back(std::move(told));
    }
    return streams;
}

IControl::Status RunControl::status()
{
    const auto now = std::chrono::steady_clock::now();
    Status status;
    status.running = _observer.running(now);
    status.inputs = static_cast<int>(_inputs.inputs().size());
    for (const auto &input : _inputs.inputs())
        status.streams += static_cast<int>(input->streams().size());
    status.cpuLoad = _observer.load();
    status.mode = _observer.mode();
    status.governor = _observer.governor();
    return status;
}
