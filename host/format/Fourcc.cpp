#include "format/Fourcc.h"

#include <algorithm>
#include <array>
#include <cstdio>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

// The last character of the fourccs that stand for libavcodec's own number of a codec, in the three before it.
constexpr quint32 ownNumberMark = quint32('#') << 24;
constexpr quint32 ownNumberBits = 0xffffff;

using TagTables = std::array<const AVCodecTag *, 2>;

TagTables tagTablesFor(AVMediaType mediaType)
{
    switch (mediaType) {
    case AVMEDIA_TYPE_VIDEO:
        return {avformat_get_riff_video_tags(), avformat_get_mov_video_tags()};
    case AVMEDIA_TYPE_AUDIO:
        return {avformat_get_riff_audio_tags(), avformat_get_mov_audio_tags()};
    default:
        return {};
    }
}

/// One table at a time, since a tag may mean one codec in RIFF files and another one in MOV files.
AVCodecID codecOf(const AVCodecTag *table, quint32 fourcc)
{
    const AVCodecTag *const tables[] = {table, nullptr};
    return av_codec_get_id(tables, fourcc);
}

} // namespace

std::optional<quint32> fourccOf(const AVCodecParameters &parameters)
{
    const TagTables tables = tagTablesFor(parameters.codec_type);
    for (const AVCodecTag *const table : tables) {
        if (parameters.codec_tag != 0 && codecOf(table, parameters.codec_tag) == parameters.codec_id)
            return parameters.codec_tag;
    }
    for (const AVCodecTag *const table : tables) {
        const AVCodecTag *const single[] = {table, nullptr};
        if (const quint32 fourcc = av_codec_get_tag(single, parameters.codec_id))
            return fourcc;
    }
    if (parameters.codec_id == AV_CODEC_ID_NONE || tables.front() == nullptr)
        return std::nullopt;
    return ownNumberMark | static_cast<quint32>(parameters.codec_id);
}

bool isKnownFourcc(quint32 fourcc, AVMediaType mediaType)
{
    const auto isDecodable = [mediaType](AVCodecID codec) {
        const AVCodec *const decoder = avcodec_find_decoder(codec);
        return decoder && decoder->type == mediaType;
    };
    // In RIFF files it stands for raw pictures, but here for the lack of a fourcc.
    if (fourcc == 0)
        return false;
    const TagTables tables = tagTablesFor(mediaType);
    return std::any_of(tables.begin(), tables.end(),
                       [&](const AVCodecTag *table) { return isDecodable(codecOf(table, fourcc)); }) ||
           ((fourcc & ~ownNumberBits) == ownNumberMark && isDecodable(static_cast<AVCodecID>(fourcc & ownNumberBits)));
}

std::string fourccText(quint32 fourcc)
{
    std::string text;
    for (int shift = 0; shift < 32; shift += 8)
        text += static_cast<char>(fourcc >> shift & 0xff);
    const bool isText = std::all_of(text.begin(), text.end(), [](char each) { return each >= ' ' && each <= '~'; });
    if (isText)
        return text;
    std::array<char, 11> digits = {};
    std::snprintf(digits.data(), digits.size(), "0x%08x", fourcc);
    return digits.data();
}

std::string codecNameOf(const AVCodecParameters &parameters)
{
    if (parameters.codec_id != AV_CODEC_ID_NONE)
        return avcodec_get_name(parameters.codec_id);
    return parameters.codec_tag != 0 ? fourccText(parameters.codec_tag) : "an unknown codec";
}
