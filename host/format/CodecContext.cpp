#include "format/CodecContext.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <new>
#include <utility>

#include "format/Fourcc.h"
#include "format/PictureMemory.h"
#include "media/ThreadTime.h"
#include "threads/HostThread.h"

namespace {

template <class Pointer>
Pointer orThrow(Pointer pointer)
{
    if (!pointer)
        throw std::bad_alloc();
    return pointer;
}

/// Whether @p packet is a raw picture of few bits that ends too early. libavcodec refuses other raw pictures that are
/// too short, but takes the end of these to be what the heap holds, which others may have left there.
bool isTooShort(const AVPacket &packet, const AVCodecContext &codec)
{
    const bool hasFewBits = codec.pix_fmt == AV_PIX_FMT_PAL8 || codec.pix_fmt == AV_PIX_FMT_MONOWHITE ||
                            codec.pix_fmt == AV_PIX_FMT_MONOBLACK;
    if (codec.codec_id != AV_CODEC_ID_RAWVIDEO || !hasFewBits)
        return false;
    const int defaultBits = codec.pix_fmt == AV_PIX_FMT_PAL8 ? 8 : 1;
    const qint64 bits = codec.bits_per_coded_sample > 0 ? codec.bits_per_coded_sample : defaultBits;
    return packet.size < (codec.width * bits + 7) / 8 * codec.height;
}

} // namespace

CodecContext::CodecContext(AVMediaType mediaType, std::shared_ptr<DamageCounts> damage)
    : _mediaType(mediaType)
    , _damage(std::move(damage))
    , _packet(orThrow(av_packet_alloc()))
    , _frame(orThrow(av_frame_alloc()))
{
}

void CodecContext::decode(const QByteArray &block, bool keyBlock, qint64 blockTimeMs, const Deliver &deliver) noexcept
{
    _blockTimeMs = blockTimeMs;
    if (block.isEmpty()) {
        guarded([&] { drain(deliver); });
        return;
    }
    const std::shared_ptr<DecodingPace> pace = _pace;
    const auto began = std::chrono::steady_clock::now();
    const auto before = pace ? ThreadTime::now() : std::chrono::nanoseconds(0);
    const int packets = decodePackets(block, keyBlock, blockTimeMs, deliver);
    if (pace)
        pace->note(keyBlock, packets, _threads ? std::chrono::steady_clock::now() - began : ThreadTime::now() - before);
}

/// Does @p step; counts what it throws.
template <class Step>
void CodecContext::guarded(Step step) noexcept
{
    try {
        step();
    } catch (const std::exception &failure) {
        count(DamageCounts::UndecodableBlock, failure.what());
    }
}

/// @return how many packets there were.
int CodecContext::decodePackets(const QByteArray &block, bool keyBlock, qint64 blockTimeMs,
                                const Deliver &deliver) noexcept
{
    MediaBlock::Position position;
    int packets = 0;
    bool isUnpacked = true;
    while (isUnpacked && position.offset < block.size() && !(_pace && _pace->isStopped())) {
        isUnpacked = false;
        guarded([&] {
            QByteArray parameters;
            isUnpacked = MediaBlock::unpack(block, keyBlock, _packet.get(), &parameters, &position);
            if (!isUnpacked) {
                count(DamageCounts::ForeignBlock, "cannot be unpacked");
                return;
            }
            _blockTimeMs = blockTimeMs + position.sinceBlockTimeMs;
            decodeUnpacked(keyBlock ? &parameters : nullptr, deliver);
        });
        ++packets;
    }
    return packets;
}

bool CodecContext::isDamaged(const AVFrame &frame)
{
    return frame.decode_error_flags != 0 || (frame.flags & AV_FRAME_FLAG_CORRUPT) != 0;
}

std::optional<qint64> CodecContext::milliseconds(qint64 timestamp, AVRational timeBase)
{
    if (timestamp == AV_NOPTS_VALUE)
        return std::nullopt;
    return av_rescale_q(timestamp, timeBase, AVRational{1, 1000});
}

void CodecContext::count(DamageCounts::Kind kind, const char *detail) const noexcept
{
    try {
        _damage->add({_stream.origin, _stream.source}, kind, detail);
    } catch (const std::bad_alloc &) {
        // Without memory to count in, decoding goes on uncounted.
    }
}

