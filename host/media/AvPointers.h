#ifndef HOST_MEDIA_AVPOINTERS_H
#define HOST_MEDIA_AVPOINTERS_H

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

/// Frees what FFmpeg's libraries allocate.
struct AvDeleter {
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
    void operator()(AVFrame *frame) const { av_frame_free(&frame); }
    void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
    void operator()(SwrContext *context) const { swr_free(&context); }
    void operator()(SwsContext *context) const { sws_freeContext(context); }
};

template <class T>
using AvPointer = std::unique_ptr<T, AvDeleter>;

#endif
