#include "session/FutileDecoding.h"

#include <utility>

namespace {

// A single damaged picture says nothing, and a decoder may need some until it finds into its stream.
constexpr qint64 leastDamage = 6;
constexpr std::chrono::milliseconds shortestTime{200};
// A stream that stays damaged is not to be interrupted all the time.
constexpr std::chrono::seconds repeatInterval{30};

} // namespace

bool FutileDecoding::isFutile(qint64 frames, qint64 damaged, qint64 lost, Instant now)
{
    const qint64 newDamage = damaged - std::exchange(_damaged, damaged);
    const bool isWhole = frames - std::exchange(_frames, frames) > newDamage;
    // What is lost explains the damage.
    const bool isLossy = std::exchange(_lost, lost) != lost;
    if (!_hopeAt || isWhole || isLossy) {
        _hopeAt = now;
        _damagedSince = 0;
        _isReported = _isReported && !isWhole;
        return false;
    }
    _damagedSince += newDamage;
    if (_damagedSince < leastDamage || now - *_hopeAt < (_isReported ? repeatInterval : shortestTime))
        return false;
    _hopeAt = now;
    _damagedSince = 0;
    _isReported = true;
    return true;
}
