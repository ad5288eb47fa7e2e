#include "Clip.h"

#include "format/Fourcc.h"
#include "format/MediaBlock.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

struct FreeFormat {
    void operator()(AVFormatContext *format) const { avformat_close_input(&format); }
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};

} // namespace

std::optional<Clip> Clip::read(const QString &path, AVMediaType mediaType, const QByteArray &origin)
{
    AVFormatContext *opened = nullptr;
    if (avformat_open_input(&opened, path.toLocal8Bit().constData(), nullptr, nullptr) < 0)
        return std::nullopt;
    const std::unique_ptr<AVFormatContext, FreeFormat> format(opened);
    if (avformat_find_stream_info(format.get(), nullptr) < 0)
        return std::nullopt;
    Clip clip;
    clip.path = path;
    clip.streamIndex = av_find_best_stream(format.get(), mediaType, -1, -1, nullptr, 0);
    if (clip.streamIndex < 0)
        return std::nullopt;
    const AVStream &stream = *format->streams[clip.streamIndex];
    const auto fourcc = fourccOf(*stream.codecpar);
    if (!fourcc)
        return std::nullopt;
    clip.timeBase = stream.time_base;
    clip.parameters.reset(avcodec_parameters_alloc());
    avcodec_parameters_copy(clip.parameters.get(), stream.codecpar);
    clip.packedParameters = MediaBlock::packParameters(
        {origin, stream.time_base.num, stream.time_base.den, stream.avg_frame_rate.num, stream.avg_frame_rate.den},
        *stream.codecpar);

    const std::unique_ptr<AVPacket, FreeFormat> packet(av_packet_alloc());
    while (av_read_frame(format.get(), packet.get()) >= 0) {
        if (packet->stream_index == clip.streamIndex) {
            const bool keyBlock =
                clip.blocks.empty() || mediaType == AVMEDIA_TYPE_AUDIO || (packet->flags & AV_PKT_FLAG_KEY) != 0;
            clip.blocks.push_back({keyBlock ? MediaBlock::packKeyBlock(*fourcc, clip.packedParameters, *packet)
                                            : MediaBlock::packBlock(*packet),
                                   keyBlock});
        }
        av_packet_unref(packet.get());
    }
    return clip;
}
