#include "sources/MediaSource.h"

#include <QFileInfo>

#include <algorithm>
#include <system_error>

#include "format/MediaBlock.h"
#include "media/FfmpegError.h"
#include "media/ShownUrl.h"
#include "sources/Outage.h"
#include "sources/ThreadLimit.h"

namespace {

using Clock = std::chrono::steady_clock;

/// Until a demuxer that has nothing at the moment is asked again.
constexpr std::chrono::milliseconds retryInterval{10};

} // namespace

MediaSource::MediaSource(const std::string &url, const Options &options)
    : _url(url)
    , _shown(ShownUrl::withoutSecrets(url))
    , _options(options)
{
}

MediaSource::~MediaSource()
{
    requestStop();
    join();
}

std::variant<std::unique_ptr<MediaSource>, std::string> MediaSource::open(const std::string &url,
                                                                          const Options &options)
{
    const std::atomic<bool> neverAbandoned(false);
    return open(url, options, neverAbandoned);
}

std::variant<std::unique_ptr<MediaSource>, std::string>
MediaSource::open(const std::string &url, const Options &options, const std::atomic<bool> &abandoned)
{
    std::unique_ptr<MediaSource> source(new MediaSource(url, options));
    if (const std::optional<std::string> error = source->openInput(&abandoned))
        return *error;

    const MediaInput &input = *source->_input;
    source->_startTimeUs = input.startTimeUs();
    const int video = input.bestStream(AVMEDIA_TYPE_VIDEO, -1);
    const int audio = input.bestStream(AVMEDIA_TYPE_AUDIO, video);
    if (options.video && video >= 0)
        source->addStream(video, StreamKind::Video);
    if (options.audio && audio >= 0)
        source->addStream(audio, StreamKind::Audio);
    source->_undecodable = undecodableOf(input, options.video, options.audio, source->label());
    if (source->_streams.empty())
        return source->_shown + ": " + input.whyNothingCanBeDecoded(options.video, options.audio);
    source->_times.emplace(input.timeMayJump());
    return source;
}

void MediaSource::keepOnly(StreamKind kind)
{
    for (std::size_t position = _streams.size(); position-- > 0;) {
        if (kindOf(_streams[position].streamId) == kind)
            continue;
        _streams.erase(_streams.begin() + static_cast<std::ptrdiff_t>(position));
        _states.erase(_states.begin() + static_cast<std::ptrdiff_t>(position));
    }
}

std::optional<std::string> MediaSource::start(BlockQueue &queue)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _queue = &queue;
    if (isStopRequested())
        queue.cutShort();
    try {
        _thread.start("FileSource", [this] { run(); });
    } catch (const std::system_error &error) {
        _queue = nullptr;
        return _shown + ": " + noThreadToRead(error);
    }
    return std::nullopt;
}

void MediaSource::requestStop()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _stopRequested = true;
    _stopped.notify_all();
    if (_queue)
        _queue->cutShort();
}

void MediaSource::join()
{
    _thread.join();
}

void MediaSource::joinOrLeave(const std::shared_ptr<MediaSource> &source, std::chrono::milliseconds patience)
{
    source->_thread.joinOrLeave(source, patience, [&source] {
        const std::lock_guard<std::mutex> lock(source->_mutex);
        source->_stopRequested = true;
        source->_queue = nullptr;
    });
}

std::optional<std::string> MediaSource::error() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _error;
}

/// @return what is wrong; nothing when the file is open.
std::optional<std::string> MediaSource::openInput(const std::atomic<bool> *abandoned)
{
    _input.reset();
    auto opened = MediaInput::open(_url, _options.access, _stopRequested, abandoned);
    if (const auto *const error = std::get_if<std::string>(&opened))
        return *error;
    _input = std::move(std::get<std::unique_ptr<MediaInput>>(opened));
    _input->setStallLimit(_options.stallLimit);
    return std::nullopt;
}

void MediaSource::addStream(int index, StreamKind kind)
{
    _streams.push_back({_input->describe(index), streamIdOf(kind), label() + ' ' + nameOf(kind), _options.number});
    _states.emplace_back();
    _states.back().parameters = packedParameters(_streams.size() - 1);
}