/// Decodes the packet. @param parameters those of a key block; null for others.
void CodecContext::decodeUnpacked(const QByteArray *parameters, const Deliver &deliver)
{
    if (parameters && *parameters != _parameters) {
        drain(deliver);
        _context = open(*parameters, &_threads);
        _parameters = *parameters;
    }
    if (_context)
        decodePacket(deliver);
    else
        count(DamageCounts::UnusableStream, "blocks are dropped until a key block brings parameters that can be used");
    av_packet_unref(_packet.get());
}

void CodecContext::drain(const Deliver &deliver)
{
    const QByteArray parameters = std::exchange(_parameters, QByteArray());
    // Closed whatever happens on the way.
    const std::unique_ptr<FrameThreads> threads = std::move(_threads);
    Context context = std::move(_context);
    if (!context)
        return;
    int result = avcodec_send_packet(context.get(), nullptr);
    if (threads) {
        result = result < 0 ? result : receiveFromThreads(*context, *threads, deliver);
        if (result == AVERROR_EOF)
            return;
        context = decodeAgain(std::move(context), *threads, parameters, deliver);
        if (!context || (_pace && _pace->isStopped()))
            return;
        result = avcodec_send_packet(context.get(), nullptr);
    }
    // An error while draining costs one frame; libavcodec itself ends the drain after too many of them.
    while (result != AVERROR_EOF && result != AVERROR(EAGAIN))
        result = receive(*context, deliver);
}

/// @param threads receives the threads that the codec decodes in, if it does; null: it must not.
CodecContext::Context CodecContext::open(const QByteArray &parameters, std::unique_ptr<FrameThreads> *threads)
{
    const std::unique_ptr<AVCodecParameters, Free> codec(orThrow(avcodec_parameters_alloc()));
    const auto stream = MediaBlock::unpackParameters(parameters, codec.get());
    if (!stream) {
        count(DamageCounts::ForeignBlock, "its parameters cannot be unpacked");
        return nullptr;
    }
    _stream = *stream;
    _pace = _damage->paceOf({_stream.origin, _stream.source});
    const AVCodec *const decoder = avcodec_find_decoder(codec->codec_id);
    if (!decoder || codec->codec_type != _mediaType || decoder->type != _mediaType || stream->timeBaseNumerator <= 0 ||
        stream->timeBaseDenominator <= 0) {
        noteCodec(QByteArray::fromStdString(codecNameOf(*codec)), 0, 0, true);
        count(DamageCounts::UnusableStream, avcodec_get_name(codec->codec_id));
        return nullptr;
    }

    Context context(orThrow(avcodec_alloc_context3(decoder)));
    int result = avcodec_parameters_to_context(context.get(), codec.get());
    context->pkt_timebase = {stream->timeBaseNumerator, stream->timeBaseDenominator};
    context->framerate = {stream->frameRateNumerator, stream->frameRateDenominator};
    context->thread_count = 1;
    if (_mediaType == AVMEDIA_TYPE_VIDEO)
        PictureMemory::use(_pictures, context.get());
    const int threadCount = threads && _pace ? _pace->codecThreads() : 1;
    const bool inThreads = threadCount > 1 && FrameThreads::canDecode(*decoder);
    if (inThreads)
        *threads = std::make_unique<FrameThreads>(threadCount, *codec, *context);
    if (result >= 0 && inThreads) {
        const HostThread::NameForOthers name("Codec");
        result = avcodec_open2(context.get(), decoder, nullptr);
    } else if (result >= 0) {
        result = avcodec_open2(context.get(), decoder, nullptr);
    }
    // The system may have refused a thread.
    if (inThreads && (result < 0 || (context->active_thread_type & FF_THREAD_FRAME) == 0)) {
        context.reset();
        threads->reset();
        return open(parameters, nullptr);
    }
    noteCodec(avcodec_get_name(codec->codec_id), context->width, context->height, result < 0);
    if (result < 0) {
        countError(DamageCounts::UnusableStream, result);
        return nullptr;
    }
    return context;
}

void CodecContext::decodePacket(const Deliver &deliver)
{
    // To libavcodec a packet without bytes is the end of the stream.
    if (_packet->size == 0)
        return;
    if (isTooShort(*_packet, *_context)) {
        count(DamageCounts::UndecodableBlock, "a raw picture is too short");
        return;
    }
    if (_threads)
        decodeInThreads(deliver);
    else
        decodeAlone(*_context, *_packet, deliver);
}

