#include "sources/Pacing.h"

#include <algorithm>

namespace {

/// Nobody waits longer; what a damaged file says beyond it must not overflow the clock.
constexpr qint64 yearMs = 365LL * 24 * 3600 * 1000;

} // namespace

Pacing::Instant Pacing::dueAt(qint64 blockTimeMs, Instant now)
{
    if (!_beginning)
        _beginning = {blockTimeMs, now};
    const qint64 laterMs = std::clamp<qint64>(blockTimeMs - _beginning->blockTimeMs, 0, yearMs);
    return _beginning->instant + std::chrono::milliseconds(laterMs);
}
