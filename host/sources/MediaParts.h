#ifndef HOST_SOURCES_MEDIAPARTS_H
#define HOST_SOURCES_MEDIAPARTS_H

#include <QtGlobal>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "sources/LocalReferences.h"

extern "C" {
#include <libavformat/avformat.h>
}

/// What libavformat opens for an input: the file itself, and what that names, such as the segments of a playlist. Opens
/// nothing that a local file must not name, ends the waiting for those that send nothing any more, and notices those
/// that were cut off, which the demuxer of playlists passes over without a word. Belongs to an input, whose context it
/// outlives; reentrant.
class MediaParts final {
public:
    using Clock = std::chrono::steady_clock;

    /// How often in a row libavformat is to look for more of a playlist in vain: for five times the duration of its
    /// parts.
    static constexpr int mostPauses = 10;

    /// @param isToEnd asked again and again while libavformat waits for something.
    explicit MediaParts(std::function<bool()> isToEnd);
    MediaParts(const MediaParts &) = delete;
    MediaParts &operator=(const MediaParts &) = delete;
    ~MediaParts() = default;

    /// Has @p context, which is not open yet, open everything over here.
    void attach(AVFormatContext &context);

    /// To be called before the context is closed, in which libavformat may wait once more.
    void detach() { _context = nullptr; }

    /// Keeps the input, a local file at @p path, from naming anything but what lies beside it.
    void guard(const std::string &path) { _references.emplace(path); }

    /// @return what the input named first that it must not, in words that go behind its name; empty when it did not.
    const std::string &refusal() const { return _refusal; }

    /// How long nothing may come of a part that is waited for; at first forever.
    void setStallLimit(std::chrono::milliseconds limit) { _stallLimit = limit; }

    /// To be called before each read: what came before it does not matter, nor when.
    void beginRead();

    /// Whether nothing came for so long. From then on nothing is waited for any more.
    bool hasStalled() const { return _hasStalled; }

    /// Whether so many pauses were made that libavformat takes a playlist for ended which does not say that it is.
    bool hasPausedInVain() const { return _pauses >= mostPauses; }

    /// @return what has become known since the last call of a part that was cut off; an input that is one file has
    ///         none.
    std::optional<std::string> takeCutOff();

private:
    struct Part {
        AVIOContext *io;
        std::string url;
        bool isTold = false; // that it was cut off
    };

    static MediaParts &of(const AVFormatContext &context);
    static int open(AVFormatContext *context, AVIOContext **io, const char *url, int flags, AVDictionary **options);
    int openPart(AVFormatContext *context, AVIOContext **io, const std::string &url, int flags, AVDictionary **options);
    static int close(AVFormatContext *context, AVIOContext *io);
    static int isPauseInterrupted(void *parts);
    static int isWaitInterrupted(void *parts);
    void notePause();
    bool isStalled();
    qint64 arrivedBytes() const;
    void noteCutOff(Part &part);

    const std::function<bool()> _isToEnd;
    std::optional<LocalReferences> _references;
    std::string _refusal;
    decltype(AVFormatContext::io_open) _open = nullptr; // libavformat's own
    decltype(AVFormatContext::io_close2) _close = nullptr;
    std::vector<Part> _parts;            // that are open, except for the input itself
    AVFormatContext *_context = nullptr; // while it is open
    qint64 _closedBytes = 0;             // of parts that are closed
    qint64 _knownBytes = 0;              // when something came last
    Clock::time_point _lastArrival;
    std::optional<std::chrono::milliseconds> _stallLimit;
    bool _hasStalled = false;
    std::optional<std::string> _cutOff;
    int _pauses = 0; // of the last read that made some
    bool _isReading = false;
    bool _isPausing = false;
    bool _hasPaused = false; // in this read
};

#endif
