#include "sources/StreamSearch.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
}

namespace {

/// What libavformat opens the decoders with that it looks at the streams by.
class DecoderOptions final {
public:
    explicit DecoderOptions(unsigned int streams)
        : _ofStreams(streams)
    {
    }
    ~DecoderOptions()
    {
        for (AVDictionary *&options : _ofStreams)
            av_dict_free(&options);
    }
    DecoderOptions(const DecoderOptions &) = delete;
    DecoderOptions &operator=(const DecoderOptions &) = delete;

    void set(unsigned int stream, const char *name, const char *value)
    {
        av_dict_set(&_ofStreams[stream], name, value, 0);
    }
    AVDictionary **data() { return _ofStreams.data(); }

private:
    std::vector<AVDictionary *> _ofStreams;
};

struct FreeCodecContext {
    void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
};

/// Whether the index gives each packet of @p stream a duration, so that none is made of the codec's frame rate.
bool hasAllDurations(AVStream *stream)
{
    const int count = avformat_index_get_entries_count(stream);
    const AVIndexEntry *const first = avformat_index_get_entry(stream, 0);
    const AVIndexEntry *last = first;
    for (int place = 1; place < count; ++place) {
        const AVIndexEntry *const entry = avformat_index_get_entry(stream, place);
        if (entry->timestamp <= last->timestamp)
            return false;
        last = entry;
    }
    return first && stream->duration > last->timestamp - first->timestamp;
}

/// @return the format of 8 bits a sample, 4:2:0, that the configuration record promises; none where it does not.
AVPixelFormat promisedFormat(const AVCodecParameters &codec)
{
    constexpr int shortestRecord = 7;
    if (codec.extradata_size < shortestRecord || codec.extradata[0] != 1)
        return AV_PIX_FMT_NONE;
    const int profile = codec.extradata[1];
    const bool isH264 =
        codec.codec_id == AV_CODEC_ID_H264 &&
        (profile == FF_PROFILE_H264_BASELINE || profile == FF_PROFILE_H264_MAIN || profile == FF_PROFILE_H264_HIGH);
    const bool isHevc = codec.codec_id == AV_CODEC_ID_HEVC && (profile & 0x1f) == FF_PROFILE_HEVC_MAIN;
    return isH264 || isHevc ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_NONE;
}

/// Of HEVC, whose parser tells nothing of it: whether a decoder finds pictures of this format and size in the header.
bool isConfirmedByDecoder(const AVCodecParameters &codec, AVPixelFormat format)
{
    const AVCodec *const decoder = avcodec_find_decoder(codec.codec_id);
    const std::unique_ptr<AVCodecContext, FreeCodecContext> context(decoder ? avcodec_alloc_context3(decoder)
                                                                            : nullptr);
    if (!context || avcodec_parameters_to_context(context.get(), &codec) < 0)
        return false;
    context->thread_count = 1;
    context->width = context->height = 0;
    return avcodec_open2(context.get(), decoder, nullptr) >= 0 && context->width == codec.width &&
           context->height == codec.height && context->pix_fmt == format;
}

/// Sets what the header tells of @p stream. @return whether that is all.
bool isToldByHeader(AVStream *stream)
{
    AVCodecParameters &codec = *stream->codecpar;
    const AVPixelFormat format = promisedFormat(codec);
    if (codec.codec_type != AVMEDIA_TYPE_VIDEO || format == AV_PIX_FMT_NONE || codec.width <= 0 || codec.height <= 0 ||
        !hasAllDurations(stream))
        return false;
    // How many pictures a decoder must hold back to put them in order, an MP4 file tells by their times, if it does.
    if (codec.codec_id == AV_CODEC_ID_H264 && codec.video_delay == 0 && codec.extradata[1] != FF_PROFILE_H264_BASELINE)
        return false;
    if (codec.codec_id == AV_CODEC_ID_HEVC && !isConfirmedByDecoder(codec, format))
        return false;
    codec.format = format;
    return true;
}

/// Whether the stream is what its header tells. Where the rates differ, libavformat would ask the decoder for a third.
bool isAsTold(AVStream *stream)
{
    const AVCodecParameters &codec = *stream->codecpar;
    const double average = av_q2d(stream->avg_frame_rate);
    const double exact = av_q2d(stream->r_frame_rate);
    if (!(average > 0 && exact > 0 && std::fabs(1 - average / exact) <= 0.1))
        return false;
    if (codec.codec_id == AV_CODEC_ID_HEVC)
        return true;
    const AVCodecParserContext *const parser = av_stream_get_parser(stream);
    return parser && parser->width == codec.width && parser->height == codec.height && parser->format == codec.format;
}

} // namespace

int StreamSearch::run(AVFormatContext &context)
{
    const bool isMp4 = std::strncmp(context.iformat->name, "mov,mp4", 7) == 0;
    DecoderOptions options(context.nb_streams);
    std::vector<AVStream *> told;
    for (unsigned int index = 0; index < context.nb_streams; ++index) {
        if (_trustsHeader && isMp4 && isToldByHeader(context.streams[index])) {
            options.set(index, "skip_frame", "all");
            told.push_back(context.streams[index]);
        } else {
            options.set(index, "skip_loop_filter", "all");
        }
    }
    const int result = avformat_find_stream_info(&context, options.data());
    for (AVStream *const stream : told)
        _wasMisled = _wasMisled || !isAsTold(stream);
    return result;
}
