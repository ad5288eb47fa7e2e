#include "format/DecodingPace.h"

#include <algorithm>

void DecodingPace::note(bool keyBlocks, int packets, std::chrono::nanoseconds time)
{
    Kind &kind = _kinds[keyBlocks ? 1 : 0];
    const std::int64_t packetNs = std::max<std::int64_t>(time.count() / std::max(packets, 1), 1);
    const std::int64_t known = kind.packetNs.load(std::memory_order_relaxed);
    // What takes longer than before may well go on like that; that it takes less is to be seen again first.
    kind.packetNs.store(packetNs >= known ? packetNs : known - (known - packetNs) / 4, std::memory_order_relaxed);
    kind.mostPackets.store(std::max(packets, kind.mostPackets.load(std::memory_order_relaxed)),
                           std::memory_order_relaxed);
}

int DecodingPace::packetsWithin(bool keyBlocks, std::chrono::nanoseconds limit) const
{
    const Kind &kind = _kinds[keyBlocks ? 1 : 0];
    const std::int64_t packetNs = kind.packetNs.load(std::memory_order_relaxed);
    if (packetNs == 0)
        return 1;
    const std::int64_t most =
        std::max(2 * std::int64_t(kind.mostPackets.load(std::memory_order_relaxed)), std::int64_t(1));
    return static_cast<int>(std::clamp<std::int64_t>(limit.count() / packetNs, 1, most));
}
