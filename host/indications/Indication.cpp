#include "indications/Indication.h"

namespace {

constexpr int setterShift = 32;
constexpr quint64 busyBit = quint64(1) << 63;

constexpr quint64 wordOf(int value, ThreadNames::Id setter, bool busy)
{
    return static_cast<quint32>(value) | quint64(setter) << setterShift | (busy ? busyBit : 0);
}

constexpr Indication::Reading readingOf(quint64 word)
{
    return {static_cast<int>(static_cast<quint32>(word)), static_cast<ThreadNames::Id>(word >> setterShift)};
}

} // namespace

Indication::Indication(int initialValue, quint64 ownerNumber)
    : _word(wordOf(initialValue, ThreadNames::nameless, false))
    , _ownerNumber(ownerNumber)
{
}

/// @return whether it is shown. A busy indication has a time-out to end, or a callback that is overtaken: that takes
///         the lock.
inline bool Indication::showUnlessBusy(int value)
{
    const quint64 wanted = wordOf(value, ThreadNames::current(), false);
    quint64 shown = _word.load(std::memory_order_acquire);
    while ((shown & busyBit) == 0)
        if (shown == wanted || _word.compare_exchange_weak(shown, wanted))
            return true;
    return false;
}

void Indication::setValue(int value, int timeoutMs,
                          const ModkitPtr<ISimpleIndicationObjectCallback> &onTimeout) noexcept
{
    // Every idle decoder comes here a thousand times a second.
    if (timeoutMs <= 0 && showUnlessBusy(value))
        return;
    setValueNow(value, timeoutMs, onTimeout);
}

void Indication::setValueNow(int value, int timeoutMs,
                             const ModkitPtr<ISimpleIndicationObjectCallback> &onTimeout) noexcept
{
    setValueAt(std::chrono::steady_clock::now(), value, timeoutMs, onTimeout);
}

void Indication::setValueAt(TimeoutWheel::Instant now, int value, int timeoutMs,
                            const ModkitPtr<ISimpleIndicationObjectCallback> &onTimeout) noexcept
{
    ModkitPtr<ISimpleIndicationObjectCallback> previous; // dropped after the lock is given back
    const std::lock_guard<std::mutex> lock(_mutex);
    if (_caller == std::this_thread::get_id()) {
        if (_isOvertaken)
            return;
    } else {
        _isOvertaken = true;
    }

    previous = _onTimeout;
    const bool isTimed = _wheel && timeoutMs > 0 && !onTimeout.isNull();
    _due = isTimed ? TimeoutWheel::tickNotBefore(now + std::chrono::milliseconds(timeoutMs)) : TimeoutWheel::never;
    if (_due < _entered)
        enterLocked(_due);
    _word.store(wordOf(value, ThreadNames::current(), isBusyLocked()), std::memory_order_release);
    if (isTimed)
        _onTimeout = onTimeout;
    else
        _onTimeout.reset();
}

void Indication::show(TimeoutWheel &wheel, const ModkitPtr<IIndicationObject> &self) noexcept
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _wheel = &wheel;
    _self = self;
}

void Indication::hide() noexcept
{
    ModkitPtr<ISimpleIndicationObjectCallback> onTimeout; // dropped after the lock is given back
    const std::lock_guard<std::mutex> lock(_mutex);
    if (!_wheel)
        return;
    onTimeout = _onTimeout;
    _wheel->leave(_place);
    _wheel = nullptr;
    _entered = TimeoutWheel::never;
    _due = TimeoutWheel::never;
    _onTimeout.reset();
    _self.reset();
}

Indication::Reading Indication::reading() const noexcept
{
    return readingOf(_word.load(std::memory_order_acquire));
}

void Indication::timeUp(TimeoutWheel::Tick tick)
{
    ModkitPtr<ISimpleIndicationObjectCallback> onTimeout;
    ModkitPtr<IIndicationObject> self;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (_entered != tick)
            return;
        _entered = TimeoutWheel::never;
        if (_due > tick) {
            if (_due != TimeoutWheel::never)
                enterLocked(_due);
            return;
        }
        _due = TimeoutWheel::never;
        onTimeout = _onTimeout;
        self = _self;
        _caller = std::this_thread::get_id();
        _isOvertaken = false;
    }
    onTimeout->onTimeout(0, self);
    endCall();
}

void Indication::enterLocked(TimeoutWheel::Tick tick)
{
    _entered = tick;
    _wheel->enter(_place, tick);
}

bool Indication::isBusyLocked() const
{
    return _due != TimeoutWheel::never || _caller != std::thread::id();
}

void Indication::endCall()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _caller = std::thread::id();
    if (_due == TimeoutWheel::never)
        _onTimeout.reset(); // timeUp still holds it: it is not destroyed under the lock
}
