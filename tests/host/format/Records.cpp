#include "Records.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/samplefmt.h>
}

std::string pictureHash(const VideoFrameBuffer &record)
{
    const PictureHeader *const header = PictureHeader::of(record);
    if (!header || header->size != record.size)
        return "invalid";
    const std::uint8_t *planes[4] = {};
    int strides[4] = {};
    for (int plane = 0; plane < 4; ++plane) {
        planes[plane] = header->plane(plane);
        strides[plane] = header->stride[plane];
    }
    const auto format = static_cast<AVPixelFormat>(header->pixelFormat);
    const int size = av_image_get_buffer_size(format, header->width, header->height, 1);
    if (size <= 0)
        return "invalid";
    QByteArray bytes(size, Qt::Uninitialized);
    av_image_copy_to_buffer(reinterpret_cast<std::uint8_t *>(bytes.data()), size, planes, strides, format,
                            header->width, header->height, 1);
    return std::to_string(size) + ' ' + QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex().toStdString();
}

bool addSamples(const AudioSampleBuffer &record, QCryptographicHash &hash)
{
    const SamplesHeader *const header = SamplesHeader::of(record);
    if (!header)
        return false;
    const int sampleSize = av_get_bytes_per_sample(static_cast<AVSampleFormat>(header->sampleFormat));
    const int partSize = header->planeCount == 1 ? sampleSize * header->channelCount : sampleSize;
    QByteArray interleaved;
    interleaved.reserve(header->planeCount * header->planeSize);
    for (int sample = 0; sample < header->sampleCount; ++sample) {
        for (int plane = 0; plane < header->planeCount; ++plane)
            interleaved.append(reinterpret_cast<const char *>(header->plane(plane)) + sample * partSize, partSize);
    }
    hash.addData(interleaved);
    return header->planeSize == header->sampleCount * partSize;
}
