#ifndef HOST_QUEUES_MEDIAINPUT_H
#define HOST_QUEUES_MEDIAINPUT_H

#include <QString>

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <memory>
#include <string>
#include <variant>

#include "queues/StreamDescription.h"

extern "C" {
#include <libavformat/avformat.h>
}

/// A media file opened with libavformat, as the ffmpeg tool opens it by default. Reentrant. The FFmpeg libraries' own
/// messages are switched off for the whole process, because what matters of them is told in errors.
class MediaInput final {
public:
    /// Opens @p url, a local file or something with "://" in it, and finds out about its streams. Blocks for 10 seconds
    /// at most; all streams are selected.
    /// @param stopRequested ends this call and each read within a tenth of a second once it is set; outlives the input.
    /// @param abandoned ends this call likewise, and is not looked at afterwards.
    /// @return the input, or one line that names @p url and says what is wrong with it.
    [[nodiscard]] static std::variant<std::unique_ptr<MediaInput>, std::string>
    open(const QString &url, const std::atomic<bool> &stopRequested, const std::atomic<bool> *abandoned = nullptr);

    MediaInput(const MediaInput &) = delete;
    MediaInput &operator=(const MediaInput &) = delete;
    ~MediaInput();

    /// Short names of the container format, separated by commas.
    std::string container() const { return _context->iformat->name; }
    /// In microseconds; 0 when unknown.
    qint64 startTimeUs() const { return _context->start_time == AV_NOPTS_VALUE ? 0 : _context->start_time; }
    /// Of the whole file; negative when unknown.
    std::chrono::milliseconds duration() const;
    int streamCount() const { return static_cast<int>(_context->nb_streams); }
    const AVStream &stream(int index) const { return *_context->streams[index]; }
    StreamDescription describe(int index) const;
    AVRational frameRate(int index) const;
    /// Whether time stamps may jump in the middle of the file, as those of recorded broadcasts do.
    bool timeMayJump() const { return (_context->iformat->flags & AVFMT_TS_DISCONT) != 0; }

    /// @return the index of the stream of @p type to decode unless told otherwise; -1 when none can be decoded.
    /// @param relatedIndex of a stream that it should go with, or -1.
    int bestStream(AVMediaType type, int relatedIndex) const;

    /// Reads no more of the streams but those for which @p wanted, called with the index, answers true.
    template <class Wanted>
    void select(Wanted wanted)
    {
        // The ffmpeg tool asks for everything of the streams that it reads, where the library's default leaves some out.
        for (int index = 0; index < streamCount(); ++index)
            _context->streams[index]->discard = wanted(index) ? AVDISCARD_NONE : AVDISCARD_ALL;
    }

    /// Reads the next packet. @return 0, or libavformat's error; AVERROR_EOF at the end.
    [[nodiscard]] int read(AVPacket *packet);

    /// @return what libavformat found wrong with the file during the last call; empty when it was content.
    const std::string &complaint() const { return _complaint; }

    /// @return whether the file's own index names packets of a selected stream beyond the end of the file.
    bool isShorterThanItsIndex() const;

    /// The part of the file, 0 to 1, that has been read; 0 when its size is unknown.
    double readPart() const;

private:
    explicit MediaInput(const std::atomic<bool> &stopRequested);

    static int isInterrupted(void *input);
    static void takeMessage(void *sender, int level, const char *format, va_list arguments);
    int openContext(const QString &url);
    bool isAbandoned() const { return _abandoned && _abandoned->load(std::memory_order_relaxed); }
    int decodableStream(AVMediaType type) const;

    const std::atomic<bool> &_stopRequested;
    std::chrono::steady_clock::time_point _openDeadline;
    const std::atomic<bool> *_abandoned = nullptr; // while opening, by whoever waits for it
    bool _opening = true;
    bool _deadlinePassed = false;
    AVFormatContext *_context = nullptr; // owned; null until opened
    std::string _complaint;
};

#endif
