#include "sinks/MediaFile.h"

#include <cerrno>
#include <cstdint>
#include <utility>

#include "media/FfmpegError.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

// As libavformat has them.
constexpr int diskBufferSize = 256 << 10;
constexpr int pipeBufferSize = 32 << 10;

// Seldom enough to cost nothing.
constexpr std::chrono::milliseconds flushInterval(200);

int writeFile(void *file, quint8 *data, int size)
{
    const int error = static_cast<OutputFile *>(file)->write(data, size);
    return error == 0 ? size : AVERROR(error);
}

std::int64_t seekFile(void *file, std::int64_t offset, int whence)
{
    if (whence == AVSEEK_SIZE)
        return AVERROR(ENOSYS);
    return static_cast<OutputFile *>(file)->seek(offset, whence & ~AVSEEK_FORCE);
}

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

} // namespace

MediaFile::MediaFile(std::string name, const FileFormat &format, std::unique_ptr<OutputFile> file)
    : _name(std::move(name))
    , _format(format)
    , _file(std::move(file))
{
}

MediaFile::~MediaFile()
{
    close();
}

std::optional<std::string> MediaFile::open()
{
    const int code = avformat_alloc_output_context2(&_context, nullptr, _format.muxer, nullptr);
    if (code < 0)
        return unlessGood(code);
    _context->flags |= AVFMT_FLAG_CUSTOM_IO;
    _context->pb = makeBuffer();
    return unlessGood(_context->pb ? 0 : AVERROR(ENOMEM));
}

/// @return what the muxer writes to; null without memory for it.
AVIOContext *MediaFile::makeBuffer()
{
    const int size = _file->isSeekable() ? diskBufferSize : pipeBufferSize;
    auto *const memory = static_cast<quint8 *>(av_malloc(static_cast<std::size_t>(size)));
    if (!memory)
        return nullptr;
    AVIOContext *const buffer =
        avio_alloc_context(memory, size, 1, _file.get(), nullptr, writeFile, _file->isSeekable() ? seekFile : nullptr);
    if (!buffer)
        av_free(memory);
    else if (_file->isSeekable())
        buffer->min_packet_size =
            size; // Each write of a disk is to be worth it; a pipe's reader waits for each packet.
    return buffer;
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
    _unsafe = 1;
    const int code = flush(avformat_write_header(_context, nullptr));
    _begun = code >= 0;
    _leftOut = takeBack(code);
    if (_leftOut > 0) {
        closeMuxer();
        if (auto error = open()) {
            _leftOut = 0;
            return error;
        }
        return unlessGood(code);
    }
    // What the muxer of y4m says of pictures that its files cannot hold. Nothing was written yet that could fail.
    if (code == AVERROR(EIO) && _context->pb->error == 0)
        return "cannot write " + form.text() + " to " + _name + ": such a file cannot hold that";
    return unlessGood(code, "cannot write " + form.text() + " to");
}

std::optional<std::string> MediaFile::write(AVPacket *packet)
{
    ++_unsafe;
    int code = av_write_frame(_context, packet);
    if (_leftOut > 0 || std::chrono::steady_clock::now() - _flushedAt >= flushInterval)
        code = flush(code);
    _leftOut = takeBack(code);
    return unlessGood(code);
}

/// Has the disk take what is buffered. @return @p code, or what the disk has against it.
int MediaFile::flush(int code)
{
    if (code < 0 || !_file->isSeekable())
        return code;
    avio_flush(_context->pb);
    if (_context->pb->error < 0)
        return _context->pb->error;
    _safeSize = avio_tell(_context->pb);
    _unsafe = 0;
    _flushedAt = std::chrono::steady_clock::now();
    return code;
}

/// After a failure for want of room, leaves in the file what was there for certain. @return how many packets that
/// costs; 0 when @p code is another failure, or none.
quint64 MediaFile::takeBack(int code)
{
    if ((code != AVERROR(ENOSPC) && code != AVERROR(EDQUOT)) || !_file->isSeekable())
        return 0;
    // With the error, what is left in the buffer is dropped.
    avio_seek(_context->pb, _safeSize, SEEK_SET);
    _context->pb->error = 0;
    return _file->cut(_safeSize) == 0 ? std::exchange(_unsafe, 0) : 0;
}

std::optional<std::string> MediaFile::finish()
{
    int code = _begun ? flush(0) : 0;
    _leftOut = takeBack(code);
    // The trailer is that of what is in the file, whatever was taken back.
    const int trailerCode = _begun ? av_write_trailer(_context) : 0;
    code = code < 0 ? code : trailerCode;
    const int closeCode = close();
    return unlessGood(code < 0 ? code : closeCode);
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
    return what + " " + _name + ": " + (code == AVERROR(EPIPE) ? "its reader has closed it" : ffmpegErrorText(code));
}

bool MediaFile::isFullFor(qint64 size) const
{
    return _format.maxBytes > 0 && avio_tell(_context->pb) + size > _format.maxBytes;
}

int MediaFile::close()
{
    const int code = closeMuxer();
    const int closeCode = AVERROR(_file->close());
    return code < 0 ? code : closeCode;
}

int MediaFile::closeMuxer()
{
    int code = 0;
    if (_context && _context->pb) {
        avio_flush(_context->pb);
        code = _context->pb->error;
        av_freep(&_context->pb->buffer);
        avio_context_free(&_context->pb);
    }
    avformat_free_context(_context);
    _context = nullptr;
    return code;
}
