#include "session/FileFeed.h"

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <variant>

#include "media/DescriptorLimit.h"
#include "media/ShownUrl.h"
#include "queues/PacedQueue.h"

namespace {

// Much for one stream, little for hundreds.
constexpr BlockQueue::Limits queueLimits{64, 8 << 20};
// Packets of sound are small, and soon decoded.
constexpr BlockQueue::Limits soundLimits{256, 8 << 20};
// With an opening that was cancelled. What waits for the network comes back sooner, but not for a name.
constexpr std::chrono::milliseconds openingPatience(300);
// With a reading that was cancelled.
constexpr std::chrono::milliseconds readingPatience(200);
constexpr std::chrono::milliseconds retryInterval(500);

} // namespace

/// From its posting to its result. Thread-safe.
struct FileFeed::Opening {
    enum class Phase {
        Waiting, // for a thread
        Running,
        Done
    };

    void run(const std::string &url, const MediaSource::Options &options)
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            if (isCancelled)
                return; // Nobody waits for what has not begun.
            phase = Phase::Running;
        }
        std::variant<std::unique_ptr<MediaSource>, std::string> opened =
            ShownUrl::withoutSecrets(url) + ": cannot be opened: " + DescriptorLimit::text(EMFILE);
        if (DescriptorLimit::hasRoomForInput())
            opened = MediaSource::open(url, options, isCancelled);
        const bool hasFailed = std::holds_alternative<std::string>(opened);
        const bool isLimited = hasFailed && !DescriptorLimit::hasRoomForInput();
        const std::lock_guard<std::mutex> lock(mutex);
        result = std::move(opened);
        lacksRoom = isLimited;
        phase = Phase::Done;
        done.notify_all();
    }

    std::atomic<bool> isCancelled{false};
    std::mutex mutex; // guards the next three
    std::variant<std::unique_ptr<MediaSource>, std::string> result;
    bool lacksRoom = false; // which is why it failed
    Phase phase = Phase::Waiting;
    std::condition_variable done;
};

FileFeed::FileFeed(const std::string &url, const MediaSource::Options &options, JobThreads &openers)
    : _url(url)
    , _options(options)
    , _openers(openers)
{
}

void FileFeed::open()
{
    _opening = std::make_shared<Opening>();
    _openers.post([opening = _opening, url = _url, options = _options] {
        opening->run(url, options);
        ChangeNote::set(options.changes);
    });
}

FileFeed::~FileFeed()
{
    cancel();
    wait();
}

std::vector<InputFeed::Stream> FileFeed::takeStreams()
{
    if (!_opening)
        return {};
    {
        const std::lock_guard<std::mutex> lock(_opening->mutex);
        if (_opening->phase != Opening::Phase::Done)
            return {};
    }
    const std::shared_ptr<Opening> opened = std::exchange(_opening, nullptr);
    if (const std::string *const error = std::get_if<std::string>(&opened->result)) {
        if (opened->lacksRoom)
            noteShortage(*error);
        else
            _openingError = *error;
        return {};
    }
    _shortage.reset();
    _source = std::move(std::get<std::unique_ptr<MediaSource>>(opened->result));
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
    _queue = ModkitPtr<BlockQueue>(new BlockQueue(static_cast<int>(_decoded.size()), limits, _options.changes));
}

ModkitPtr<IInputQueue> FileFeed::queue(StreamKind kind) const
{
    if (!_options.paced)
        return _queue;
    return ModkitPtr<PacedQueue>(new PacedQueue(_queue, streamIdOf(kind)));
}

void FileFeed::start()
{
    if (_decoded.size() == 1)
        _source->keepOnly(*_decoded.begin());
    begin();
}

void FileFeed::begin()
{
    const auto error = _source->start(*_queue);
    _shortage.reset();
    if (error)
        noteShortage(*error);
}

/// It is reported once, however often it is tried.
void FileFeed::noteShortage(const std::string &error)
{
    _shortage = error;
    _triedAt = std::chrono::steady_clock::now();
    if (!std::exchange(_isShortageReported, true))
        _reports.push_back(error + "; trying again");
}

void FileFeed::retry()
{
    if (!isShort() || _opening || std::chrono::steady_clock::now() - _triedAt < retryInterval)
        return;
    if (_source)
        begin();
    else
        open();
}

void FileFeed::giveUp()
{
    if (!isShort() || _opening)
        return;
    _isGivenUp = true;
    if (_source)
        _queue->end(); // without any block
    else
        _openingError = _shortage;
    ChangeNote::set(_options.changes);
}

void FileFeed::cancel()
{
    if (_opening)
        _opening->isCancelled = true;
    if (!_source)
        return;
    if (!_queue.isNull())
        _queue->close();
    _source->requestStop();
}

void FileFeed::wait()
{
    if (_opening) {
        std::unique_lock<std::mutex> lock(_opening->mutex);
        _opening->done.wait_for(lock, openingPatience, [this] { return _opening->phase != Opening::Phase::Running; });
    }
    if (_source)
        MediaSource::joinOrLeave(_source, readingPatience);
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
        status.error = error();
        return status;
    }
    const BlockQueue::Figures figures = _queue.isNull() ? BlockQueue::Figures() : _queue->figures();
    status.state = isDrained() ? State::Ended : State::Delivering;
    status.error = error();
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
    if (_shortage)
        return _shortage;
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

std::vector<std::string> FileFeed::takeReports()
{
    return std::exchange(_reports, {});
}
