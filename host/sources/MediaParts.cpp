#include "sources/MediaParts.h"

#include <algorithm>
#include <utility>

#include "media/FfmpegError.h"
#include "media/ShownUrl.h"

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/opt.h>
}

namespace {

/// @return what a connection that is used again reads now; empty where it does not tell.
std::string locationOf(AVIOContext *io)
{
    std::uint8_t *location = nullptr;
    if (!io->av_class || av_opt_get(io, "location", AV_OPT_SEARCH_CHILDREN, &location) < 0)
        return std::string();
    std::string url = location ? reinterpret_cast<const char *>(location) : "";
    av_free(location);
    return url;
}

} // namespace

MediaParts::MediaParts(std::function<bool()> isToEnd)
    : _isToEnd(std::move(isToEnd))
{
}

void MediaParts::attach(AVFormatContext &context)
{
    _context = &context;
    _open = std::exchange(context.io_open, open);
    _close = std::exchange(context.io_close2, close);
    context.interrupt_callback = {isPauseInterrupted, this};
    _lastArrival = Clock::now();
}

void MediaParts::beginRead()
{
    _lastArrival = Clock::now();
    _isReading = true;
    _isPausing = false;
    _hasPaused = false;
}

/// Demuxers within a demuxer have its callbacks, but nothing else of it.
MediaParts &MediaParts::of(const AVFormatContext &context)
{
    return *static_cast<MediaParts *>(context.interrupt_callback.opaque);
}

/// Called by libavformat with each file and connection that it opens.
int MediaParts::open(AVFormatContext *context, AVIOContext **io, const char *url, int flags, AVDictionary **options)
{
    MediaParts &self = of(*context);
    self._lastArrival = Clock::now();
    self._isPausing = false;
    // What is opened keeps the callback that it is opened with. So its waiting can be told from that of the demuxer,
    // which pauses until a playlist goes on.
    context->interrupt_callback.callback = isWaitInterrupted;
    const bool isInput = io == &context->pb && context == self._context;
    const int result =
        isInput ? self._open(context, io, url, flags, options) : self.openPart(context, io, url, flags, options);
    context->interrupt_callback.callback = isPauseInterrupted;
    return result;
}

int MediaParts::openPart(AVFormatContext *context, AVIOContext **io, const std::string &url, int flags,
                         AVDictionary **options)
{
    std::string name = url;
    if (_references) {
        const auto followed = _references->follow(url);
        if (const auto *const refusal = std::get_if<LocalReferences::Refusal>(&followed)) {
            if (_refusal.empty())
                _refusal = refusal->what;
            return AVERROR(refusal->what.empty() ? ENOENT : EACCES);
        }
        name = std::get<std::string>(followed);
    }
    // The rest of what is cut off is asked for once, at once, where the server gives parts of files.
    if (options) {
        av_dict_set(options, "reconnect", "1", 0);
        av_dict_set(options, "reconnect_delay_max", "0", 0);
    }
    const int result = _open(context, io, name.c_str(), flags, options);
    if (result >= 0)
        _parts.push_back({*io, url});
    return result;
}

int MediaParts::close(AVFormatContext *context, AVIOContext *io)
{
    MediaParts &self = of(*context);
    const auto part = std::find_if(self._parts.begin(), self._parts.end(),
                                   [io](const Part &candidate) { return candidate.io == io; });
    if (part != self._parts.end()) {
        self.noteCutOff(*part);
        self._closedBytes += io->bytes_read;
        self._parts.erase(part);
    }
    return self._close(context, io);
}

int MediaParts::isPauseInterrupted(void *parts)
{
    auto *const self = static_cast<MediaParts *>(parts);
    self->_lastArrival = Clock::now();
    self->notePause();
    return self->_isToEnd() || self->_hasStalled ? 1 : 0;
}

/// While the input is opened, too, libavformat asks whether it is to end, but does not pause.
void MediaParts::notePause()
{
    if (!_isReading || std::exchange(_isPausing, true))
        return;
    if (!std::exchange(_hasPaused, true))
        _pauses = 0;
    ++_pauses;
}

int MediaParts::isWaitInterrupted(void *parts)
{
    auto *const self = static_cast<MediaParts *>(parts);
    self->_isPausing = false; // also where a playlist comes again over a connection that stays open
    return self->_isToEnd() || self->isStalled() ? 1 : 0;
}

bool MediaParts::isStalled()
{
    // While it is opened and fails, parts of the context may have gone already.
    if (!_stallLimit)
        return false;
    const Clock::time_point now = Clock::now();
    const qint64 bytes = arrivedBytes();
    if (bytes != _knownBytes) {
        _knownBytes = bytes;
        _lastArrival = now;
    }
    if (now - _lastArrival >= *_stallLimit)
        _hasStalled = true;
    return _hasStalled;
}

qint64 MediaParts::arrivedBytes() const
{
    qint64 bytes = _closedBytes + (_context && _context->pb ? _context->pb->bytes_read : 0);
    for (const Part &part : _parts)
        bytes += part.io->bytes_read;
    return bytes;
}

std::optional<std::string> MediaParts::takeCutOff()
{
    for (Part &part : _parts)
        noteCutOff(part);
    return std::exchange(_cutOff, std::nullopt);
}

void MediaParts::noteCutOff(Part &part)
{
    const int error = part.io->error;
    // What the host itself has broken off is not.
    if (error >= 0 || error == AVERROR_EXIT || std::exchange(part.isTold, true))
        return;
    const std::string location = locationOf(part.io);
    _cutOff =
        ShownUrl::withoutSecrets(location.empty() ? part.url : location) + " was cut off: " + ffmpegErrorText(error);
}
