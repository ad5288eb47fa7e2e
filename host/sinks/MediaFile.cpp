#include "sinks/MediaFile.h"

#include <cerrno>
#include <cstdio>
#include <unistd.h>
#include <utility>

#include "media/FfmpegError.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

void describe(const MediaForm &form, const FileFormat &format, AVStream *stream)
{
    AVCodecParameters *const codec = stream->codecpar;
    codec->codec_id = static_cast<AVCodecID>(format.codec);
    if (form.width != 0) {
        codec->codec_type = AVMEDIA_TYPE_VIDEO;
        codec->format = form.pixelFormat;
        codec->width = form.width;
        codec->height = form.height;
        codec->color_range = static_cast<AVColorRange>(form.colorRange);
        codec->sample_aspect_ratio = {form.sampleAspectNumerator, form.sampleAspectDenominator};
        stream->sample_aspect_ratio = codec->sample_aspect_ratio;
        stream->avg_frame_rate = {form.frameRateNumerator, form.frameRateDenominator};
        stream->time_base = av_inv_q(stream->avg_frame_rate);
        return;
    }
    codec->codec_type = AVMEDIA_TYPE_AUDIO;
    codec->format = AV_SAMPLE_FMT_S16;
    codec->sample_rate = form.sampleRate;
    if (form.channelMask == 0 || av_channel_layout_from_mask(&codec->ch_layout, form.channelMask) < 0)
        av_channel_layout_default(&codec->ch_layout, form.channelCount);
    codec->bits_per_coded_sample = 16;
    codec->block_align = 2 * form.channelCount;
    codec->bit_rate = qint64(codec->block_align) * 8 * form.sampleRate;
    stream->time_base = {1, form.sampleRate};
}

bool isWantOfRoom(int code)
{
    return code == AVERROR(ENOSPC) || code == AVERROR(EDQUOT);
}

} // namespace

MediaFile::MediaFile(std::string path, const FileFormat &format)
    : _path(std::move(path))
    , _format(format)
{
}

MediaFile::~MediaFile()
{
    close();
}

std::optional<std::string> MediaFile::create()
{
    const std::string url = "file:" + _path;
    int code = avformat_alloc_output_context2(&_context, nullptr, _format.muxer, url.c_str());
    if (code >= 0)
        code = avio_open(&_context->pb, url.c_str(), AVIO_FLAG_WRITE);
    return unlessGood(code, "cannot create");
}

std::optional<std::string> MediaFile::begin(const MediaForm &form)
{
    AVStream *const stream = avformat_new_stream(_context, nullptr);
    if (!stream)
        return unlessGood(AVERROR(ENOMEM));
    describe(form, _format, stream);
    // No names of libraries in the files, and y4m with more than 8 bits, which is not in that format's first
    // definition.
    _context->flags |= AVFMT_FLAG_BITEXACT;
    _context->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;
    const int code = flush(avformat_write_header(_context, nullptr));
    _begun = code >= 0;
    _lacksRoom = isWantOfRoom(code);
    // What the muxer of y4m says of pictures that its files cannot hold. Nothing was written yet that could fail.
    if (code == AVERROR(EIO) && _context->pb->error == 0)
        return "cannot write " + form.text() + " to " + _path + ": such a file cannot hold that";
    return _lacksRoom ? unlessGood(code) : unlessGood(code, "cannot write " + form.text() + " to");
}

std::optional<std::string> MediaFile::write(AVPacket *packet)
{
    const qint64 size = avio_tell(_context->pb);
    const int code = flush(av_write_frame(_context, packet));
    _lacksRoom = isWantOfRoom(code);
    if (_lacksRoom)
        takeBack(size);
    return unlessGood(code);
}

/// @return @p code, or what kept the bytes from the system.
int MediaFile::flush(int code)
{
    if (code < 0)
        return code;
    avio_flush(_context->pb);
    return _context->pb->error;
}

/// Leaves in the file only its first @p size bytes.
void MediaFile::takeBack(qint64 size)
{
    // In this order: with the error, what is left in the buffer is dropped.
    avio_seek(_context->pb, size, SEEK_SET);
    _context->pb->error = 0;
    // Where that is not possible, the next packet is written over it.
    static_cast<void>(truncate(_path.c_str(), size));
}

void MediaFile::recreate()
{
    close();
    // It was there a moment ago; where it cannot be, writing fails for good.
    _lacksRoom = !create();
}

std::optional<std::string> MediaFile::finish()
{
    const int trailerCode = _begun ? av_write_trailer(_context) : 0;
    const int closeCode = close();
    _lacksRoom = false;
    return unlessGood(trailerCode < 0 ? trailerCode : closeCode);
}

AVRational MediaFile::timeBase() const
{
    return _context->streams[0]->time_base;
}

qint64 MediaFile::leastAfter(qint64 last) const
{
    return _context->oformat->flags & AVFMT_TS_NONSTRICT ? last : last + 1;
}

std::optional<std::string> MediaFile::unlessGood(int code, const std::string &what) const
{
    if (code >= 0)
        return std::nullopt;
    return what + " " + _path + ": " + ffmpegErrorText(code);
}

int MediaFile::close()
{
    if (!_context)
        return 0;
    const int code = avio_closep(&_context->pb);
    avformat_free_context(_context);
    _context = nullptr;
    return code;
}
