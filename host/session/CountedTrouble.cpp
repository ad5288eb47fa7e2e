#include "session/CountedTrouble.h"

namespace {

constexpr std::chrono::minutes spellEndsAfter(1);

} // namespace

std::optional<CountedTrouble::Spell> CountedTrouble::update(std::int64_t count, Instant now, ClockInstant clock)
{
    if (_isSpell && now - *_latest >= spellEndsAfter)
        _isSpell = false;
    bool isDue = _isSpell && _reminder.isDue(now);
    if (count > _count) {
        if (!_isSpell) {
            _isSpell = isDue = true;
            _countBefore = _count;
            _since = clock;
            _reminder.begin(now);
        }
        _count = count;
        _latest = now;
    }
    if (!isDue || _count == _reportedCount)
        return std::nullopt;
    _reportedCount = _count;
    return Spell{_count - _countBefore, _since};
}
