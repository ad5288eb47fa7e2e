#include "sources/MediaStreams.h"

#include "format/Fourcc.h"
#include "format/MediaBlock.h"

namespace {

std::string obstacleOf(const AVCodecParameters &parameters, quint32 fourcc)
{
    const bool wanted = parameters.codec_type == AVMEDIA_TYPE_VIDEO || parameters.codec_type == AVMEDIA_TYPE_AUDIO;
    if (!wanted)
        return "neither video nor audio";
    if (parameters.codec_id == AV_CODEC_ID_NONE)
        return "unknown codec";
    if (!avcodec_find_decoder(parameters.codec_id))
        return "no decoder for this codec";
    if (fourcc == 0 || !isKnownFourcc(fourcc, parameters.codec_type))
        return "the codec has no fourcc";
    return std::string();
}

} // namespace

std::chrono::milliseconds MediaStreams::duration() const
{
    return std::chrono::milliseconds(_context->duration == AV_NOPTS_VALUE ? -1 : _context->duration / 1000);
}

StreamDescription MediaStreams::describe(int index) const
{
    const AVCodecParameters &parameters = *stream(index).codecpar;
    const char *const kind = av_get_media_type_string(parameters.codec_type);
    const AVRational rate = frameRate(index);
    StreamDescription description;
    description.index = index;
    description.kind = kind ? kind : "unknown";
    description.codec = avcodec_get_name(parameters.codec_id);
    description.fourcc = fourccOf(parameters).value_or(0);
    description.width = parameters.width;
    description.height = parameters.height;
    description.frameRateNumerator = rate.num;
    description.frameRateDenominator = rate.den;
    description.sampleRate = parameters.sample_rate;
    description.channels = parameters.ch_layout.nb_channels;
    description.obstacle = obstacleOf(parameters, description.fourcc);
    const bool isMedia = parameters.codec_type == AVMEDIA_TYPE_VIDEO || parameters.codec_type == AVMEDIA_TYPE_AUDIO;
    if (isMedia && !description.obstacle.empty())
        description.missingCodec = codecNameOf(parameters);
    return description;
}

AVRational MediaStreams::frameRate(int index) const
{
    AVStream *const itsStream = _context->streams[index];
    if (itsStream->codecpar->codec_type != AVMEDIA_TYPE_VIDEO)
        return {0, 1};
    const AVRational rate = av_guess_frame_rate(_context, itsStream, nullptr);
    return rate.num > 0 && rate.den > 0 ? rate : AVRational{0, 1};
}

QByteArray MediaStreams::packedParameters(int index, const QByteArray &origin, quint32 source) const
{
    const AVStream &itsStream = stream(index);
    const AVRational rate = frameRate(index);
    return MediaBlock::packParameters({origin, itsStream.time_base.num, itsStream.time_base.den, rate.num, rate.den,
                                       itsStream.sample_aspect_ratio.num, itsStream.sample_aspect_ratio.den, source},
                                      *itsStream.codecpar);
}

std::optional<qint64> MediaStreams::timeMs(const AVPacket &packet) const
{
    const qint64 time = packet.dts != AV_NOPTS_VALUE ? packet.dts : packet.pts;
    if (time == AV_NOPTS_VALUE)
        return std::nullopt;
    return av_rescale_q(time, stream(packet.stream_index).time_base, {1, 1000});
}

qint64 MediaStreams::durationMs(const AVPacket &packet, const StreamDescription &description) const
{
    if (packet.duration > 0)
        return av_rescale_q(packet.duration, stream(packet.stream_index).time_base, {1, 1000});
    const int rate = description.frameRateNumerator;
    return rate > 0 ? 1000LL * description.frameRateDenominator / rate : 0;
}

int MediaStreams::bestStream(AVMediaType type, int relatedIndex) const
{
    const AVCodec *decoder = nullptr;
    const int best = av_find_best_stream(_context, type, -1, relatedIndex, &decoder, 0);
    return best >= 0 && describe(best).obstacle.empty() ? best : decodableStream(type);
}

std::optional<StreamDescription> MediaStreams::undecodableStream(AVMediaType type) const
{
    if (decodableStream(type) >= 0)
        return std::nullopt;
    for (int index = 0; index < streamCount(); ++index) {
        if (stream(index).codecpar->codec_type == type)
            return describe(index);
    }
    return std::nullopt;
}

std::string MediaStreams::whyNothingCanBeDecoded(bool videoWanted, bool audioWanted) const
{
    const char *const asked = !audioWanted ? "video" : !videoWanted ? "audio" : "video or audio";
    std::string what = std::string("no ") + asked + " stream in it can be decoded";
    for (int index = 0; index < streamCount(); ++index) {
        const StreamDescription description = describe(index);
        if (!description.obstacle.empty())
            what += "; stream " + std::to_string(index) + " (" + description.codec + "): " + description.obstacle;
    }
    return what;
}

int MediaStreams::decodableStream(AVMediaType type) const
{
    for (int index = 0; index < streamCount(); ++index) {
        if (stream(index).codecpar->codec_type == type && describe(index).obstacle.empty())
            return index;
    }
    return -1;
}

bool MediaStreams::isShorterThanItsIndex() const
{
    const qint64 size = _context->pb ? avio_size(_context->pb) : -1;
    for (int index = 0; size >= 0 && index < streamCount(); ++index) {
        AVStream *const itsStream = _context->streams[index];
        const int entries = itsStream->discard == AVDISCARD_ALL ? 0 : avformat_index_get_entries_count(itsStream);
        for (int position = 0; position < entries; ++position) {
            const AVIndexEntry *const entry = avformat_index_get_entry(itsStream, position);
            if (entry && entry->pos + entry->size > size)
                return true;
        }
    }
    return false;
}
