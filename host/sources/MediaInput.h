#ifndef HOST_SOURCES_MEDIAINPUT_H
#define HOST_SOURCES_MEDIAINPUT_H

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "sources/FfmpegMessages.h"
#include "sources/FormatOptions.h"
#include "sources/InputAccess.h"
#include "sources/LiveUrl.h"
#include "sources/MediaParts.h"
#include "sources/MediaStreams.h"

/// A media file opened with libavformat, as the ffmpeg tool opens it by default, or a live source. Reentrant. The
/// FFmpeg libraries' own messages are switched off for the whole process, because what matters of them is in
/// errors.
class MediaInput final : public MediaStreams {
public:
    /// Opens @p url, a local file or something with "://" in it, and finds out about its streams. Blocks for 10 seconds
    /// at most; all streams are selected.
    /// @param stopRequested ends this call and each read within a tenth of a second once it is set; outlives the input.
    /// @param abandoned ends this call likewise, and is not looked at afterwards.
    /// @return the input, or one line that names @p url and says what is wrong with it.
    [[nodiscard]] static std::variant<std::unique_ptr<MediaInput>, std::string>
    open(const std::string &url, const InputAccess &access, const std::atomic<bool> &stopRequested,
         const std::atomic<bool> *abandoned = nullptr);

    /// Why a live source is not open.
    struct Failure {
        int error;        // libavformat's; AVERROR(ETIMEDOUT) when the limit was reached
        std::string what; // in words that go behind a name
    };

    /// Opens the live source @p url likewise, for @p limit at most; a server's limit begins once somebody has called,
    /// which is waited for until @p end.
    /// Bytes that cost much computing before there is a stream in them are given up sooner.
    [[nodiscard]] static std::variant<std::unique_ptr<MediaInput>, Failure>
    openLive(const LiveUrl &url, std::chrono::milliseconds limit, std::chrono::steady_clock::time_point end,
             const std::atomic<bool> &stopRequested);

    ~MediaInput();

    /// How long nothing may come of what a read waits for; forever unless told otherwise. It does not concern sources
    /// that libavformat opens no connection for over its own ways, such as RTSP.
    void setStallLimit(std::chrono::milliseconds limit) { _parts.setStallLimit(limit); }

    /// Until when each further read may wait; forever unless told otherwise.
    void setDeadline(std::chrono::steady_clock::time_point instant) { _deadline = instant; }

    /// Reads the next packet. @return 0, or libavformat's error; AVERROR_EOF at the end, AVERROR(ETIMEDOUT) when it has
    /// timed out and libavformat holds no packet any more.
    [[nodiscard]] int read(AVPacket *packet);

    /// @return whether a read was cut short by its deadline or the stall limit. From then on nothing is waited for:
    ///         further reads give what libavformat still held.
    bool hasTimedOut() const { return _deadlinePassed || hasStalled(); }
    /// @return whether it was the stall limit.
    bool hasStalled() const { return _parts.hasStalled(); }

    /// Whether it is a playlist, whose parts come one after the other, each at once.
    bool isPlaylist() const { return container() == "hls"; }

    /// @return whether it ended because nothing was added for long to a playlist that does not say that it is complete.
    bool isLeftIncomplete() const { return isPlaylist() && _parts.hasPausedInVain(); }

    /// @return whether, during the last call, datagrams or a part of a playlist were found to be missing. Nobody knows
    ///         how many packets that damaged, nor of which stream.
    bool hasNoticedGap() const { return _messages.hasNoticedGap() || _noticedCutOff; }

    /// @return in words, what a playlist named that it must not, or the first part of it that libavformat has passed
    ///         over, or did not get to its end, or how it lost the server that continues it, since the beginning of the
    ///         opening; empty when it did not.
    const std::string &missingPart() const
    {
        if (!_parts.refusal().empty())
            return _parts.refusal();
        return _messages.missingPart().empty() ? _cutOffPart : _messages.missingPart();
    }

    /// @return what libavformat found wrong with the file during the last call; empty when it was content.
    const std::string &complaint() const { return _messages.complaint(); }

    /// The part of the file, 0 to 1, that has been read; 0 when its size is unknown.
    double readPart() const;

private:
    using Instant = std::chrono::steady_clock::time_point;

    static std::variant<std::unique_ptr<MediaInput>, std::string>
    openOnce(const std::string &url, const InputAccess &access, const std::atomic<bool> &stopRequested,
             const std::atomic<bool> *abandoned, bool mayOpenAgain);
    MediaInput(const std::atomic<bool> &stopRequested, std::chrono::milliseconds openLimit);

    bool isToEnd();
    bool makeContext();
    int openContext(const std::string &url, FormatOptions &options, bool mayOpenAgain);
    void guardReferences(const std::string &path, bool mayNameAnything, FormatOptions &options);
    int openLiveContext(const LiveUrl &url, std::chrono::milliseconds limit, FormatOptions &options);
    int openServer(const LiveUrl &url, std::chrono::milliseconds limit, FormatOptions &options);
    int openFormat(const LiveUrl &url, FormatOptions &options);
    int openInput(const std::string &name, const AVInputFormat *format, FormatOptions &options);
    bool isOpen() const { return _context && _context->iformat; }
    std::optional<std::string> wrongOption(const FormatOptions &options) const;
    bool isFlooded() const;
    void endOpening();
    bool isAbandoned() const { return _abandoned && _abandoned->load(std::memory_order_relaxed); }

    const std::atomic<bool> &_stopRequested;
    const std::atomic<bool> *_abandoned = nullptr; // while opening, by whoever waits for it
    Instant _end = Instant::max();                 // of waiting for a caller
    Instant _deadline;                             // of the opening, then of each read
    bool _deadlinePassed = false;
    std::optional<std::chrono::nanoseconds> _mayComputeUntil; // by its thread's time, while streams are looked for
    AVIOContext *_connection = nullptr;                       // of a server; owned
    std::optional<std::string> _refusedOptions;
    bool _isToBeOpenedAgain = false; // its header has told what is not so
    FfmpegMessages _messages;
    std::string _cutOffPart; // the first one
    bool _noticedCutOff = false;
    MediaParts _parts;
};

#endif
