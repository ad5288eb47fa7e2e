#include "sources/LiveSource.h"

#include <algorithm>
#include <cerrno>
#include <random>
#include <system_error>
#include <utility>

#include "media/DescriptorLimit.h"
#include "media/ThreadTime.h"
#include "sources/Pacing.h"
#include "sources/ThreadLimit.h"

namespace {

/// A caller that is silent holds up all others; later it is given up as any source is.
InputAccess accessOf(const LiveSource::Options &options)
{
    InputAccess access = options.access;
    access.callerLimit = std::max(options.openLimit, options.stallLimit);
    return access;
}

QByteArray labelOf(const LiveSource::Options &options, const LiveUrl &url)
{
    return options.label.isEmpty() ? QByteArray::fromStdString(url.shown()) : options.label.toUtf8();
}

/// Until a device that has nothing at the moment is asked again.
constexpr std::chrono::milliseconds idleInterval{5};

/// The SRT library gives the port of a closed connection free on a thread of its own, within three seconds or so.
constexpr std::chrono::seconds portLimit{10};
constexpr std::chrono::milliseconds portInterval{50};

/// So long after its duration its thread has ended, unless it is held up by the system.
constexpr std::chrono::milliseconds overdueAfter{300};

/// So many times what an attempt in vain has computed passes until the next.
constexpr int delayByComputing = 25;

} // namespace

LiveSource::LiveSource(const std::string &url, const Options &options, const ModkitPtr<LiveQueue> &video,
                       const ModkitPtr<LiveQueue> &audio)
    : _url(url, accessOf(options))
    , _options(options)
    , _end(options.duration ? Clock::now() + *options.duration : Clock::time_point::max())
    , _queues{video, audio}
    , _backoff(options.firstRetryDelay,
               _url.isListening() || _url.isServer() ? options.firstRetryDelay : options.lastRetryDelay,
               std::random_device()())
    , _outage(options.label.isEmpty() ? _url.shown() : options.label.toStdString())
{
    begin();
}

void LiveSource::begin()
{
    try {
        _thread.start("LiveSource", [this] { run(); });
        _lacksThread = false;
    } catch (const std::system_error &error) {
        _lacksThread = true;
        noteTrouble(noThreadToRead(error));
        noteState(State::Waiting);
    }
}

void LiveSource::retry()
{
    if (!_lacksThread)
        return;
    if (!isOver()) {
        begin();
        return;
    }
    _lacksThread = false;
    endQueues();
}

LiveSource::~LiveSource()
{
    requestStop();
    join();
}

std::vector<LiveSource::Stream> LiveSource::streams() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _streams;
}

std::vector<LiveSource::Stream> LiveSource::undecodable() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _undecodable;
}

LiveSource::Status LiveSource::status() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    Status status = _status;
    status.trouble = _outage.reason();
    return status;
}

std::vector<std::string> LiveSource::takeReports()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (const auto report = _outage.remind(Clock::now(), std::chrono::system_clock::now()))
        _reports.push_back(*report);
    return std::exchange(_reports, {});
}

void LiveSource::requestStop()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _stopRequested = true;
    _stopped.notify_all();
}

void LiveSource::join()
{
    if (std::exchange(_lacksThread, false))
        endQueues();
    _thread.join();
}

void LiveSource::joinOrLeave(const std::shared_ptr<LiveSource> &source, std::chrono::milliseconds patience)
{
    if (source->_lacksThread)
        source->join();
    source->_thread.joinOrLeave(source, patience, [&source] {
        source->requestStop();
        source->noteEnd({});
        source->endQueues();
        source->_queues = {};
    });
}

bool LiveSource::isOverdue() const
{
    return _end != Clock::time_point::max() && Clock::now() - _end >= overdueAfter && status().state != State::Ended;
}

/// The source's thread.
void LiveSource::run()
{
    Break last;
    while (!isOver()) {
        last = connectAndDeliver();
        if (isOver())
            break;
        if (last.isFinal) {
            noteFailure(last.trouble);
            break;
        }
        noteTrouble(last.trouble);
        noteState(State::Waiting);
        if (last.isWaited)
            waitUntil(notAfterEnd(Clock::now() + delayAfter(last)));
    }
    noteEnd(last.trouble);
    endQueues();
}

