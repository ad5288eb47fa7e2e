#ifndef HOST_SOURCES_MEDIASTREAMS_H
#define HOST_SOURCES_MEDIASTREAMS_H

#include <QByteArray>
#include <QtGlobal>

#include <chrono>
#include <optional>
#include <string>

#include "sources/StreamDescription.h"

extern "C" {
#include <libavformat/avformat.h>
}

/// The streams of an input that libavformat has opened: what they are, which of them can be decoded, and which are to
/// be read. Reentrant. Whoever opens the input derives from this class, and owns the context.
class MediaStreams {
public:
    MediaStreams(const MediaStreams &) = delete;
    MediaStreams &operator=(const MediaStreams &) = delete;

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
    /// What a codec decoder must know of the stream, which reports call @p origin. @param source as in
    /// MediaBlock::Parameters.
    QByteArray packedParameters(int index, const QByteArray &origin, quint32 source = 0) const;
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

    /// @return whether the file's own index names packets of a selected stream beyond the end of the file.
    bool isShorterThanItsIndex() const;

protected:
    MediaStreams() = default;
    ~MediaStreams() = default;

    AVFormatContext *_context = nullptr; // null until opened

private:
    int decodableStream(AVMediaType type) const;
};

#endif
