#include "sources/LiveConnection.h"

#include <algorithm>
#include <utility>

#include "format/MediaBlock.h"
#include "media/FfmpegError.h"
#include "sources/Outage.h"

namespace {

QByteArray labelOf(const LiveConnection::Wanted &wanted, const LiveUrl &url)
{
    return wanted.label.isEmpty() ? QByteArray::fromStdString(url.shown()) : wanted.label.toUtf8();
}

} // namespace

LiveConnection::LiveConnection(std::unique_ptr<MediaInput> input)
    : _input(std::move(input))
    , _packet(av_packet_alloc())
{
}

std::variant<std::unique_ptr<LiveConnection>, LiveConnection::Failure>
LiveConnection::open(const LiveUrl &url, const Wanted &wanted, std::chrono::milliseconds limit,
                     const std::atomic<bool> &stopRequested)
{
    auto opened = MediaInput::openLive(url, limit, stopRequested);
    if (const int *const error = std::get_if<int>(&opened)) {
        return Failure{*error == AVERROR(ETIMEDOUT) ? "nothing came within " + Outage::seconds(limit)
                                                    : "cannot be opened: " + ffmpegErrorText(*error),
                       {}};
    }
    std::unique_ptr<LiveConnection> connection(
        new LiveConnection(std::move(std::get<std::unique_ptr<MediaInput>>(opened))));
    MediaInput &input = *connection->_input;
    const int video = input.bestStream(AVMEDIA_TYPE_VIDEO, -1);
    const int audio = input.bestStream(AVMEDIA_TYPE_AUDIO, video);
    if (wanted.video && video >= 0)
        connection->addStream(video, StreamKind::Video, wanted, url);
    if (wanted.audio && audio >= 0)
        connection->addStream(audio, StreamKind::Audio, wanted, url);
    connection->_undecodable = MediaSource::undecodableOf(input, wanted.video, wanted.audio, labelOf(wanted, url));
    if (connection->_streams.empty())
        return Failure{input.whyNothingCanBeDecoded(wanted.video, wanted.audio), connection->_undecodable};
    input.select([&](int index) {
        const auto &streams = connection->_streams;
        return std::any_of(streams.begin(), streams.end(),
                           [index](const MediaSource::Stream &stream) { return stream.index == index; });
    });
    return connection;
}

void LiveConnection::addStream(int index, StreamKind kind, const Wanted &wanted, const LiveUrl &url)
{
    _streams.push_back({_input->describe(index), streamIdOf(kind), labelOf(wanted, url) + ' ' + nameOf(kind)});
    _parameters.push_back(_input->packedParameters(index, _streams.back().origin));
}

LiveConnection::Result LiveConnection::read(std::chrono::steady_clock::time_point deadline, BlockTimes &times)
{
    Result result;
    _input->setDeadline(deadline);
    const int error = _input->read(_packet.get());
    _gapNoticed = _gapNoticed || _input->hasNoticedGap();
    result.timedOut = _input->hasReachedDeadline();
    if (error == AVERROR(EAGAIN)) {
        result.isIdle = true;
    } else if (error == AVERROR_EOF) {
        result.failure = "the source ended";
    } else if (error < 0 && error != AVERROR(ETIMEDOUT)) {
        result.failure = "reading it failed: " + ffmpegErrorText(error);
    }
    if (error != 0)
        return result;

    const auto found = std::find_if(_streams.begin(), _streams.end(), [this](const MediaSource::Stream &stream) {
        return stream.index == _packet->stream_index;
    });
    if (found != _streams.end() && _packet->size > 0) {
        result.delivery = delivery(static_cast<std::size_t>(found - _streams.begin()), times);
        // How much is missing nobody knows, nor for certain of which stream: one block, of the stream that goes on
        // first.
        const bool isDamaged = (_packet->flags & AV_PKT_FLAG_CORRUPT) != 0;
        result.delivery->block.lostBefore = std::exchange(_gapNoticed, false) || isDamaged ? 1 : 0;
    }
    av_packet_unref(_packet.get());
    return result;
}

/// The packet as a block.
LiveConnection::Delivery LiveConnection::delivery(std::size_t position, BlockTimes &times) const
{
    const MediaSource::Stream &stream = _streams[position];
    Delivery delivery;
    delivery.kind = static_cast<int>(kindOf(stream.streamId));
    delivery.packetBytes = _packet->size;
    delivery.block.streamId = stream.streamId;
    delivery.block.keyBlock = kindOf(stream.streamId) == StreamKind::Audio || (_packet->flags & AV_PKT_FLAG_KEY) != 0;
    delivery.block.data = delivery.block.keyBlock
                              ? MediaBlock::packKeyBlock(stream.fourcc, _parameters[position], *_packet)
                              : MediaBlock::packBlock(*_packet);
    delivery.block.timestamp = _packet->pts;
    delivery.block.blockTimeMs =
        times.next(delivery.kind, _input->timeMs(*_packet), _input->durationMs(*_packet, stream));
    return delivery;
}