std::chrono::nanoseconds LiveSource::delayAfter(const Break &end)
{
    return std::max<std::chrono::nanoseconds>(_backoff.next(), delayByComputing * end.computed);
}

LiveSource::Break LiveSource::connectAndDeliver()
{
    noteState(State::Connecting);
    const std::chrono::nanoseconds computedBefore = ThreadTime::now();
    Opened opened = open();
    if (const auto *const failure = std::get_if<LiveConnection::Failure>(&opened)) {
        if (!failure->undecodable.empty())
            noteUndecodable(failure->undecodable);
        return {failure->what, _url.isHopeless(failure->error, status().connections > 0), true,
                ThreadTime::now() - computedBefore};
    }
    std::unique_ptr<LiveConnection> owned = std::move(std::get<std::unique_ptr<LiveConnection>>(opened));
    LiveConnection &connection = *owned;
    noteConnection(connection);
    noteUndecodable(connection.undecodable());
    _times.beginConnection();
    const quint64 packetsBefore = status().packets;
    if (connection.isPlaylist())
        connection.setStallLimit(_options.stallLimit);
    const Clock::time_point begin = Clock::now();
    Break end = deliver(connection);
    if (_lastPacket - begin >= _options.steadyAfter)
        _backoff.reset();
    endStreams();
    _thread.atDisk([&owned] { return (owned.reset(), true); });
    if (status().packets == packetsBefore)
        end.computed = ThreadTime::now() - computedBefore;
    else if (_url.isServer())
        end.isWaited = false; // for the next caller
    return end;
}

LiveSource::Opened LiveSource::open()
{
    const LiveConnection::Wanted wanted = {_options.video && !_queues[0].isNull(),
                                           _options.audio && !_queues[1].isNull(), labelOf(_options, _url)};
    const bool hadPort = _url.isServer() && status().connections > 0;
    const Clock::time_point portEnd = notAfterEnd(Clock::now() + portLimit);
    for (;;) {
        if (!DescriptorLimit::hasRoomForInput())
            return LiveConnection::Failure{"cannot be opened: " + DescriptorLimit::text(EMFILE), AVERROR(EMFILE), {}};
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(_end - Clock::now());
        Opened opened = _thread.atDisk([&] {
            return LiveConnection::open(_url, wanted, std::min(_options.openLimit, left), _end, _stopRequested);
        });
        const auto *const failure = std::get_if<LiveConnection::Failure>(&opened);
        const bool isPortKept = hadPort && failure && failure->error == AVERROR(EADDRINUSE);
        if (!isPortKept || isOver() || Clock::now() >= portEnd)
            return opened;
        waitUntil(notAfterEnd(Clock::now() + portInterval));
    }
}

/// Delivers what comes until nothing more does.
LiveSource::Break LiveSource::deliver(LiveConnection &connection)
{
    Pacing pacing;
    _lastPacket = Clock::now();
    _describeAnew = false;
    while (!isOver()) {
        if (_describeAnew)
            return {"it has changed, and cannot be decoded as it began", false, false};
        // A playlist pauses for as long as its parts last.
        const bool mayPause = connection.isPlaylist();
        const Clock::time_point deadline = mayPause ? Clock::time_point::max() : _lastPacket + _options.stallLimit;
        const LiveConnection::Result result =
            _thread.atDisk([&] { return connection.read(notAfterEnd(deadline), _times); });
        if (!result.failure.empty())
            return {result.failure};
        if (result.hasOtherStreams)
            noteStreams(connection);
        if (result.delivery) {
            if (_url.isGenerated() || mayPause)
                waitUntil(notAfterEnd(pacing.dueAt(result.delivery->block.blockTimeMs, Clock::now())));
            if (isOver())
                break;
            append(*result.delivery);
            // A parser gives out its last frame when nothing follows it, which is no sign of life.
            if (!result.timedOut)
                _lastPacket = Clock::now();
        } else if (result.timedOut || Clock::now() >= deadline) {
            return {(mayPause ? "nothing has come for " : "no packet for ") + Outage::seconds(_options.stallLimit)};
        } else if (result.isIdle) {
            waitUntil(notAfterEnd(Clock::now() + idleInterval));
        }
    }
    return {};
}

