#include "session/FileFeed.h"

#include <utility>

#include "queues/PacedQueue.h"

namespace {

// Much for one stream, little for hundreds.
constexpr BlockQueue::Limits queueLimits{64, 8 << 20};
// Packets of sound are small, and soon decoded.
constexpr BlockQueue::Limits soundLimits{256, 8 << 20};

} // namespace

FileFeed::FileFeed(const std::string &url, const MediaSource::Options &options, JobThreads &openers,
                   std::function<void()> opened)
    : _isPaced(options.paced)
{
    auto open = std::make_shared<std::packaged_task<Opened()>>([this, url, options] {
        auto source = MediaSource::open(url, options, _cancelled);
        if (const std::string *const error = std::get_if<std::string>(&source))
            return Opened{nullptr, *error};
        return Opened{std::move(std::get<std::unique_ptr<MediaSource>>(source)), std::string()};
    });
    _opening = open->get_future();
    if (!openers.post([open, opened = std::move(opened)] {
            (*open)();
            opened();
        })) {
        _opening = {};
        _openingError = options.label.toStdString() + ": there is no thread to open it; decode fewer inputs at a time";
    }
}

FileFeed::~FileFeed()
{
    cancel();
    wait();
}

std::vector<InputFeed::Stream> FileFeed::takeStreams()
{
    if (!_opening.valid() || _opening.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        return {};
    Opened opened = _opening.get();
    if (!opened.source) {
        _openingError = opened.error;
        return {};
    }
    _source = std::move(opened.source);
    std::vector<Stream> streams;
    for (const MediaSource::Stream &stream : _source->streams())
        streams.push_back({stream, _source->startTimeUs()});
    return streams;
}

std::vector<MediaSource::Stream> FileFeed::undecodable() const
{
    return _source ? _source->undecodable() : std::vector<MediaSource::Stream>();
}

void FileFeed::decode(StreamKind kind)
{
    _decoded.insert(kind);
    const BlockQueue::Limits &limits = _decoded.count(StreamKind::Video) == 0 ? soundLimits : queueLimits;
    _queue = ModkitPtr<BlockQueue>(new BlockQueue(static_cast<int>(_decoded.size()), limits));
}

ModkitPtr<IInputQueue> FileFeed::queue(StreamKind kind) const
{
    if (!_isPaced)
        return _queue;
    return ModkitPtr<PacedQueue>(new PacedQueue(_queue, streamIdOf(kind)));
}

void FileFeed::start()
{
    if (_decoded.size() == 1)
        _source->keepOnly(*_decoded.begin());
    if (_source->start(*_queue))
        cancel(); // The source goes on telling the error.
}

void FileFeed::cancel()
{
    _cancelled = true;
    if (!_source)
        return;
    if (!_queue.isNull())
        _queue->close();
    _source->requestStop();
}

void FileFeed::wait()
{
    if (_opening.valid())
        _opening.wait();
    if (_source)
        _source->join();
}

bool FileFeed::isDrained() const
{
    return _queue.isNull() ? _openingError.has_value() : _queue->isDrained();
}

InputFeed::Status FileFeed::status() const
{
    Status status;
    if (!_source) {
        status.state = _openingError ? State::Ended : State::Opening;
        status.error = _openingError;
        return status;
    }
    const BlockQueue::Figures figures = _queue.isNull() ? BlockQueue::Figures() : _queue->figures();
    status.state = isDrained() ? State::Ended : State::Delivering;
    status.error = _source->error();
    if (_source->progress() > 0)
        status.progress = _source->progress();
    status.packets = static_cast<qint64>(_source->packets());
    status.bytes = static_cast<qint64>(_source->bytes());
    status.peakQueuedBlocks = figures.peakBlocks;
    status.peakQueuedBytes = figures.peakBytes;
    return status;
}

std::optional<std::string> FileFeed::error() const
{
    return _source ? _source->error() : _openingError;
}

InputFeed::Figures FileFeed::figures() const
{
    Figures figures;
    if (_queue.isNull())
        return figures;
    const BlockQueue::Figures ofQueue = _queue->figures();
    figures.reads = static_cast<qint64>(ofQueue.reads);
    figures.latencySumMs = ofQueue.latencySumMs;
    figures.lastLatencyMs = ofQueue.lastLatencyMs;
    figures.maxLatencyMs = ofQueue.maxLatencyMs;
    return figures;
}
