#include "terminal/StreamRow.h"

namespace {

const decoding::Snapshot::Stream withoutFigures;

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
    const std::string error = _input->error.value_or(std::string());
    const std::string prefix = _input->name + ": ";
    return error.compare(0, prefix.size(), prefix) == 0 ? error.substr(prefix.size()) : error;
}

std::optional<std::int64_t> StreamRow::latencyMs() const
{
    return _stream->latency ? std::optional(_stream->latency->lastMs) : std::nullopt;
}

std::optional<std::int64_t> StreamRow::worstLatencyMs() const
{
    return _stream->latency ? std::optional(_stream->latency->maximumMs) : std::nullopt;
}
