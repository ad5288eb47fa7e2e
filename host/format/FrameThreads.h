#ifndef HOST_FORMAT_FRAMETHREADS_H
#define HOST_FORMAT_FRAMETHREADS_H

#include <QtGlobal>

#include <deque>
#include <memory>
#include <optional>
#include <set>

#include "format/CodecComplaints.h"
#include "format/RestartPoints.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

/// Decoding of one video stream by several threads of libavcodec, a picture each, for as long as the stream gives
/// libavcodec nothing to complain of.
///
/// Of a whole stream they make the same as one thread does, each picture a few packets later. Of a damaged one they do
/// not: what the concealment of one picture reads and writes depends on how far the threads of the others have come,
/// and libavcodec loses the mark of a picture that it has concealed. So the last packets are kept, from the beginning
/// or from a point that a fresh codec may begin at, and with the first complaint they are decoded once more, by one
/// thread, which goes on with the rest: what was delivered stays, all else comes from there. A complaint about a packet
/// is there before anything that may depend on it: libavcodec gives back what it made of packets in their order.
///
/// This class keeps the account; the codec is its owner's, and ends before it. Reentrant.
class FrameThreads final {
public:
    /// How libavcodec guesses times that are missing, behind the last picture that was delivered.
    struct TimeGuess {
        qint64 faultyPts;
        qint64 faultyDts;
        qint64 lastPts;
        qint64 lastDts;

        static TimeGuess of(const AVCodecContext &codec);
        void applyTo(AVCodecContext &codec) const;
    };
    struct FreePacket {
        void operator()(AVPacket *packet) const { av_packet_free(&packet); }
    };
    struct Sent {
        std::unique_ptr<AVPacket, FreePacket> packet;
        qint64 number;
        bool isRestartPoint;
    };

    /// What is kept at most. A stream that can be begun at fewer points is decoded by one thread.
    static constexpr std::size_t maxPackets = 640;
    static constexpr qint64 maxBytes = qint64(32) << 20;

    /// @return whether several threads may decode such streams.
    static bool canDecode(const AVCodec &decoder);

    /// @param count of threads, 2 or more. @param codec is not opened yet, its opaque pointer is set.
    FrameThreads(int count, const AVCodecParameters &parameters, AVCodecContext &codec);

    /// Forgets packets where that is necessary. @return whether @p packet can be kept, and each picture be given its
    /// times without knowing on which packet it came out.
    [[nodiscard]] bool hasRoomFor(const AVPacket &packet);
    /// Keeps @p packet, for which there is room, and which goes to @p codec next.
    void add(const AVPacket &packet, AVCodecContext &codec);
    /// Whether libavcodec has complained. To be asked once it has given back something, before that is used.
    [[nodiscard]] bool haveFailed() const { return _complaints.areThere(); }
    /// @p picture is delivered. To be called before @p codec is given anything else.
    void noteDelivered(const AVFrame &picture, const AVCodecContext &codec);

    /// What a fresh codec must decode for the pictures that were not delivered.
    const std::deque<Sent> &sent() const { return _sent; }
    bool wasDelivered(const AVFrame &picture) const { return _delivered.count(picture.reordered_opaque) != 0; }
    const std::optional<TimeGuess> &timeGuess() const { return _timeGuess; }
    /// @return how many pictures libavcodec held back, to put them in order, where the packets begin that are kept.
    int reorderedPictures() const { return _reorderedPictures; }

private:
    bool fits(const AVPacket &packet) const;

    CodecComplaints _complaints;
    RestartPoints _restartPoints;
    std::deque<Sent> _sent;
    qint64 _sentBytes = 0;
    qint64 _lastNumber = 0;
    qint64 _restartNumber = 0;   // of the last packet to begin at whose picture was delivered
    int _restartReordered = 0;   // pictures held back when that was
    int _reorderedPictures = 0;  // the same for the first packet of _sent
    std::set<qint64> _delivered; // numbers of the packets, of packets that _sent has
    std::optional<TimeGuess> _timeGuess;
};

#endif
