#include "sources/LiveConnection.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "format/MediaBlock.h"
#include "media/FfmpegError.h"

namespace {

/// A stream that has been silent for so long, or whose time is so far from that of another one of its kind, has given
/// way to it. Streams that go on side by side are nearer to each other.
constexpr std::chrono::milliseconds longestSilence{700};
constexpr qint64 greatestDistanceMs = 1000;

/// So much later than a part of a playlist was cut off, the packets come that this has damaged: what had come of it
/// before is read first.
constexpr std::chrono::seconds gapShowsLimit{10};

std::optional<StreamKind> kindOfMedia(AVMediaType type)
{
    switch (type) {
    case AVMEDIA_TYPE_VIDEO:
        return StreamKind::Video;
    case AVMEDIA_TYPE_AUDIO:
        return StreamKind::Audio;
    default:
        return std::nullopt;
    }
}

} // namespace

LiveConnection::LiveConnection(std::unique_ptr<MediaInput> input, const Wanted &wanted)
    : _input(std::move(input))
    , _wanted(wanted)
    , _packet(av_packet_alloc())
{
}

std::variant<std::unique_ptr<LiveConnection>, LiveConnection::Failure>
LiveConnection::open(const LiveUrl &url, const Wanted &wanted, std::chrono::milliseconds limit, Instant end,
                     const std::atomic<bool> &stopRequested)
{
    auto opened = MediaInput::openLive(url, limit, end, stopRequested);
    if (const auto *const failure = std::get_if<MediaInput::Failure>(&opened))
        return Failure{failure->what, failure->error, {}};
    std::unique_ptr<LiveConnection> connection(
        new LiveConnection(std::move(std::get<std::unique_ptr<MediaInput>>(opened)), wanted));
    MediaInput &input = *connection->_input;
    const int video = input.bestStream(AVMEDIA_TYPE_VIDEO, -1);
    const int audio = input.bestStream(AVMEDIA_TYPE_AUDIO, video);
    if (wanted.video && video >= 0)
        connection->addStream(video, StreamKind::Video);
    if (wanted.audio && audio >= 0)
        connection->addStream(audio, StreamKind::Audio);
    connection->_undecodable = MediaSource::undecodableOf(input, wanted.video, wanted.audio, wanted.label);
    if (connection->_streams.empty())
        return Failure{input.whyNothingCanBeDecoded(wanted.video, wanted.audio), 0, connection->_undecodable};
    input.select([&](int index) {
        const auto &streams = connection->_streams;
        return std::any_of(streams.begin(), streams.end(),
                           [index](const MediaSource::Stream &stream) { return stream.index == index; });
    });
    return connection;
}

void LiveConnection::addStream(int index, StreamKind kind)
{
    // Video first.
    const std::size_t position = kind == StreamKind::Video ? 0 : _streams.size();
    _streams.insert(_streams.begin() + static_cast<std::ptrdiff_t>(position), MediaSource::Stream());
    _tracks.insert(_tracks.begin() + static_cast<std::ptrdiff_t>(position), Track());
    _streams[position].streamId = streamIdOf(kind);
    _streams[position].origin = _wanted.label + ' ' + nameOf(kind);
    describe(position, index);
}

void LiveConnection::describe(std::size_t position, int index)
{
    MediaSource::Stream &stream = _streams[position];
    static_cast<StreamDescription &>(stream) = _input->describe(index);
    Track &track = _tracks[position];
    track.parameters = _input->packedParameters(index, stream.origin);
    track.codec = _input->stream(index).codecpar->codec_id;
}

LiveConnection::Result LiveConnection::read(std::chrono::steady_clock::time_point deadline, BlockTimes &times)
{
    Result result;
    _input->setDeadline(deadline);
    const int error = _input->read(_packet.get());
    if (_input->hasNoticedGap())
        noteGap();
    result.timedOut = _input->hasTimedOut();
    if (error == AVERROR(EAGAIN)) {
        result.isIdle = true;
    } else if (error == AVERROR_EOF) {
        result.failure = _input->isLeftIncomplete() ? "nothing more is added to the playlist" : "the source ended";
    } else if (error < 0 && error != AVERROR(ETIMEDOUT)) {
        result.failure = "reading it failed: " + ffmpegErrorText(error);
    }
    if (error != 0)
        return result;

    if (_packet->size > 0)
        result.hasOtherStreams = follow(std::chrono::steady_clock::now());
    const auto found = std::find_if(_streams.begin(), _streams.end(), [this](const MediaSource::Stream &stream) {
        return stream.index == _packet->stream_index;
    });
    if (found != _streams.end() && _packet->size > 0) {
        const auto position = static_cast<std::size_t>(found - _streams.begin());
        result.delivery = delivery(position, times);
        if (!showsKnownGap(_tracks[position]) && isDamaged())
            noteGap();
        // How much is missing nobody knows, nor for certain of which stream: one block, of the stream that goes on
        // first.
        result.delivery->block.lostBefore = std::exchange(_gapNoticed, false) ? 1 : 0;
    }
    av_packet_unref(_packet.get());
    return result;
}

