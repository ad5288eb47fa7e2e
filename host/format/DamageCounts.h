#ifndef HOST_FORMAT_DAMAGECOUNTS_H
#define HOST_FORMAT_DAMAGECOUNTS_H

#include <QByteArray>
#include <QHash>
#include <QtGlobal>

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "format/DecodingPace.h"

/// What codec decoders tell of their streams: what each is coded in at present, how long its packets take, and what
/// they could not make sense of, counted by stream and kind, and reported on the warning channel the first time each.
/// Thread-safe; shared by all codec decoders of a format manager.
class DamageCounts {
public:
    enum Kind {
        /// The codec refused a block.
        UndecodableBlock,
        /// The codec made a picture or samples of it, but says that they are not what was coded.
        ConcealedDamage,
        /// A block was not one of this host's.
        ForeignBlock,
        /// The codec could not be opened for the stream.
        UnusableStream
    };
    static constexpr int kindCount = UnusableStream + 1;
    using Counts = std::array<quint64, kindCount>;

    /// One stream; see MediaBlock::Parameters.
    struct Stream {
        QByteArray origin; // by which warnings call it
        quint32 source = 0;

        bool operator==(const Stream &other) const { return source == other.source && origin == other.origin; }
    };

    /// @param detail what is wrong, in a few words.
    void add(const Stream &stream, Kind kind, const QByteArray &detail);

    /// What a stream is coded in.
    struct Codec {
        QByteArray name; // libavcodec's, or the fourcc where it has none
        int width = 0;   // of the pictures, in pixels; 0 when unknown or without pictures
        int height = 0;
        bool isMissing = false; // there is no decoder for it
    };
    /// The stream is coded in @p codec from now on.
    void setCodec(const Stream &stream, const Codec &codec);

    /// All that is known of one stream.
    struct Condition {
        Counts counts{};
        QByteArray damage; // the latest, in a few words; empty when there was none
        Codec codec;       // the present one; without a name before the first key block
    };
    Condition conditionOf(const Stream &stream) const;

    /// @return the pace of the stream, which its codec decoder notes from its next opening on, for as long as somebody
    ///         holds it.
    std::shared_ptr<DecodingPace> watchPace(const Stream &stream);
    /// @return the same, for the codec decoder; null when nobody watches it.
    std::shared_ptr<DecodingPace> paceOf(const Stream &stream) const;

    /// Forgets the stream, which has ended for good.
    void forget(const Stream &stream);

private:
    struct Hash {
        std::size_t operator()(const Stream &stream) const { return qHash(stream.origin, stream.source); }
    };

    mutable std::mutex _mutex; // guards the next two
    std::unordered_map<Stream, Condition, Hash> _streams;
    std::unordered_map<Stream, std::weak_ptr<DecodingPace>, Hash> _paces;
};

#endif
