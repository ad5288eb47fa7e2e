#include "sources/Interleaver.h"

#include <algorithm>
#include <new>

Interleaver::Interleaver(std::size_t streamCount)
    : _streams(streamCount)
{
}

void Interleaver::add(std::size_t position, qint64 blockTimeMs, const AVPacket &packet)
{
    Entry entry{position, blockTimeMs, AvPointer<AVPacket>(av_packet_clone(&packet))};
    if (!entry.packet)
        throw std::bad_alloc();
    _streams[position].entries.push_back(std::move(entry));
    ++_packets;
    _bytes += packet.size;
}

void Interleaver::end(std::size_t position)
{
    _streams[position].ended = true;
}

std::optional<Interleaver::Entry> Interleaver::take()
{
    const bool mustWait = std::any_of(_streams.begin(), _streams.end(),
                                      [](const Stream &stream) { return stream.entries.empty() && !stream.ended; });
    if (_packets == 0 || (mustWait && _packets < maxPackets && _bytes < maxBytes))
        return std::nullopt;

    const auto earliest =
        std::min_element(_streams.begin(), _streams.end(), [](const Stream &one, const Stream &other) {
            return !one.entries.empty() &&
                   (other.entries.empty() || one.entries.front().blockTimeMs < other.entries.front().blockTimeMs);
        });
    Entry entry = std::move(earliest->entries.front());
    earliest->entries.pop_front();
    --_packets;
    _bytes -= entry.packet->size;
    return entry;
}