QByteArray MediaSource::label() const
{
    return (_options.label.isEmpty() ? QFileInfo(QString::fromStdString(ShownUrl::place(_url))).fileName()
                                     : _options.label)
        .toUtf8();
}

std::vector<MediaSource::Stream> MediaSource::undecodableOf(const MediaInput &input, bool video, bool audio,
                                                            const QByteArray &label)
{
    std::vector<Stream> streams;
    for (const StreamKind kind : streamKinds) {
        const bool isWanted = kind == StreamKind::Video ? video : audio;
        const auto stream =
            input.undecodableStream(kind == StreamKind::Video ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO);
        if (isWanted && stream)
            streams.push_back({*stream, streamIdOf(kind), label + ' ' + nameOf(kind)});
    }
    return streams;
}

QByteArray MediaSource::packedParameters(std::size_t position) const
{
    return _input->packedParameters(_streams[position].index, _streams[position].origin, _options.number);
}

/// The source's thread.
void MediaSource::run()
{
    const int repetitions = std::max(_options.repeat, 1);
    for (int repetition = 0; repetition < repetitions; ++repetition) {
        if (repetition > 0 && !reopen())
            break;
        const bool goOn = deliverFile(repetition);
        appendEnds();
        if (!goOn)
            break;
    }
    _progress = 1;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (_queue)
            _queue->end();
        _queue = nullptr;
    }
    _thread.atDisk([this] { return (_input.reset(), true); });
}

bool MediaSource::reopen()
{
    if (const std::optional<std::string> error = _thread.atDisk([this] { return openInput(); })) {
        if (!isStopRequested())
            noteError(*error);
        return false;
    }
    for (std::size_t position = 0; position < _streams.size(); ++position) {
        if (_streams[position].index >= _input->streamCount() ||
            packedParameters(position) != _states[position].parameters) {
            noteError(_shown + ": the file has changed since it was read before");
            return false;
        }
    }
    _times->beginRepetition();
    return true;
}

/// Delivers the file from its beginning to its end. @return whether another repetition makes sense.
bool MediaSource::deliverFile(int repetition)
{
    _input->select([this](int index) {
        return std::any_of(_streams.begin(), _streams.end(),
                           [index](const Stream &stream) { return stream.index == index; });
    });
    _interleaver = Interleaver(_streams.size());
    const AvPointer<AVPacket> packet(av_packet_alloc());
    const quint64 packetsBefore = packets();
    bool endsInPacket = false;
    int result = 0;
    const auto read = [&] { return _input->read(packet.get()); };
    while ((result = _thread.atDisk(read)) == 0 || result == AVERROR(EAGAIN)) {
        if (isStopRequested())
            return false;
        if (result != 0) {
            if (!waitUntil(Clock::now() + retryInterval))
                return false;
            continue;
        }
        endsInPacket = (packet->flags & AV_PKT_FLAG_CORRUPT) != 0;
        const bool delivered = deliver(*packet);
        av_packet_unref(packet.get());
        if (!delivered || isComplete())
            return false;
        noteProgress(repetition);
        noteMissingPart();
    }
    for (std::size_t position = 0; position < _streams.size(); ++position)
        _interleaver.end(position);
    if (isStopRequested() || !appendInterleaved())
        return false;
    const std::string after = ", after " + std::to_string(packets() - packetsBefore) + " packets";
    if (_input->hasStalled())
        noteError(_shown + ": nothing has come for " + Outage::seconds(_options.stallLimit) + after);
    else if (noteMissingPart())
        return false;
    else if (result != AVERROR_EOF)
        noteError(_shown + ": reading it stopped" + after + ": " + ffmpegErrorText(result));
    else if (_input->isLeftIncomplete())
        noteError(_shown + ": nothing more is added to it" + after + ", and it does not say that it is complete");
    else if (!_input->complaint().empty())
        noteError(_shown + ": the file is damaged or truncated" + after + ": " + _input->complaint());
    else if (_input->isShorterThanItsIndex())
        noteError(_shown + ": the file is truncated" + after + ": its index names more");
    else if (endsInPacket)
        noteError(_shown + ": the file ends in the middle of a packet" + after + "; is it truncated?");
    else if (packets() == packetsBefore)
        noteError(_shown + ": there are no packets in its streams");
    else
        return true;
    return false;
}

