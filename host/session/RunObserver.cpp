#include "session/RunObserver.h"

#include <algorithm>
#include <set>
#include <utility>

namespace {

using RowState = BoardState::Row::State;

constexpr std::size_t maxMessages = 50;
constexpr std::chrono::seconds rateInterval(1);
constexpr std::chrono::seconds longestPause(5);
constexpr std::chrono::seconds longestPauseOfKeyBlocks(30);

// As the stream decoders name their indications, in the order of BoardState::LightIndex.
constexpr std::array<const char *, BoardState::lightCount> lightNames = {"DecoderMode",
                                                                         "DecoderLost",
                                                                         "DecoderCycle",
                                                                         "DecoderMaxLatency",
                                                                         "DecoderKeyBlockReceived",
                                                                         "DecoderNullBlockReceived",
                                                                         "DecoderDataPushed"};

RowState stateOf(const InputRun &input, const InputFeed::Status &status)
{
    switch (status.state) {
    case InputFeed::State::Opening:
        return RowState::Connecting;
    case InputFeed::State::Delivering:
        return RowState::Running;
    case InputFeed::State::Waiting:
        return RowState::Waiting;
    case InputFeed::State::Ended:
        break;
    }
    return status.error || !input.errors().empty() ? RowState::Failed : RowState::Ended;
}

/// @return @p trouble without the name that stands before it, since it is shown beside the name.
std::string withoutName(const std::string &trouble, const std::string &name)
{
    const std::string prefix = name + ": ";
    return trouble.compare(0, prefix.size(), prefix) == 0 ? trouble.substr(prefix.size()) : trouble;
}

} // namespace

RunObserver::RunObserver(const InputSet &inputs, const IndicationManager *indications, ITuneDecoding &tuning,
                         bool isTuned, Instant startedAt)
    : _inputs(inputs)
    , _indications(indications)
    , _tuning(tuning)
    , _isTuned(isTuned)
    , _startedAt(startedAt)
{
}

void RunObserver::setLoad(double load, Instant now)
{
    _load = load;
    _loadHistory.add(load, now);
}

void RunObserver::addMessage(const std::string &message)
{
    if (_messages.size() == maxMessages)
        _messages.erase(_messages.begin());
    _messages.push_back(message);
}

std::chrono::milliseconds RunObserver::running(Instant now) const
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(now - _startedAt);
}

std::vector<RunObserver::Stream> RunObserver::streams(Instant now)
{
    const Decoders known = decoders();
    std::vector<Stream> streams;
    for (const auto &input : _inputs.inputs()) {
        const InputFeed::Status status = input->status();
        const std::size_t first = streams.size();
        for (const InputRun::StreamView &stream : input->streams())
            streams.push_back({input->name().shown, stream.kind, row(stream, known, now)});
        if (streams.size() == first) {
            streams.push_back({input->name().shown, std::string(), BoardState::Row()});
            streams.back().row.name = input->name().shown;
        }
        for (auto stream = streams.begin() + static_cast<std::ptrdiff_t>(first); stream != streams.end(); ++stream) {
            stream->row.state = stateOf(*input, status);
            stream->row.trouble = withoutName(status.error.value_or(std::string()), input->name().shown);
        }
    }
    forgetRatesOfOthers(streams);
    return streams;
}

BoardState RunObserver::boardState(Instant now)
{
    BoardState state;
    state.cpuLoad = _load;
    state.loadHistory = _loadHistory;
    state.decoderCount = _tuning.decoderCount();
    state.performanceMode = _mode == DecodingMode::Performance;
    state.governor = _governor;
    state.messages = _messages;
    state.running = running(now);
    std::map<std::string, int> threads;
    for (Stream &stream : streams(now)) {
        if (!stream.row.threadName.empty())
            ++threads[stream.row.threadName];
        state.rows.push_back(std::move(stream.row));
    }
    for (const auto &[name, decoderCount] : threads)
        state.threads.push_back({name, decoderCount});
    return state;
}

RunObserver::Decoders RunObserver::decoders() const
{
    Decoders decoders;
    if (!_indications)
        return decoders;
    for (const IndicationManager::Owner &owner : _indications->snapshot()) {
        Decoder &decoder = decoders[owner.name.toStdString()];
        for (const IndicationManager::Value &value : owner.values) {
            const auto name = std::find(lightNames.begin(), lightNames.end(), value.name.toStdString());
            if (name == lightNames.end())
                continue;
            const auto index = static_cast<std::size_t>(name - lightNames.begin());
            decoder.lights[index] = value.light;
            if (index == BoardState::CycleLight)
                decoder.threadName = value.thread.toStdString();
        }
    }
    return decoders;
}

BoardState::Row RunObserver::row(const InputRun::StreamView &stream, const Decoders &decoders, Instant now)
{
    BoardState::Row row;
    row.name = stream.origin;
    const auto decoder = decoders.find(stream.origin);
    if (decoder != decoders.end()) {
        row.lights = decoder->second.lights;
        row.threadName = decoder->second.threadName;
    }
    row.frames = stream.frames;
    row.framesPerSecond = framesPerSecond(stream.origin, stream.frames, now);
    row.lost = stream.figures.lost;
    if (stream.figures.reads > 0) {
        row.latencyMs = stream.figures.lastLatencyMs;
        row.worstLatencyMs = stream.figures.maxLatencyMs;
    }
    if (!_isTuned)
        row.mode = BoardState::Row::Mode::Fixed;
    else if (_mode == DecodingMode::TimeSaving)
        row.mode = BoardState::Row::Mode::TimeSaving;
    return row;
}

std::optional<double> RunObserver::framesPerSecond(const std::string &origin, qint64 frames, Instant now)
{
    const auto [found, isNew] = _rates.try_emplace(origin, Rate{now, frames, std::nullopt});
    Rate &rate = found->second;
    const std::chrono::duration<double> interval = now - rate.since;
    // Frames may be seconds apart, and key blocks many: that none has come says nothing for a while.
    const auto longest = _isTuned && _mode == DecodingMode::TimeSaving ? longestPauseOfKeyBlocks : longestPause;
    if (!isNew && interval >= (frames != rate.framesSince ? rateInterval : longest))
        rate = {now, frames, static_cast<double>(frames - rate.framesSince) / interval.count()};
    return rate.framesPerSecond;
}

void RunObserver::forgetRatesOfOthers(const std::vector<Stream> &streams)
{
    std::set<std::string> names;
    for (const Stream &stream : streams)
        names.insert(stream.row.name);
    for (auto rate = _rates.begin(); rate != _rates.end();)
        rate = names.count(rate->first) > 0 ? std::next(rate) : _rates.erase(rate);
}
