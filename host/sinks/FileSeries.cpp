#include "sinks/FileSeries.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include "media/FfmpegError.h"

extern "C" {
#include <libavcodec/packet.h>
#include <libavutil/avutil.h>
#include <libavutil/mathematics.h>
}

namespace {

// Further back, a time stamp cannot be meant to be among those before it.
constexpr qint64 maxDisorderMs = 500;

} // namespace

FileSeries::FileSeries(OutputPlace place, const FileFormat &format)
    : _place(std::move(place))
    , _format(format)
{
}

std::optional<std::string> FileSeries::create()
{
    if (auto error = _place.createDirectory())
        return error;
    std::string name = this->name();
    if (_place.isStandardOutput && _fileCount > 0)
        return "cannot write to " + name + " any more: another form of the stream would need a second file";
    auto file = std::make_unique<OutputFile>(_place.watch);
    int error = EEXIST;
    while (error == EEXIST) {
        ++_fileCount;
        // Not "-2", which tells inputs of one stem apart.
        const std::string part = _fileCount == 1 ? "" : ".part" + std::to_string(_fileCount);
        name = _place.name(part + _format.suffix);
        if (auto refusal = _place.refusal(name))
            return refusal;
        error = _place.isStandardOutput ? file->openStandardOutput() : file->create(name, _place.existing);
    }
    if (error != 0)
        return "cannot create " + name + ": " + ffmpegErrorText(AVERROR(error));
    _file.emplace(name, _format, std::move(file));
    return _file->open();
}

std::optional<std::string> FileSeries::write(const MediaForm &form, AVPacket *packet, qint64 duration)
{
    if (auto error = prepare(form, packet->size))
        return error;
    packet->pts = packet->dts = timestampOf(*packet, duration);
    packet->flags |= AV_PKT_FLAG_KEY;
    packet->stream_index = 0;
    return _file->write(packet);
}

/// Sees to it that a packet of @p form and @p size can be written.
std::optional<std::string> FileSeries::prepare(const MediaForm &form, qint64 size)
{
    if (_file->hasBegun() && (_format.anyForm || form == _form) && !_file->isFullFor(size))
        return std::nullopt;
    if (_file->hasBegun()) {
        auto error = _file->finish();
        _file.reset(); // It is complete, also where none can follow.
        if (!error)
            error = create();
        if (error)
            return error;
        _last.reset();
        _next = _shift = 0;
    }
    _form = form;
    return _file->begin(form);
}

/// @param timestamp of the next packet, as it would be in the file. @return whether another count of time has begun.
bool FileSeries::beginsAnew(qint64 timestamp)
{
    const bool wasRaised = std::exchange(_raised, false);
    if (_broken)
        return _last && timestamp <= *_last;
    if (!_last || timestamp >= *_last)
        return false;
    _raised = !wasRaised && *_last - timestamp <= av_rescale_q(maxDisorderMs, {1, 1000}, _file->timeBase());
    return !_raised;
}

/// @return the time stamp that @p packet gets in the file.
qint64 FileSeries::timestampOf(const AVPacket &packet, qint64 duration)
{
    qint64 timestamp = _next;
    if (packet.pts != AV_NOPTS_VALUE) {
        timestamp = av_rescale_q(packet.pts, packet.time_base, _file->timeBase()) + _shift;
        if (beginsAnew(timestamp)) {
            _shift += _next - timestamp;
            timestamp = _next;
        }
    }
    _broken = false;
    if (_last)
        timestamp = std::max(timestamp, _file->leastAfter(*_last));
    _last = timestamp;
    _next = timestamp + av_rescale_q(duration, packet.time_base, _file->timeBase());
    return timestamp;
}

std::optional<std::string> FileSeries::finish()
{
    return _file ? _file->finish() : std::nullopt;
}