/// Decodes the packet in threads, or from now on without them.
void CodecContext::decodeInThreads(const Deliver &deliver)
{
    const bool isTaken = _threads->hasRoomFor(*_packet);
    if (isTaken) {
        _threads->add(*_packet, *_context);
        int result = avcodec_send_packet(_context.get(), _packet.get());
        result = result < 0 ? result : receiveFromThreads(*_context, *_threads, deliver);
        if (result == AVERROR(EAGAIN))
            return;
    }
    const std::unique_ptr<FrameThreads> threads = std::move(_threads);
    _context = decodeAgain(std::move(_context), *threads, _parameters, deliver);
    if (!_context)
        _parameters.clear(); // the next key block opens it
    else if (!isTaken)
        decodeAlone(*_context, *_packet, deliver);
}

/// @return AVERROR(EAGAIN) or AVERROR_EOF when all is well, and delivered.
int CodecContext::receiveFromThreads(AVCodecContext &context, FrameThreads &threads, const Deliver &deliver)
{
    while (true) {
        const int result = avcodec_receive_frame(&context, _frame.get());
        if (threads.haveFailed() || (result >= 0 && isDamaged(*_frame))) {
            av_frame_unref(_frame.get());
            return AVERROR_INVALIDDATA;
        }
        if (result < 0)
            return result;
        threads.noteDelivered(*_frame, context);
        deliverFrame(context, deliver);
    }
}

/// Decodes on the calling thread what @p inThreads has not delivered yet. @return the codec, for what follows; null
/// when it cannot be opened.
CodecContext::Context CodecContext::decodeAgain(Context inThreads, const FrameThreads &threads,
                                                const QByteArray &parameters, const Deliver &deliver)
{
    inThreads.reset();
    Context context = open(parameters, nullptr);
    if (!context)
        return nullptr;
    context->has_b_frames = std::max(context->has_b_frames, threads.reorderedPictures());
    bool isNew = false;
    const auto deliverNew = [&](const AVCodecContext &codec, const AVFrame &frame, qint64 blockTimeMs) {
        if (threads.wasDelivered(frame))
            return;
        isNew = true;
        deliver(codec, frame, blockTimeMs);
    };
    for (const FrameThreads::Sent &sent : threads.sent()) {
        if (_pace && _pace->isStopped())
            break;
        if (!isNew && threads.timeGuess())
            threads.timeGuess()->applyTo(*context);
        context->reordered_opaque = sent.number;
        guarded([&] { decodeAlone(*context, *sent.packet, std::ref(deliverNew)); });
    }
    return context;
}

void CodecContext::decodeAlone(AVCodecContext &context, const AVPacket &packet, const Deliver &deliver)
{
    const int result = avcodec_send_packet(&context, &packet);
    if (result < 0) {
        countError(DamageCounts::UndecodableBlock, result);
        return;
    }
    while (receive(context, deliver) >= 0) {
    }
}

/// @return 0 when a frame was delivered, AVERROR(EAGAIN) and AVERROR_EOF as libavcodec means them, other errors
///         counted.
int CodecContext::receive(AVCodecContext &context, const Deliver &deliver)
{
    const int result = avcodec_receive_frame(&context, _frame.get());
    if (result >= 0) {
        if (isDamaged(*_frame))
            count(DamageCounts::ConcealedDamage, context.codec->name);
        deliverFrame(context, deliver);
    } else if (result != AVERROR(EAGAIN) && result != AVERROR_EOF) {
        countError(DamageCounts::UndecodableBlock, result);
    }
    return result;
}

void CodecContext::deliverFrame(const AVCodecContext &context, const Deliver &deliver)
{
    noteCodec(_codec.name, _frame->width, _frame->height);
    deliver(context, *_frame, _blockTimeMs);
    // At once: the codec may wait for the memory.
    av_frame_unref(_frame.get());
}

void CodecContext::countError(DamageCounts::Kind kind, int error) const noexcept
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    count(kind, text);
}

/// Reports the codec of the stream where it is not what was reported before. Small enough for every picture.
void CodecContext::noteCodec(const QByteArray &name, int width, int height, bool isMissing)
{
    if (name == _codec.name && width == _codec.width && height == _codec.height && isMissing == _codec.isMissing)
        return;
    _codec = {name, width, height, isMissing};
    _damage->setCodec({_stream.origin, _stream.source}, _codec);
}