/// Takes in the packet's stream where that is wanted. @return whether the streams are others than before.
bool LiveConnection::follow(Instant now)
{
    const int index = _packet->stream_index;
    const AVCodecParameters &parameters = *_input->stream(index).codecpar;
    const std::optional<StreamKind> kind = kindOfMedia(parameters.codec_type);
    if (!kind || !isWanted(*kind))
        return false;
    const auto found = std::find_if(_streams.begin(), _streams.end(), [kind](const MediaSource::Stream &stream) {
        return stream.streamId == streamIdOf(*kind);
    });
    const auto position = static_cast<std::size_t>(found - _streams.begin());
    const bool isKnown = found != _streams.end();
    bool isOther = false;
    if (isKnown && found->index == index)
        isOther = parameters.codec_id != _tracks[position].codec;
    else
        isOther = isKeyPacket(*kind) && (!isKnown || isReplaced(_tracks[position], now));
    isOther = isOther && _input->describe(index).obstacle.empty();
    if (isOther && isKnown) {
        describe(position, index);
        _tracks[position].begins = true;
    } else if (isOther) {
        addStream(index, *kind);
    }
    return isOther;
}

/// Whether the packet, of the same kind, comes in the place of what @p track has given.
bool LiveConnection::isReplaced(const Track &track, Instant now) const
{
    const std::optional<qint64> timeMs = _input->timeMs(*_packet);
    return now - track.at >= longestSilence ||
           (timeMs && track.timeMs && std::abs(*timeMs - *track.timeMs) >= greatestDistanceMs);
}

bool LiveConnection::isKeyPacket(StreamKind kind) const
{
    return kind == StreamKind::Audio || (_packet->flags & AV_PKT_FLAG_KEY) != 0;
}

bool LiveConnection::isDamaged() const
{
    return (_packet->flags & AV_PKT_FLAG_CORRUPT) != 0;
}

/// The packet as a block.
LiveConnection::Delivery LiveConnection::delivery(std::size_t position, BlockTimes &times)
{
    const MediaSource::Stream &stream = _streams[position];
    Track &track = _tracks[position];
    track.at = std::chrono::steady_clock::now();
    track.timeMs = _input->timeMs(*_packet);
    Delivery delivery;
    delivery.kind = static_cast<int>(kindOf(stream.streamId));
    delivery.begins = std::exchange(track.begins, false);
    delivery.packetBytes = _packet->size;
    delivery.block.streamId = stream.streamId;
    delivery.block.keyBlock = isKeyPacket(kindOf(stream.streamId));
    delivery.block.data = delivery.block.keyBlock ? MediaBlock::packKeyBlock(stream.fourcc, track.parameters, *_packet)
                                                  : MediaBlock::packBlock(*_packet);
    delivery.block.timestamp = _packet->pts;
    delivery.block.blockTimeMs = times.next(delivery.kind, track.timeMs, _input->durationMs(*_packet, stream));
    return delivery;
}

/// What one part of a playlist lacks damages packets of all streams, some of them many.
void LiveConnection::noteGap()
{
    _gapNoticed = true;
    if (!isPlaylist())
        return;
    for (Track &track : _tracks)
        track.gapShowsUntil = std::chrono::steady_clock::now() + gapShowsLimit;
}

/// Whether the packet, of @p track, is one of those in a row that show a gap which was noted.
bool LiveConnection::showsKnownGap(Track &track) const
{
    if (!isDamaged() && std::exchange(track.isInGap, false))
        track.gapShowsUntil = Instant();
    else if (isDamaged())
        track.isInGap = std::chrono::steady_clock::now() < track.gapShowsUntil;
    return track.isInGap;
}
