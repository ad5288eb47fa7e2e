#ifndef HOST_SOURCES_INTERLEAVER_H
#define HOST_SOURCES_INTERLEAVER_H

#include <QtGlobal>

#include <deque>
#include <optional>
#include <vector>

#include "media/AvPointers.h"

/// Puts the packets of several streams in the order of their block times, where the file has those of one stream long
/// before those of another. Packets of one stream keep their order. Reentrant.
class Interleaver final {
public:
    struct Entry {
        std::size_t position; // of the stream
        qint64 blockTimeMs;
        AvPointer<AVPacket> packet;
    };

    /// What is held back at most, except for the one packet that goes beyond it.
    static constexpr std::size_t maxPackets = 1024;
    static constexpr qint64 maxBytes = 4 << 20;

    explicit Interleaver(std::size_t streamCount);

    /// Takes a reference to the data of @p packet, the next one of the stream at @p position, which has not ended.
    void add(std::size_t position, qint64 blockTimeMs, const AVPacket &packet);

    /// No more packets of the stream at @p position will come.
    void end(std::size_t position);

    /// Gives away the earliest packet; of equally early ones that of the first stream.
    /// @return nothing while an earlier one may still come of a stream that holds none, unless the limits are reached.
    std::optional<Entry> take();

private:
    struct Stream {
        std::deque<Entry> entries;
        bool ended = false;
    };

    std::vector<Stream> _streams;
    std::size_t _packets = 0;
    qint64 _bytes = 0;
};

#endif
