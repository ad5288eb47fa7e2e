#include "session/LiveFeed.h"

#include <algorithm>

namespace {

// Of what may come within the latency that is allowed, with bursts.
constexpr int maxQueuedBlocks = 1024;
constexpr qint64 maxQueuedBytes = 16 << 20;

// With a source that was cancelled, and may have to take leave of its server.
constexpr std::chrono::milliseconds sourcePatience(500);

ModkitPtr<LiveQueue> newQueue(const LiveSource::Options &options, std::chrono::milliseconds maxLatency)
{
    const LiveQueue::Limits limits{maxQueuedBlocks, maxQueuedBytes, maxLatency};
    return ModkitPtr<LiveQueue>(new LiveQueue(limits, std::chrono::steady_clock::now, options.changes));
}

InputFeed::Figures figuresOf(const LiveQueue &queue)
{
    const LiveQueue::Figures ofQueue = queue.figures();
    InputFeed::Figures figures;
    figures.lost = static_cast<qint64>(ofQueue.lost);
    figures.late = static_cast<qint64>(ofQueue.late);
    figures.reads = static_cast<qint64>(ofQueue.taken);
    figures.latencySumMs = ofQueue.latencySumMs;
    // A decoder that reads nothing has no small latency.
    figures.lastLatencyMs = std::max(ofQueue.latencyMs, ofQueue.waitingMs);
    figures.maxLatencyMs = ofQueue.worstLatencyMs;
    return figures;
}

} // namespace

LiveFeed::LiveFeed(const std::string &url, const LiveSource::Options &options, std::chrono::milliseconds maxLatency)
    : _name(options.label.toStdString())
    , _queues{newQueue(options, maxLatency), newQueue(options, maxLatency)}
    , _source(std::make_shared<LiveSource>(url, options, _queues[0], _queues[1]))
{
}

std::vector<InputFeed::Stream> LiveFeed::takeStreams()
{
    // In this order: where there are streams, the start time of a connection is there already.
    const std::vector<MediaSource::Stream> known = _source->streams();
    const qint64 startTimeUs = _source->status().startTimeUs;
    std::vector<Stream> streams;
    for (const MediaSource::Stream &stream : known) {
        const auto [place, isNew] = _taken.insert({kindOf(stream.streamId), stream});
        if (isNew || place->second != stream)
            streams.push_back({stream, startTimeUs});
        place->second = stream;
    }
    return streams;
}

LiveFeed::~LiveFeed()
{
    cancel();
    wait();
}

void LiveFeed::cancel()
{
    for (const ModkitPtr<LiveQueue> &queue : _queues)
        queue->close();
    _source->requestStop();
}

void LiveFeed::wait()
{
    LiveSource::joinOrLeave(_source, _source->isOverdue() ? std::chrono::milliseconds(0) : sourcePatience);
}

bool LiveFeed::isDrained() const
{
    if (_source->isOverdue())
        return true;
    return _source->status().state == LiveSource::State::Ended &&
           std::all_of(_decoded.begin(), _decoded.end(),
                       [this](StreamKind kind) { return _queues[indexOf(kind)]->isDrained(); });
}

InputFeed::Status LiveFeed::status() const
{
    const LiveSource::Status source = _source->status();
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
    status.error = errorOf(source);
    status.packets = static_cast<qint64>(source.packets);
    status.bytes = static_cast<qint64>(source.bytes);
    status.connections = static_cast<qint64>(source.connections);
    for (const ModkitPtr<LiveQueue> &queue : _queues) {
        const LiveQueue::Figures figures = queue->figures();
        status.peakQueuedBlocks = std::max<qint64>(status.peakQueuedBlocks, figures.peakBlocks);
        status.peakQueuedBytes = std::max(status.peakQueuedBytes, figures.peakBytes);
    }
    return status;
}

std::optional<std::string> LiveFeed::errorOf(const LiveSource::Status &source) const
{
    return source.trouble.empty() ? std::nullopt : std::optional(_name + ": " + source.trouble);
}

InputFeed::Figures LiveFeed::figures(StreamKind kind) const
{
    return figuresOf(*_queues[indexOf(kind)]);
}

InputFeed::Figures LiveFeed::figures() const
{
    Figures sum;
    for (const StreamKind kind : streamKinds) {
        if (_decoded.count(kind) == 0)
            continue; // Nobody is late with what nobody reads.
        const Figures part = figures(kind);
        sum.lost += part.lost;
        sum.late += part.late;
        sum.reads += part.reads;
        sum.latencySumMs += part.latencySumMs;
        sum.lastLatencyMs = std::max(sum.lastLatencyMs, part.lastLatencyMs);
        sum.maxLatencyMs = std::max(sum.maxLatencyMs, part.maxLatencyMs);
    }
    return sum;
}