/// @return false when nothing more is to be delivered: the source is stopped, or the queue closed.
bool MediaSource::deliver(const AVPacket &packet)
{
    const auto found = std::find_if(_streams.begin(), _streams.end(),
                                    [&packet](const Stream &stream) { return stream.index == packet.stream_index; });
    if (found == _streams.end() || packet.size == 0)
        return !isStopRequested();

    const auto position = static_cast<std::size_t>(found - _streams.begin());
    const int kind = static_cast<int>(position);
    const qint64 blockTimeMs = _times->next(kind, _input->timeMs(packet), _input->durationMs(packet, *found));

    State &state = _states[position];
    state.complete = _options.duration && _times->lastSinceStartMs(kind) >= _options.duration->count();
    if (!state.complete && !_options.paced)
        return append(position, packet, blockTimeMs);
    if (state.complete)
        _interleaver.end(position);
    else
        _interleaver.add(position, blockTimeMs, packet);
    return appendInterleaved() && !isStopRequested();
}

/// Appends each packet whose turn has come, when it is due. @return as `deliver`.
bool MediaSource::appendInterleaved()
{
    while (const auto next = _interleaver.take()) {
        if (!waitUntil(_pacing.dueAt(next->blockTimeMs, Clock::now())) ||
            !append(next->position, *next->packet, next->blockTimeMs))
            return false;
    }
    return true;
}

bool MediaSource::append(std::size_t position, const AVPacket &packet, qint64 blockTimeMs)
{
    const Stream &stream = _streams[position];
    State &state = _states[position];
    const bool keyBlock =
        state.keyBlockWanted || kindOf(stream.streamId) == StreamKind::Audio || (packet.flags & AV_PKT_FLAG_KEY) != 0;
    const QByteArray data =
        keyBlock ? MediaBlock::packKeyBlock(stream.fourcc, state.parameters, packet) : MediaBlock::packBlock(packet);
    if (!_queue->append({data, stream.streamId, keyBlock, packet.pts, blockTimeMs}))
        return false;
    state.keyBlockWanted = false;
    state.lastTimeMs = blockTimeMs;
    _packets.fetch_add(1, std::memory_order_relaxed);
    _bytes.fetch_add(static_cast<quint64>(packet.size), std::memory_order_relaxed);
    return true;
}

/// Ends both streams. The empty blocks are due when the last ones were, so that no decoder waits to be drained.
void MediaSource::appendEnds()
{
    // Left behind, nobody waits for them.
    for (std::size_t position = 0; _queue && position < _streams.size(); ++position) {
        State &state = _states[position];
        if (!_queue->append({QByteArray(), _streams[position].streamId, false, 0, state.lastTimeMs}))
            return;
        state.keyBlockWanted = true;
    }
}

/// @return false when the source was stopped meanwhile.
bool MediaSource::waitUntil(Clock::time_point due)
{
    std::unique_lock<std::mutex> lock(_mutex);
    return !_stopped.wait_until(lock, due, [this] { return isStopRequested(); });
}

bool MediaSource::isComplete() const
{
    return std::all_of(_states.begin(), _states.end(), [](const State &state) { return state.complete; });
}

/// What follows a part that is missing is delivered all the same. @return whether one is.
bool MediaSource::noteMissingPart()
{
    if (_input->missingPart().empty())
        return false;
    noteError(_shown + ": a part of it is missing: " + _input->missingPart());
    return true;
}

void MediaSource::noteError(const std::string &what)
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _error = what;
    }
    ChangeNote::set(_options.changes);
}

void MediaSource::noteProgress(int repetition)
{
    double part = (repetition + _input->readPart()) / std::max(_options.repeat, 1);
    if (_options.duration) {
        const auto limitMs = static_cast<double>(std::max<qint64>(_options.duration->count(), 1));
        part = std::max(part, static_cast<double>(_times->lastSinceStartMs(0)) / limitMs);
    }
    _progress = std::clamp(part, progress(), 1.0);
}