void LiveSource::append(const LiveConnection::Delivery &delivery)
{
    const auto kind = static_cast<std::size_t>(delivery.kind);
    notePacket(delivery.packetBytes);
    if (delivery.begins)
        endStream(kind);
    _lastTimeMs[kind] = delivery.block.blockTimeMs;
    // What it refuses, the queue counts.
    _queues[kind]->append(delivery.block);
}

void LiveSource::endStreams()
{
    for (std::size_t kind = 0; kind < _queues.size(); ++kind)
        endStream(kind);
}

/// The empty block is due when the last one was, so that no decoder waits to be drained. A queue that nothing went into
/// since the last one does not take it.
void LiveSource::endStream(std::size_t kind)
{
    constexpr std::array<quint32, BlockTimes::kindCount> streamIds = {0, 8};
    if (!_queues[kind].isNull())
        _queues[kind]->append({QByteArray(), streamIds[kind], false, 0, _lastTimeMs[kind], 0});
}

void LiveSource::endQueues()
{
    for (const ModkitPtr<LiveQueue> &queue : _queues) {
        if (!queue.isNull())
            queue->end();
    }
    noteState(State::Ended);
}

/// Returns early when the source is stopped.
void LiveSource::waitUntil(Clock::time_point instant)
{
    std::unique_lock<std::mutex> lock(_mutex);
    _stopped.wait_until(lock, instant, [this] { return _stopRequested.load(std::memory_order_relaxed); });
}

bool LiveSource::isOver() const
{
    return _stopRequested.load(std::memory_order_relaxed) || Clock::now() >= _end;
}

void LiveSource::noteConnection(const LiveConnection &connection)
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        ++_status.connections;
        _status.startTimeUs = connection.startTimeUs();
    }
    noteStreams(connection);
}

void LiveSource::noteStreams(const LiveConnection &connection)
{
    std::unique_lock<std::mutex> lock(_mutex);
    for (const Stream &stream : connection.streams()) {
        const auto place = std::lower_bound(_streams.begin(), _streams.end(), stream.streamId,
                                            [](const Stream &known, quint32 id) { return known.streamId < id; });
        if (place != _streams.end() && place->streamId == stream.streamId)
            *place = stream;
        else
            _streams.insert(place, stream);
    }
    lock.unlock();
    noteChange();
}

/// A source that cannot be reached tells nothing of its streams: what is known of them stays.
void LiveSource::noteUndecodable(const std::vector<Stream> &streams)
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _undecodable = streams;
    }
    noteChange();
}

void LiveSource::noteState(State state)
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _status.state = state;
        if (state == State::Connecting)
            _outage.noteAttempt();
    }
    noteChange();
}

void LiveSource::noteTrouble(const std::string &reason)
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (const auto report = _outage.begin(reason, Clock::now()))
            _reports.push_back(*report);
    }
    noteChange();
}

/// The source ends with a trouble, which whoever sees it end reports. That it has ended is noted next.
void LiveSource::noteFailure(const std::string &reason)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _outage.begin(reason, Clock::now());
}

/// A source that is over in its first attempt has its trouble, too, but no report, which would say that it tries again.
/// @param trouble what the last attempt met.
void LiveSource::noteEnd(const std::string &trouble)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (_status.connections > 0 || !_outage.reason().empty())
        return;
    // What a stop breaks off fails in words of no use.
    const bool hasReason = !_stopRequested.load(std::memory_order_relaxed) && !trouble.empty();
    _outage.begin(hasReason ? trouble : "nothing came until the end", Clock::now());
}

void LiveSource::notePacket(qint64 bytes)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    ++_status.packets;
    _status.bytes += static_cast<quint64>(bytes);
    if (_status.state == State::Delivering)
        return;
    _status.state = State::Delivering;
    if (const auto report = _outage.end(Clock::now()))
        _reports.push_back(*report);
    noteChange();
}
