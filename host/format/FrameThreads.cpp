#include "format/FrameThreads.h"

#include <new>
#include <utility>

FrameThreads::TimeGuess FrameThreads::TimeGuess::of(const AVCodecContext &codec)
{
    return {codec.pts_correction_num_faulty_pts, codec.pts_correction_num_faulty_dts, codec.pts_correction_last_pts,
            codec.pts_correction_last_dts};
}

void FrameThreads::TimeGuess::applyTo(AVCodecContext &codec) const
{
    codec.pts_correction_num_faulty_pts = faultyPts;
    codec.pts_correction_num_faulty_dts = faultyDts;
    codec.pts_correction_last_pts = lastPts;
    codec.pts_correction_last_dts = lastDts;
}

bool FrameThreads::canDecode(const AVCodec &decoder)
{
    const bool isKnown = decoder.id == AV_CODEC_ID_H264 || decoder.id == AV_CODEC_ID_HEVC;
    return isKnown && (decoder.capabilities & AV_CODEC_CAP_FRAME_THREADS) != 0;
}

FrameThreads::FrameThreads(int count, const AVCodecParameters &parameters, AVCodecContext &codec)
    : _complaints(codec.opaque)
    , _restartPoints(parameters)
{
    codec.thread_count = count;
    codec.thread_type = FF_THREAD_FRAME;
#if LIBAVCODEC_VERSION_MAJOR < 60
    // Memory for pictures comes from any thread; later versions take that for granted.
    AV_NOWARN_DEPRECATED(codec.thread_safe_callbacks = 1;)
#endif
}

bool FrameThreads::fits(const AVPacket &packet) const
{
    return _sent.size() < maxPackets && _sentBytes + packet.size <= maxBytes;
}

bool FrameThreads::hasRoomFor(const AVPacket &packet)
{
    if (packet.pts == AV_NOPTS_VALUE && packet.dts == AV_NOPTS_VALUE)
        return false;
    if (fits(packet))
        return true;
    if (_restartNumber > 0)
        _reorderedPictures = _restartReordered;
    while (!_sent.empty() && _sent.front().number < _restartNumber) {
        _sentBytes -= _sent.front().packet->size;
        _sent.pop_front();
    }
    _delivered.erase(_delivered.begin(), _delivered.lower_bound(_restartNumber));
    return fits(packet);
}

void FrameThreads::add(const AVPacket &packet, AVCodecContext &codec)
{
    std::unique_ptr<AVPacket, FreePacket> kept(av_packet_clone(&packet));
    if (!kept)
        throw std::bad_alloc();
    _sent.push_back({std::move(kept), ++_lastNumber, _restartPoints.isAt(packet)});
    _sentBytes += packet.size;
    codec.reordered_opaque = _lastNumber;
}

void FrameThreads::noteDelivered(const AVFrame &picture, const AVCodecContext &codec)
{
    const qint64 number = picture.reordered_opaque;
    _delivered.insert(number);
    _timeGuess = TimeGuess::of(codec);
    // With it, everything is delivered before it that is not decoded alike from there on.
    if (number > _restartNumber && _sent[static_cast<std::size_t>(number - _sent.front().number)].isRestartPoint) {
        _restartNumber = number;
        _restartReordered = codec.has_b_frames;
    }
}
