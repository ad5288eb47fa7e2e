#include "sinks/PictureFileWriter.h"

#include <utility>

#include "sinks/PictureFrame.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace {

// What FFmpeg takes, too, where nothing is known of the frame rate.
constexpr int defaultFrameRate = 25;

MediaForm formOf(const PictureHeader &picture)
{
    MediaForm form;
    form.width = picture.width;
    form.height = picture.height;
    form.pixelFormat = picture.pixelFormat;
    form.sampleAspectNumerator = picture.sampleAspectRatio[0];
    form.sampleAspectDenominator = picture.sampleAspectRatio[1];
    const bool knowsRate = picture.frameRate[0] > 0 && picture.frameRate[1] > 0;
    form.frameRateNumerator = knowsRate ? picture.frameRate[0] : defaultFrameRate;
    form.frameRateDenominator = knowsRate ? picture.frameRate[1] : 1;
    form.colorRange = picture.colorRange;
    return form;
}

/// Gives @p packet the picture's bytes. @return false without memory for them.
bool pack(const AVFrame &frame, int size, AVPacket *packet)
{
    return av_new_packet(packet, size) >= 0 &&
           av_image_copy_to_buffer(packet->data, size, frame.data, frame.linesize,
                                   static_cast<AVPixelFormat>(frame.format), frame.width, frame.height, 1) >= 0;
}

} // namespace

PictureFileWriter::PictureFileWriter(const OutputPlace &place, const FileFormat &format, qint64 startTimeUs)
    : _format(format)
    , _startTimeUs(startTimeUs)
    , _files(place, format)
{
}

PictureFileWriter::Result PictureFileWriter::write(const PictureHeader &picture, qint64 /*blockTimeMs*/)
{
    const AvPointer<AVFrame> frame = frameOf(picture);
    const AvPointer<AVPacket> packet(av_packet_alloc());
    if (!frame || !packet)
        return "cannot write " + _files.name() + ": a picture's header does not describe a picture";
    const int size =
        av_image_get_buffer_size(static_cast<AVPixelFormat>(frame->format), frame->width, frame->height, 1);
    if (_format.codec == AV_CODEC_ID_WRAPPED_AVFRAME) {
        packet->data = reinterpret_cast<quint8 *>(frame.get());
        packet->size = sizeof(AVFrame);
    } else if (!pack(*frame, size, packet.get())) {
        return "cannot write " + _files.name() + ": not enough memory";
    }

    const MediaForm form = formOf(picture);
    const AVRational timeBase = {picture.timeBase[0], picture.timeBase[1]};
    packet->time_base = {form.frameRateDenominator, form.frameRateNumerator};
    if (picture.pts != AV_NOPTS_VALUE && timeBase.num > 0 && timeBase.den > 0)
        packet->pts = av_rescale_q(picture.pts - av_rescale_q(_startTimeUs, AV_TIME_BASE_Q, timeBase), timeBase,
                                   packet->time_base);
    if (auto error = _files.write(form, packet.get(), 1))
        return *error;
    return static_cast<quint64>(size);
}
