#include "terminal/StreamRow.h"

#include <algorithm>

#include "media/ClockTime.h"

namespace {

using Output = decoding::Snapshot::Output;

const decoding::Snapshot::Stream withoutFigures;

// So long a stream is unwell after damage.
constexpr std::chrono::seconds damageShows(10);

} // namespace

std::vector<StreamRow> StreamRow::of(const decoding::Snapshot &snapshot)
{
    std::vector<StreamRow> rows;
    for (const decoding::Snapshot::Input &input : snapshot.inputs) {
        if (input.streams.empty())
            rows.emplace_back(input);
        for (const decoding::Snapshot::Stream &stream : input.streams)
            rows.emplace_back(input, stream);
    }
    return rows;
}

StreamRow::StreamRow(const decoding::Snapshot::Input &input)
    : _input(&input)
    , _stream(&withoutFigures)
    , _name(&input.name)
{
}

StreamRow::StreamRow(const decoding::Snapshot::Input &input, const decoding::Snapshot::Stream &stream)
    : _input(&input)
    , _stream(&stream)
    , _name(&stream.name)
{
}

std::string StreamRow::trouble() const
{
    if (!_input->error && !_stream->missingCodec.empty())
        return "no decoder for " + _stream->missingCodec;
    const auto failing = std::find_if(_stream->outputs.begin(), _stream->outputs.end(),
                                      [](const Output &output) { return output.failing && output.error; });
    if (!_input->error && failing != _stream->outputs.end())
        return *failing->error;
    const std::string error = _input->error.value_or(std::string());
    const std::string prefix = _input->name + ": ";
    return error.compare(0, prefix.size(), prefix) == 0 ? error.substr(prefix.size()) : error;
}

bool StreamRow::isDamaged() const
{
    return (_stream->sinceDamage && *_stream->sinceDamage < damageShows) || (!_input->live && damaged() > 0);
}

bool StreamRow::isFailingToWrite() const
{
    return std::any_of(_stream->outputs.begin(), _stream->outputs.end(),
                       [](const Output &output) { return output.failing; });
}

std::string StreamRow::lastError() const
{
    const std::optional<decoding::Snapshot::Trouble> &last = _input->lastErrorOf(*_stream);
    return last ? ClockTime::ofDay(last->at) + ' ' + last->text : std::string();
}

std::optional<std::int64_t> StreamRow::latencyMs() const
{
    return _stream->latency ? std::optional(_stream->latency->lastMs) : std::nullopt;
}

std::optional<std::int64_t> StreamRow::worstLatencyMs() const
{
    return _stream->latency ? std::optional(_stream->latency->maximumMs) : std::nullopt;
}
