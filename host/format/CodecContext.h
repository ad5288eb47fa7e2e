#ifndef HOST_FORMAT_CODECCONTEXT_H
#define HOST_FORMAT_CODECCONTEXT_H

#include <QByteArray>

#include <functional>
#include <memory>
#include <optional>

#include "format/DamageCounts.h"
#include "format/FrameThreads.h"
#include "format/MediaBlock.h"
#include "slab/BlockOwner.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

/// The codec of one stream, from its blocks to libavcodec's frames: what video and audio codec decoders share. Opened
/// at the first key block from the parameters in it, opened anew when a later key block brings others. Decodes on the
/// calling thread alone, or on as many threads of libavcodec as the stream's DecodingPace allows (see FrameThreads):
/// then pictures come out some packets later, and what comes out is the same. Reentrant; nothing here throws.
class CodecContext final {
public:
    /// Receives one decoded frame, which is valid for the call only, with the block time of the packet that it came out
    /// on. What it throws ends the packet and is counted.
    using Deliver = std::function<void(const AVCodecContext &codec, const AVFrame &frame, qint64 blockTimeMs)>;

    /// @param mediaType of the streams to be decoded: video pictures are decoded into PictureMemory.
    CodecContext(AVMediaType mediaType, std::shared_ptr<DamageCounts> damage);

    /// Decodes one block, be it a burst or not, packet by packet, and delivers every frame that is ready. What is wrong
    /// with one packet costs the others nothing. An empty block delivers what is still held back and closes the codec:
    /// the next key block opens it anew.
    void decode(const QByteArray &block, bool keyBlock, qint64 blockTimeMs, const Deliver &deliver) noexcept;

    /// Whether libavcodec says of @p frame that it is not what was coded.
    static bool isDamaged(const AVFrame &frame);
    /// @p timestamp in milliseconds; nothing when it is unknown.
    static std::optional<qint64> milliseconds(qint64 timestamp, AVRational timeBase);

    /// The stream as its container tells it, in the last key block that could be read.
    const MediaBlock::Parameters &stream() const { return _stream; }

    /// Counts damage of this stream.
    void count(DamageCounts::Kind kind, const char *detail) const noexcept;

private:
    struct Free {
        void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
        void operator()(AVCodecParameters *parameters) const { avcodec_parameters_free(&parameters); }
        void operator()(AVFrame *frame) const { av_frame_free(&frame); }
        void operator()(AVPacket *packet) const { av_packet_free(&packet); }
    };
    using Context = std::unique_ptr<AVCodecContext, Free>;

    template <class Step>
    void guarded(Step step) noexcept;
    int decodePackets(const QByteArray &block, bool keyBlock, qint64 blockTimeMs, const Deliver &deliver) noexcept;
    void decodeUnpacked(const QByteArray *parameters, const Deliver &deliver);
    void drain(const Deliver &deliver);
    Context open(const QByteArray &parameters, std::unique_ptr<FrameThreads> *threads);
    void decodePacket(const Deliver &deliver);
    void decodeInThreads(const Deliver &deliver);
    int receiveFromThreads(AVCodecContext &context, FrameThreads &threads, const Deliver &deliver);
    Context decodeAgain(Context inThreads, const FrameThreads &threads, const QByteArray &parameters,
                        const Deliver &deliver);
    void decodeAlone(AVCodecContext &context, const AVPacket &packet, const Deliver &deliver);
    int receive(AVCodecContext &context, const Deliver &deliver);
    void deliverFrame(const AVCodecContext &context, const Deliver &deliver);
    void countError(DamageCounts::Kind kind, int error) const noexcept;
    void noteCodec(const QByteArray &name, int width, int height, bool isMissing = false);

    // Constant after construction.
    const AVMediaType _mediaType;
    const std::shared_ptr<DamageCounts> _damage;
    const std::unique_ptr<AVPacket, Free> _packet;
    const std::unique_ptr<AVFrame, Free> _frame;

    MediaBlock::Parameters _stream{"stream without a name"};
    /// Those of the last key block, also when the codec could not be opened with them.
    QByteArray _parameters;
    /// The memory of its pictures. Outlives the codec.
    slab::BlockOwner _pictures;
    /// Of the stream; null while nobody watches it.
    std::shared_ptr<DecodingPace> _pace;
    /// Of the packet that is being decoded.
    qint64 _blockTimeMs = 0;
    /// Null while the codec decodes on the calling thread alone. Outlives the codec.
    std::unique_ptr<FrameThreads> _threads;
    /// Null before the first key block, after the end of the stream, and while the stream cannot be decoded.
    Context _context;
    /// What it reported last of the stream's codec.
    DamageCounts::Codec _codec;
};

#endif
