#include "sinks/SnapshotWriter.h"

#include <QString>

#include <cerrno>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "sinks/PictureConversion.h"

namespace {

/// @return @p picture with 8 bits each of red, green and blue; null when that is not possible.
AvPointer<AVFrame> toRgb(const PictureHeader &picture)
{
    AvPointer<AVFrame> target(av_frame_alloc());
    if (!target)
        return nullptr;
    target->format = AV_PIX_FMT_RGB24;
    target->width = picture.width;
    target->height = picture.height;
    target->sample_aspect_ratio = {picture.sampleAspectRatio[0], picture.sampleAspectRatio[1]};
    if (av_frame_get_buffer(target.get(), 0) < 0 || !PictureConversion::convert(picture, *target))
        return nullptr;
    return target;
}

/// @return @p frame as the contents of a PNG file; null when that is not possible.
AvPointer<AVPacket> toPng(const AVFrame &frame)
{
    const AvPointer<AVCodecContext> encoder(avcodec_alloc_context3(avcodec_find_encoder(AV_CODEC_ID_PNG)));
    AvPointer<AVPacket> packet(av_packet_alloc());
    if (!encoder || !packet)
        return nullptr;
    encoder->width = frame.width;
    encoder->height = frame.height;
    encoder->pix_fmt = AV_PIX_FMT_RGB24;
    encoder->sample_aspect_ratio = frame.sample_aspect_ratio;
    encoder->time_base = {1, 1};
    encoder->thread_count = 1;
    if (avcodec_open2(encoder.get(), nullptr, nullptr) < 0 || avcodec_send_frame(encoder.get(), &frame) < 0 ||
        avcodec_send_frame(encoder.get(), nullptr) < 0 || avcodec_receive_packet(encoder.get(), packet.get()) < 0)
        return nullptr;
    return packet;
}

} // namespace

SnapshotWriter::SnapshotWriter(OutputPlace place, std::chrono::milliseconds interval)
    : _place(std::move(place))
    , _interval(interval)
{
}

SnapshotWriter::Result SnapshotWriter::write(const PictureHeader &picture, qint64 blockTimeMs)
{
    _lacksRoom = false;
    if (!isDue(blockTimeMs))
        return quint64(0);
    const AvPointer<AVFrame> frame = toRgb(picture);
    const AvPointer<AVPacket> png = frame ? toPng(*frame) : nullptr;
    if (!png)
        return "cannot write " + target() + ": the picture cannot be converted to PNG";
    if (auto error = save(png->data, png->size))
        return *error;
    return static_cast<quint64>(png->size);
}

/// Writes the next file.
std::optional<std::string> SnapshotWriter::save(const quint8 *data, int size)
{
    OutputFile file(_place.watch);
    std::string path;
    int error = EEXIST;
    while (error == EEXIST) {
        path = _place.name(QStringLiteral("-%1.png").arg(++_fileCount, 4, 10, QLatin1Char('0')).toStdString());
        if (auto refusal = _place.refusal(path))
            return refusal;
        error = file.create(path, _place.existing);
    }
    if (error == 0)
        error = file.write(data, size);
    const int closeError = file.close();
    if (error == 0)
        error = closeError;
    _lacksRoom = error == ENOSPC || error == EDQUOT;
    if (_lacksRoom) {
        ::unlink(path.c_str());
        --_fileCount;
    }
    if (error != 0)
        return "cannot write " + path + ": " + std::generic_category().message(error);
    return std::nullopt;
}

bool SnapshotWriter::isDue(qint64 blockTimeMs)
{
    const qint64 intervalMs = _interval.count();
    const bool continues = _nextMs && blockTimeMs >= *_nextMs - 2 * intervalMs;
    if (continues && blockTimeMs < *_nextMs)
        return false;
    // On the grid of the first picture, so that the intervals do not grow by what each picture comes late.
    const qint64 lateMs = continues ? (blockTimeMs - *_nextMs) % intervalMs : 0;
    _nextMs = blockTimeMs + intervalMs - lateMs;
    return true;
}
