#ifndef HOST_SOURCES_MEDIAINPUT_H
#define HOST_SOURCES_MEDIAINPUT_H

#include <QByteArray>
#include <QString>

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "sources/LiveUrl.h"
#include "sources/StreamDescription.h"

extern "C" {
#include <libavformat/avformat.h>
}

/// A media file opened with libavformat, as the ffmpeg tool opens it by default, or a live source. Reentrant. The
/// FFmpeg libraries' own messages are switched off for the whole process, because what matters of them is in
/// errors.
class MediaInput final {
public:
    /// Opens @p url, a local file or something with "://" in it, and finds out about its streams. Blocks for 10 seconds
    /// at most; all streams are selected.
    /// @param stopRequested ends this call and each read within a tenth of a second once it is set; outlives the input.
    /// @param abandoned ends this call likewise, and is not looked at afterwards.
    /// @return the input, or one line that names @p url and says what is wrong with it.
    [[nodiscard]] static std::variant<std::unique_ptr<MediaInput>, std::string>
    open(const std::string &url, const std::atomic<bool> &stopRequested, const std::atomic<bool> *abandoned = nullptr);

    /// Opens the live source @p url likewise, for @p limit at most; a server's limit begins once somebody has called,
    /// which is waited for until @p end.
    /// Bytes that cost much computing before there is a stream in them are given up sooner.
    /// @return the input, or libavformat's error; AVERROR(ETIMEDOUT) when the limit was reached.
    [[nodiscard]] static std::variant<std::unique_ptr<MediaInput>, int>
    openLive(const LiveUrl &url, std::chrono::milliseconds limit, std::chrono::steady_clock::time_point end,
             const std::atomic<bool> &stopRequested);

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
    /// What a codec decoder must know of the stream, which reports call @p origin.
    QByteArray packedParameters(int index, const QByteArray &origin) const;
    /// The packet's decoding time, or else its presentation time.
    std::optional<qint64> timeMs(const AVPacket &packet) const;
    /// @param description what `describe` said of the packet's stream. @return 0 when unknown.
    qint64 durationMs(const AVPacket &packet, const StreamDescription &description) const;
    /// Whether time stamps may jump in the middle of the file, as those of recorded broadcasts do.
    bool timeMayJump() const { return (_context->iformat->flags & AVFMT_TS_DISCONT) != 0; }

    /// @return the index of the stream of @p type to decode unless told otherwise; -1 when none can be decoded.
    /// @param relatedIndex of a stream that it should go with, or -1.
    int bestStream(AVMediaType type, int relatedIndex) const;
    /// @return the first stream of @p type where there are some, but a decoder for none of them.
    std::optional<StreamDescription> undecodableStream(AVMediaType type) const;
    /// @return in words that go behind a name, why there is no such stream of the wanted types.
    std::string whyNothingCanBeDecoded(bool videoWanted, bool audioWanted) const;

    /// Reads no more of the streams but those for which @p wanted, called with the index, answers true.
    template <class Wanted>
    void select(Wanted wanted)
    {
        // The ffmpeg tool asks for everything of the streams that it reads, where the library's default leaves some
        // out.
        for (int index = 0; index < streamCount(); ++index)
            _context->streams[index]->discard = wanted(index) ? AVDISCARD_NONE : AVDISCARD_ALL;
    }

    /// Until when each further read may wait; forever unless told otherwise.
    void setDeadline(std::chrono::steady_clock::time_point instant) { _deadline = instant; }

    /// Reads the next packet. @return 0, or libavformat's error; AVERROR_EOF at the end, AVERROR(ETIMEDOUT) when the
    /// deadline was reached and libavformat holds no packet any more.
    [[nodiscard]] int read(AVPacket *packet);

    /// @return whether a read was cut short by its deadline. From then on nothing is waited for: further reads give
    ///         what libavformat still held.
    bool hasReachedDeadline() const { return _deadlinePassed; }

    /// @return whether, during the last call, libavformat noticed that datagrams are missing. It does not tell how many
    ///         packets that damaged, nor of which stream.
    bool hasNoticedGap() const { return _noticedGap; }

    /// @return what libavformat said when it first passed over a part of a playlist, or lost the server that continues
    ///         it, since the beginning of the opening; empty when it did not.
    const std::string &missingPart() const { return _missingPart; }

    /// @return what libavformat found wrong with the file during the last call; empty when it was content.
    const std::string &complaint() const { return _complaint; }

    /// @return whether the file's own index names packets of a selected stream beyond the end of the file.
    bool isShorterThanItsIndex() const;

    /// The part of the file, 0 to 1, that has been read; 0 when its size is unknown.
    double readPart() const;

private:
    using Instant = std::chrono::steady_clock::time_point;

    MediaInput(const std::atomic<bool> &stopRequested, std::chrono::milliseconds openLimit);

    static int isInterrupted(void *input);
    static void takeMessage(void *sender, int level, const char *format, va_list arguments);
    bool makeContext();
    int openContext(const std::string &url);
    int openLiveContext(const LiveUrl &url, std::chrono::milliseconds limit);
    int openServer(const LiveUrl &url, std::chrono::milliseconds limit, AVDictionary **options);
    int openFormat(const LiveUrl &url, AVDictionary **options);
    bool isFlooded() const;
    void endOpening();
    bool isAbandoned() const { return _abandoned && _abandoned->load(std::memory_order_relaxed); }
    int decodableStream(AVMediaType type) const;

    const std::atomic<bool> &_stopRequested;
    const std::atomic<bool> *_abandoned = nullptr; // while opening, by whoever waits for it
    Instant _end = Instant::max();                 // of waiting for a caller
    Instant _deadline;                             // of the opening, then of each read
    bool _deadlinePassed = false;
    std::optional<std::chrono::nanoseconds> _mayComputeUntil; // by its thread's time, while streams are looked for
    bool _noticedGap = false;
    AVIOContext *_connection = nullptr;  // of a server; owned
    AVFormatContext *_context = nullptr; // owned; null until opened
    std::string _complaint;
    std::string _missingPart;
};

#endif
