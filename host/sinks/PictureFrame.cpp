#include "sinks/PictureFrame.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

AvPointer<AVFrame> frameOf(const PictureHeader &picture)
{
    const auto pixelFormat = static_cast<AVPixelFormat>(picture.pixelFormat);
    const AVPixFmtDescriptor *const description = av_pix_fmt_desc_get(pixelFormat);
    if (!description || description->flags & AV_PIX_FMT_FLAG_HWACCEL ||
        av_image_get_buffer_size(pixelFormat, picture.width, picture.height, 1) <= 0)
        return nullptr;
    const int planeCount = description->flags & AV_PIX_FMT_FLAG_PAL ? 2 : av_pix_fmt_count_planes(pixelFormat);

    AvPointer<AVFrame> frame(av_frame_alloc());
    if (!frame)
        return nullptr;
    for (int plane = 0; plane < planeCount; ++plane) {
        frame->data[plane] = const_cast<quint8 *>(picture.plane(plane));
        frame->linesize[plane] = picture.stride[plane];
        if (!frame->data[plane])
            return nullptr;
    }
    frame->format = picture.pixelFormat;
    frame->width = picture.width;
    frame->height = picture.height;
    return frame;
}
