#include "host/sinks/Records.h"

#include <cstring>
#include <new>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libavutil/samplefmt.h>
}

namespace {

constexpr int padding = 13;

struct Plane {
    const quint8 *bytes; // of the first row
    int stride;
    int rowSize;
    int rows;
};

std::vector<Plane> planesOf(const quint8 *const data[4], const int strides[4], AVPixelFormat format, int width,
                            int height)
{
    const AVPixFmtDescriptor *const description = av_pix_fmt_desc_get(format);
    const bool hasPalette = (description->flags & AV_PIX_FMT_FLAG_PAL) != 0;
    std::vector<Plane> planes;
    for (int index = 0; index < av_pix_fmt_count_planes(format); ++index) {
        const int shift = index == 1 || index == 2 ? description->log2_chroma_h : 0;
        planes.push_back(
            {data[index], strides[index], av_image_get_linesize(format, width, index), AV_CEIL_RSHIFT(height, shift)});
    }
    if (hasPalette)
        planes.push_back({data[1], AVPALETTE_SIZE, AVPALETTE_SIZE, 1});
    return planes;
}

VideoFrameHandle recordOf(const std::vector<Plane> &planes, Records::Rows rows)
{
    auto *const record = new VideoFrameBuffer;
    record->size = sizeof(PictureHeader);
    for (const Plane &plane : planes)
        record->size += static_cast<quint32>((plane.rowSize + padding) * plane.rows);
    record->data = slab::bigBlockAllocate(record->size);
    std::memset(record->data, 0xee, record->size);
    auto *const header = new (record->data) PictureHeader;

    int offset = sizeof(PictureHeader);
    for (std::size_t index = 0; index < planes.size(); ++index) {
        const Plane &plane = planes[index];
        const int stride = plane.rowSize + padding;
        const bool upsideDown = rows == Records::Rows::BottomUp && plane.rows > 1;
        header->stride[index] = upsideDown ? -stride : stride;
        header->planeOffset[index] = upsideDown ? offset + (plane.rows - 1) * stride : offset;
        quint8 *const bytes = static_cast<quint8 *>(record->data) + header->planeOffset[index];
        for (int row = 0; row < plane.rows; ++row)
            std::memcpy(bytes + row * header->stride[index], plane.bytes + row * plane.stride,
                        static_cast<std::size_t>(plane.rowSize));
        offset += stride * plane.rows;
    }
    return VideoFrameHandle(record);
}

AudioSampleHandle recordOf(const SamplesHeader &header, const quint8 *const *planes)
{
    auto *const record = new AudioSampleBuffer;
    record->data = new char[sizeof header + static_cast<std::size_t>(header.planeCount * header.planeSize)];
    auto *const own = new (record->data) SamplesHeader(header);
    own->planeOffset = sizeof header;
    for (int index = 0; index < header.planeCount; ++index)
        std::memcpy(record->data + sizeof header + index * header.planeSize, planes[index],
                    static_cast<std::size_t>(header.planeSize));
    return AudioSampleHandle(record);
}

} // namespace

VideoFrameHandle Records::picture(AVPixelFormat format, int width, int height, const QByteArray &packed, qint64 pts,
                                  Rows rows)
{
    quint8 *data[4] = {};
    int strides[4] = {};
    av_image_fill_arrays(data, strides, reinterpret_cast<const quint8 *>(packed.constData()), format, width, height, 1);
    const VideoFrameHandle record = recordOf(planesOf(data, strides, format, width, height), rows);
    PictureHeader &header = headerOf(record);
    header.pixelFormat = format;
    header.width = width;
    header.height = height;
    header.pts = pts;
    header.timeBase[0] = 1;
    header.timeBase[1] = 25;
    header.frameRate[0] = 25;
    header.frameRate[1] = 1;
    return record;
}

VideoFrameHandle Records::picture(qint64 pts)
{
    return picture(AV_PIX_FMT_GRAY8, 4, 4, QByteArray(16, 'x'), pts);
}

QByteArray Records::packedBytes(AVPixelFormat format, int width, int height, int seed)
{
    QByteArray bytes(av_image_get_buffer_size(format, width, height, 1), '\0');
    quint32 state = static_cast<quint32>(seed) * 2654435761U + 1;
    for (char &byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

AudioSampleHandle Records::samples(const std::vector<qint16> &values, int rate, int channels, qint64 pts)
{
    SamplesHeader header;
    header.sampleFormat = AV_SAMPLE_FMT_S16;
    header.sampleRate = rate;
    header.channelCount = channels;
    header.sampleCount = static_cast<qint32>(values.size()) / channels;
    header.planeCount = 1;
    header.planeSize = static_cast<qint32>(values.size() * sizeof(qint16));
    header.pts = pts;
    header.timeBase[0] = 1;
    header.timeBase[1] = rate;
    const auto *const plane = reinterpret_cast<const quint8 *>(values.data());
    return recordOf(header, &plane);
}

VideoFrameHandle Records::pictureOf(const AVFrame &frame, AVRational timeBase, AVRational frameRate)
{
    const auto format = static_cast<AVPixelFormat>(frame.format);
    const VideoFrameHandle record =
        recordOf(planesOf(frame.data, frame.linesize, format, frame.width, frame.height), Rows::TopDown);
    PictureHeader &header = headerOf(record);
    header.pixelFormat = frame.format;
    header.width = frame.width;
    header.height = frame.height;
    header.pts = frame.best_effort_timestamp;
    header.timeBase[0] = timeBase.num;
    header.timeBase[1] = timeBase.den;
    header.frameRate[0] = frameRate.num;
    header.frameRate[1] = frameRate.den;
    header.sampleAspectRatio[0] = frame.sample_aspect_ratio.num;
    header.sampleAspectRatio[1] = frame.sample_aspect_ratio.den;
    return record;
}

AudioSampleHandle Records::samplesOf(const AVFrame &frame, AVRational timeBase)
{
    const auto format = static_cast<AVSampleFormat>(frame.format);
    const bool isPlanar = av_sample_fmt_is_planar(format) != 0;
    const int channels = frame.ch_layout.nb_channels;
    SamplesHeader header;
    header.sampleFormat = frame.format;
    header.sampleRate = frame.sample_rate;
    header.channelCount = channels;
    header.channelMask = frame.ch_layout.order == AV_CHANNEL_ORDER_NATIVE ? frame.ch_layout.u.mask : 0;
    header.sampleCount = frame.nb_samples;
    header.planeCount = isPlanar ? channels : 1;
    header.planeSize = av_get_bytes_per_sample(format) * frame.nb_samples * (isPlanar ? 1 : channels);
    header.pts = frame.pts;
    header.timeBase[0] = timeBase.num;
    header.timeBase[1] = timeBase.den;
    return recordOf(header, frame.extended_data);
}

VideoFrameHandle Records::foreignPicture()
{
    auto *const record = new VideoFrameBuffer;
    record->size = sizeof(PictureHeader);
    record->data = slab::bigBlockAllocate(record->size);
    std::memset(record->data, 0, record->size);
    return VideoFrameHandle(record);
}

AudioSampleHandle Records::foreignSamples()
{
    return AudioSampleHandle(new AudioSampleBuffer);
}

PictureHeader &Records::headerOf(const VideoFrameHandle &record)
{
    return *static_cast<PictureHeader *>(record->data);
}

SamplesHeader &Records::headerOf(const AudioSampleHandle &record)
{
    return *reinterpret_cast<SamplesHeader *>(record->data);
}
