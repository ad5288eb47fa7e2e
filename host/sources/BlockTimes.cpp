#include "sources/BlockTimes.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

constexpr qint64 jumpMs = 10'000;
constexpr qint64 centuryMs = 100LL * 366 * 24 * 3600 * 1000;

} // namespace

BlockTimes::BlockTimes(bool timeMayJump)
    : _timeMayJump(timeMayJump)
{
}

qint64 BlockTimes::next(int kind, std::optional<qint64> timeMs, qint64 durationMs)
{
    Kind &its = _kinds[static_cast<std::size_t>(kind)];
    qint64 blockTimeMs = its.endMs;
    if (timeMs && *timeMs > -centuryMs && *timeMs < centuryMs) {
        if (std::exchange(_anchorWanted, false) && _startMs)
            anchor(*timeMs);
        blockTimeMs = *timeMs + its.shiftMs;
        if (_timeMayJump && its.begun && std::abs(blockTimeMs - its.endMs) > jumpMs) {
            its.shiftMs += its.endMs - blockTimeMs;
            blockTimeMs = its.endMs;
        }
    }
    blockTimeMs = std::max(blockTimeMs, its.lastMs.value_or(blockTimeMs));

    its.begun = true;
    its.lastMs = blockTimeMs;
    // A longer duration of one block is not to be believed.
    its.endMs = blockTimeMs + std::clamp<qint64>(durationMs, 0, jumpMs);
    _endMs = _startMs ? std::max(_endMs, its.endMs) : its.endMs;
    _startMs = _startMs.value_or(blockTimeMs);
    return blockTimeMs;
}

qint64 BlockTimes::lastSinceStartMs(int kind) const
{
    const Kind &its = _kinds[static_cast<std::size_t>(kind)];
    return its.lastMs ? *its.lastMs - *_startMs : 0;
}

void BlockTimes::beginRepetition()
{
    for (Kind &kind : _kinds) {
        kind.shiftMs = _endMs - _startMs.value_or(0);
        kind.endMs = _endMs;
        kind.begun = false;
    }
}

void BlockTimes::anchor(qint64 timeMs)
{
    for (Kind &kind : _kinds) {
        kind.shiftMs = _endMs - timeMs;
        kind.endMs = _endMs;
        kind.begun = false;
    }
}
