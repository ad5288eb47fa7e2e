#ifndef HOST_SOURCES_LIVECONNECTION_H
#define HOST_SOURCES_LIVECONNECTION_H

#include <QByteArray>
#include <QString>

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
/// audio stream as blocks: key blocks where libavformat says so, and all those of sound. Reentrant.
class LiveConnection final {
public:
    struct Wanted {
        bool video = true;
        bool audio = true;
        QString label; // of the streams
    };

    /// Its kind, 0: video, 1: audio, and its size without what it was packed in.
    struct Delivery {
        int kind = 0;
        qint64 packetBytes = 0;
        LiveQueue::Block block;
    };

    /// What came of a read.
    struct Result {
        std::optional<Delivery> delivery;
        std::string failure;   // why nothing more will come; empty when something may
        bool isIdle = false;   // there is nothing at the moment: ask again after a while
        bool timedOut = false; // the deadline was reached; what is delivered all the same had come long before
    };

    /// What kept it from being opened.
    struct Failure {
        std::string text;                             // in words that go behind the url
        std::vector<MediaSource::Stream> undecodable; // for want of decoders, where that is why
    };

    /// Opens @p url; blocks for @p limit at most.
    /// @param stopRequested ends this call and each read within a tenth of a second once it is set, but for the time
    ///         that
    ///        the system needs to look up a name; outlives the connection.
    /// @return the connection, or what went wrong.
    [[nodiscard]] static std::variant<std::unique_ptr<LiveConnection>, Failure>
    open(const LiveUrl &url, const Wanted &wanted, std::chrono::milliseconds limit,
         const std::atomic<bool> &stopRequested);

    /// One stream or two, video first.
    const std::vector<MediaSource::Stream> &streams() const { return _streams; }
    /// As MediaSource::undecodable.
    const std::vector<MediaSource::Stream> &undecodable() const { return _undecodable; }
    qint64 startTimeUs() const { return _input->startTimeUs(); }

    /// Reads the next packet, and waits for it until @p deadline. @param times makes its block time.
    /// @return neither delivery nor failure when the packet was of no use, or when the deadline was reached and all
    ///         that had come before was delivered. After a deadline that was reached, no read waits any more.
    Result read(std::chrono::steady_clock::time_point deadline, BlockTimes &times);

private:
    explicit LiveConnection(std::unique_ptr<MediaInput> input);

    void addStream(int index, StreamKind kind, const Wanted &wanted, const LiveUrl &url);
    Delivery delivery(std::size_t position, BlockTimes &times) const;

    const std::unique_ptr<MediaInput> _input;
    std::vector<MediaSource::Stream> _streams;
    std::vector<MediaSource::Stream> _undecodable;
    std::vector<QByteArray> _parameters; // of the streams, as they travel in key blocks
    const AvPointer<AVPacket> _packet;
    bool _gapNoticed = false; // and not told with a block yet
};

#endif
