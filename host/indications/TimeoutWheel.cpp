#include "indications/TimeoutWheel.h"

#include <QtAlgorithms>

#include <algorithm>

namespace {

using Clock = std::chrono::steady_clock;

/// The last tick that is not after @p instant.
TimeoutWheel::Tick tickNotAfter(TimeoutWheel::Instant instant)
{
    return std::chrono::floor<std::chrono::milliseconds>(instant.time_since_epoch()) / TimeoutWheel::tickLength;
}

} // namespace

void TimeoutWheel::Link::leave()
{
    _previous->_next = _next;
    _next->_previous = _previous;
    _previous = this;
    _next = this;
}

void TimeoutWheel::Link::joinBefore(Link &other)
{
    _previous = other._previous;
    _next = &other;
    _previous->_next = this;
    other._previous = this;
}

TimeoutWheel::TimeoutWheel(Instant now)
    : _lastTick(tickNotAfter(now))
{
}

TimeoutWheel::Tick TimeoutWheel::tickNotBefore(Instant instant)
{
    const Tick tick = tickNotAfter(instant);
    return instantOf(tick) < instant ? tick + 1 : tick;
}

void TimeoutWheel::enter(Entry &entry, Tick tick) noexcept
{
    const std::lock_guard<std::mutex> lock(_mutex);
    entry.leave();
    entry._tick = tick;
    // What is due already finds its slot visited; it goes into the next one.
    const std::size_t slot = slotOf(std::max(tick, _lastTick + 1));
    entry.joinBefore(_slots[slot]);
    _occupied |= quint64(1) << slot;
    if (tick < _wakeTick)
        _changed.notify_one();
}

void TimeoutWheel::leave(Entry &entry) noexcept
{
    const std::lock_guard<std::mutex> lock(_mutex);
    entry.leave();
}

TimeoutWheel::Tick TimeoutWheel::nextTick() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return nextTickLocked();
}

void TimeoutWheel::deliver(Instant now)
{
    std::unique_lock<std::mutex> lock(_mutex);
    collectLocked(tickNotAfter(now));
    while (!_due.isAlone()) {
        auto &entry = static_cast<Entry &>(*_due._next);
        entry.leave();
        const Tick tick = entry._tick;
        {
            const ModkitPtr<IIndicationObject> self = entry.self();
            lock.unlock();
            entry.timeUp(tick);
        }
        lock.lock();
    }
}

void TimeoutWheel::run()
{
    std::unique_lock<std::mutex> lock(_mutex);
    while (!_stopped) {
        _wakeTick = nextTickLocked();
        if (_wakeTick == never) {
            _changed.wait(lock);
        } else if (Clock::now() < instantOf(_wakeTick)) {
            _changed.wait_until(lock, instantOf(_wakeTick));
        } else {
            lock.unlock();
            deliver(Clock::now());
            lock.lock();
        }
    }
}

void TimeoutWheel::stop()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _stopped = true;
    _changed.notify_one();
}

TimeoutWheel::Tick TimeoutWheel::nextTickLocked() const
{
    if (_occupied == 0)
        return never;
    // Turned so that the slot after the last tick's becomes the lowest bit.
    const std::size_t first = slotOf(_lastTick + 1);
    const quint64 turned = first == 0 ? _occupied : _occupied >> first | _occupied << (slotCount - first);
    return _lastTick + 1 + static_cast<Tick>(qCountTrailingZeroBits(turned));
}

void TimeoutWheel::collectLocked(Tick nowTick)
{
    // After a long sleep, a whole turn visits every slot.
    for (Tick tick = std::max(_lastTick + 1, nowTick - slotCount + 1); tick <= nowTick; ++tick) {
        Ring &slot = _slots[slotOf(tick)];
        for (Link *link = slot._next; link != &slot;) {
            auto &entry = static_cast<Entry &>(*link);
            link = link->_next;
            if (entry._tick <= nowTick) {
                entry.leave();
                entry.joinBefore(_due);
            }
        }
        if (slot.isAlone())
            _occupied &= ~(quint64(1) << slotOf(tick));
    }
    _lastTick = std::max(_lastTick, nowTick);
}
