#include "host/sinks/DecodedClip.h"

#include <map>

#include "host/sinks/Records.h"
#include "media/AvPointers.h"
#include <gmock/gmock.h>

extern "C" {
#include <libavformat/avformat.h>
}

void DecodedClip::read(const std::string &path)
{
    AVFormatContext *input = nullptr;
    ASSERT_GE(avformat_open_input(&input, path.c_str(), nullptr, nullptr), 0) << path;
    ASSERT_GE(avformat_find_stream_info(input, nullptr), 0);
    startTimeUs = input->start_time == AV_NOPTS_VALUE ? 0 : input->start_time;

    std::map<int, AvPointer<AVCodecContext>> codecs;
    for (unsigned index = 0; index < input->nb_streams; ++index) {
        const AVStream *const stream = input->streams[index];
        AvPointer<AVCodecContext> codec(avcodec_alloc_context3(avcodec_find_decoder(stream->codecpar->codec_id)));
        avcodec_parameters_to_context(codec.get(), stream->codecpar);
        codec->pkt_timebase = stream->time_base;
        codec->thread_count = 1;
        ASSERT_GE(avcodec_open2(codec.get(), nullptr, nullptr), 0);
        codecs[stream->index] = std::move(codec);
    }

    const AvPointer<AVPacket> packet(av_packet_alloc());
    const AvPointer<AVFrame> frame(av_frame_alloc());
    const auto decode = [&](int index, const AVPacket *coded) {
        AVStream *const stream = input->streams[index];
        AVCodecContext *const codec = codecs.at(index).get();
        ASSERT_GE(avcodec_send_packet(codec, coded), 0);
        while (avcodec_receive_frame(codec, frame.get()) >= 0) {
            if (stream->sample_aspect_ratio.num != 0)
                frame->sample_aspect_ratio = stream->sample_aspect_ratio;
            if (codec->codec_type == AVMEDIA_TYPE_VIDEO)
                pictures.push_back(
                    Records::pictureOf(*frame, stream->time_base, av_guess_frame_rate(input, stream, nullptr)));
            else
                samples.push_back(Records::samplesOf(*frame, stream->time_base));
        }
    };
    while (av_read_frame(input, packet.get()) >= 0) {
        decode(packet->stream_index, packet.get());
        av_packet_unref(packet.get());
    }
    for (const auto &codec : codecs)
        decode(codec.first, nullptr);
    avformat_close_input(&input);
}
