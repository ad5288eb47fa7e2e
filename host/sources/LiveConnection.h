#ifndef HOST_SOURCES_LIVECONNECTION_H
#define HOST_SOURCES_LIVECONNECTION_H

#include <QByteArray>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "media/AvPointers.h"
#include "media/StreamKind.h"
#include "queues/LiveQueue.h"
#include "sources/BlockTimes.h"
#include "sources/LiveUrl.h"
#include "sources/MediaInput.h"
#include "sources/MediaSource.h"

/// One connection to a live source, from its opening until it breaks. Gives the packets of at most one video and one
/// audio stream as blocks: key blocks where libavformat says so, and all those of sound. Follows a source that changes
/// its streams under way: takes in the first stream of a kind that was missing, and one that comes in the place of
/// another. Reentrant.
class LiveConnection final {
public:
    using Instant = std::chrono::steady_clock::time_point;

    struct Wanted {
        bool video = true;
        bool audio = true;
        QByteArray label; // of the streams
    };

    /// Its kind, 0: video, 1: audio, and its size without what it was packed in.
    struct Delivery {
        int kind = 0;
        bool begins = false; // the first one of a stream in the place of another, which has ended
        qint64 packetBytes = 0;
        LiveQueue::Block block;
    };

    /// What came of a read.
    struct Result {
        bool hasOtherStreams = false; // than at the last read
        std::optional<Delivery> delivery;
        std::string failure; // why nothing more will come; empty when something may
        bool isIdle = false; // there is nothing at the moment: ask again after a while
        bool timedOut =
            false; // the deadline or the stall limit was reached; what is delivered all the same had come long before
    };

    /// Why there is no connection.
    struct Failure {
        std::string what; // in words that go behind the url
        int error = 0;    // libavformat's; 0 when it opened the source, but nothing in it can be decoded
        std::vector<MediaSource::Stream> undecodable; // for want of decoders, where that is why
    };

    /// Opens @p url; blocks for @p limit at most; for a caller it waits until @p end.
    /// @param stopRequested ends this call and each read within a tenth of a second once it is set, except the time
    ///        that the system needs to look up a name; outlives the connection.
    /// @return the connection, or what went wrong.
    [[nodiscard]] static std::variant<std::unique_ptr<LiveConnection>, Failure>
    open(const LiveUrl &url, const Wanted &wanted, std::chrono::milliseconds limit, Instant end,
         const std::atomic<bool> &stopRequested);

    /// One stream or two, video first.
    const std::vector<MediaSource::Stream> &streams() const { return _streams; }
    /// As MediaSource::undecodable.
    const std::vector<MediaSource::Stream> &undecodable() const { return _undecodable; }
    qint64 startTimeUs() const { return _input->startTimeUs(); }

    /// Whether its packets come many at a time, with pauses, because it is a playlist.
    bool isPlaylist() const { return _input->isPlaylist(); }
    /// As MediaInput::setStallLimit.
    void setStallLimit(std::chrono::milliseconds limit) { _input->setStallLimit(limit); }

    /// Reads the next packet, and waits for it until @p deadline. @param times makes its block time.
    /// @return neither delivery nor failure when the packet was of no use, or when the deadline was reached and all
    ///         that had come before was delivered. After a deadline that was reached, no read waits any more.
    Result read(std::chrono::steady_clock::time_point deadline, BlockTimes &times);

private:
    /// What is kept of each stream.
    struct Track {
        QByteArray parameters; // as they travel in key blocks
        AVCodecID codec = AV_CODEC_ID_NONE;
        bool begins = false; // its next block is the first one
        // Of its last packet.
        Instant at;
        std::optional<qint64> timeMs;
        // Until when its first damaged packets show a gap that is known; before now: none do.
        Instant gapShowsUntil;
        bool isInGap = false; // its last packet was one of these
    };

    LiveConnection(std::unique_ptr<MediaInput> input, const Wanted &wanted);

    bool isWanted(StreamKind kind) const { return kind == StreamKind::Video ? _wanted.video : _wanted.audio; }
    void addStream(int index, StreamKind kind);
    void describe(std::size_t position, int index);
    bool follow(Instant now);
    bool isReplaced(const Track &track, Instant now) const;
    bool isKeyPacket(StreamKind kind) const;
    bool isDamaged() const;
    Delivery delivery(std::size_t position, BlockTimes &times);
    void noteGap();
    bool showsKnownGap(Track &track) const;

    const std::unique_ptr<MediaInput> _input;
    const Wanted _wanted;
    std::vector<MediaSource::Stream> _streams;
    std::vector<MediaSource::Stream> _undecodable;
    std::vector<Track> _tracks; // as _streams
    const AvPointer<AVPacket> _packet;
    bool _gapNoticed = false; // and not reported with a block yet
};

#endif
