#include "sinks/FileSeries.h"

#include <algorithm>
#include <utility>

extern "C" {
#include <libavcodec/packet.h>
#include <libavutil/avutil.h>
#include <libavutil/mathematics.h>
}

FileSeries::FileSeries(OutputPlace place, const FileFormat &format)
    : _place(std::move(place))
    , _format(format)
{
}

std::optional<std::string> FileSeries::create()
{
    ++_fileCount;
    // Not "-2", which tells inputs of one stem apart.
    const std::string part = _fileCount == 1 ? "" : ".part" + std::to_string(_fileCount);
    const std::string path = _place.base + part + _format.suffix;
    if (auto refusal = _place.refusal(path))
        return refusal;
    _file.emplace(path, _format);
    return _file->create();
}

std::optional<std::string> FileSeries::write(const MediaForm &form, AVPacket *packet, qint64 duration)
{
    auto error = tryToWrite(form, packet, duration);
    _lacksRoom = error && _file->lacksRoom();
    return error;
}

std::optional<std::string> FileSeries::tryToWrite(const MediaForm &form, AVPacket *packet, qint64 duration)
{
    if (auto error = prepare(form))
        return error;
    packet->pts = packet->dts = timestampOf(*packet, duration);
    packet->flags |= AV_PKT_FLAG_KEY;
    packet->stream_index = 0;
    return _file->write(packet);
}

/// Sees to it that packets of @p form can be written.
std::optional<std::string> FileSeries::prepare(const MediaForm &form)
{
    if (_file->hasBegun() && (_format.anyForm || form == _form))
        return std::nullopt;
    if (_file->hasBegun()) {
        if (auto error = _file->finish())
            return error;
        if (auto error = create())
            return error;
        _last.reset();
        _next = _shift = 0;
    }
    return begin(form);
}

/// Begins the file that was created. @return as prepare: without room for the header, the file is created anew, so that
/// the next packet may try again.
std::optional<std::string> FileSeries::begin(const MediaForm &form)
{
    auto error = _file->begin(form);
    if (!error)
        _form = form;
    else if (_file->lacksRoom())
        _file->recreate();
    return error;
}

/// @return the time stamp that @p packet gets in the file.
qint64 FileSeries::timestampOf(const AVPacket &packet, qint64 duration)
{
    qint64 timestamp = _next;
    if (packet.pts != AV_NOPTS_VALUE) {
        timestamp = av_rescale_q(packet.pts, packet.time_base, _file->timeBase()) + _shift;
        if (_broken && _last && timestamp <= *_last) {
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
    return _file->finish();
}
