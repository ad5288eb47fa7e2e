#include "session/LiveFeed.h"

#include <algorithm>

namespace {

// Of what may come within the latency that is allowed, with bursts.
constexpr int maxQueuedBlocks = 1024;
constexpr qint64 maxQueuedBytes = 16 << 20;

LiveQueue::Limits queueLimits(std::chrono::milliseconds maxLatency)
{
    return {maxQueuedBlocks, maxQueuedBytes, maxLatency};
}

InputFeed::Figures figuresOf(const LiveQueue &queue)
{
    const LiveQueue::Figures figures = queue.figures();
    InputFeed::Figures told;
    told.lost = static_cast<qint64>(figures.lost);
    told.late = static_cast<qint64>(figures.late);
    told.reads = static_cast<qint64>(figures.taken);
    told.latencySumMs = figures.latencySumMs;
    // A decoder that reads nothing has no small latency.
    told.lastLatencyMs = std::max(figures.latencyMs, figures.waitingMs);
    told.maxLatencyMs = figures.worstLatencyMs;
    return told;
}

} // namespace

LiveFeed::LiveFeed(const QString &url, const LiveSource::Options &options, std::chrono::milliseconds maxLatency)
    : _name(options.label.toStdString())
    , _video(new LiveQueue(queueLimits(maxLatency)))
    , _audio(new LiveQueue(queueLimits(maxLatency)))
    , _source(url, options, _video, _audio)
{
}

std::vector<InputFeed::Stream> LiveFeed::takeStreams()
{
    // In this order: where there are streams, the start time of a connection is there already.
    const std::vector<MediaSource::Stream> known = _source.streams();
    const qint64 startTimeUs = _source.status().startTimeUs;
    std::vector<Stream> streams;
    for (const MediaSource::Stream &stream : known) {
        if (_taken.insert(stream.streamId).second)
            streams.push_back({stream, stream.kind == "video" ? _video : _audio, startTimeUs});
    }
    return streams;
}

void LiveFeed::cancel()
{
    _video->close();
    _audio->close();
    _source.requestStop();
}

bool LiveFeed::isDrained() const
{
    return _video->isDrained() && _audio->isDrained();
}

InputFeed::Status LiveFeed::status() const
{
    const LiveSource::Status source = _source.status();
    Status status;
    switch (source.state) {
    case LiveSource::State::Connecting:
        status.state = source.connections == 0 ? State::Opening : State::Waiting;
        break;
    case LiveSource::State::Delivering:
        status.state = State::Delivering;
        break;
    case LiveSource::State::Waiting:
        status.state = State::Waiting;
        break;
    case LiveSource::State::Ended:
        status.state = State::Ended;
        break;
    }
    if (!source.trouble.empty())
        status.error = _name + ": " + source.trouble;
    status.packets = static_cast<qint64>(source.packets);
    status.bytes = static_cast<qint64>(source.bytes);
    status.connections = static_cast<qint64>(source.connections);
    for (const ModkitPtr<LiveQueue> &queue : {_video, _audio}) {
        const LiveQueue::Figures figures = queue->figures();
        status.peakQueuedBlocks = std::max<qint64>(status.peakQueuedBlocks, figures.peakBlocks);
        status.peakQueuedBytes = std::max(status.peakQueuedBytes, figures.peakBytes);
    }
    return status;
}

InputFeed::Figures LiveFeed::figures(quint32 streamId) const
{
    return figuresOf(streamId == 0 ? *_video : *_audio);
}

InputFeed::Figures LiveFeed::figures() const
{
    Figures sum = figuresOf(*_video);
    const Figures audio = figuresOf(*_audio);
    sum.lost += audio.lost;
    sum.late += audio.late;
    sum.reads += audio.reads;
    sum.latencySumMs += audio.latencySumMs;
    sum.lastLatencyMs = std::max(sum.lastLatencyMs, audio.lastLatencyMs);
    sum.maxLatencyMs = std::max(sum.maxLatencyMs, audio.maxLatencyMs);
    return sum;
}
