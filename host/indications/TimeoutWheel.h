#ifndef HOST_INDICATIONS_TIMEOUTWHEEL_H
#define HOST_INDICATIONS_TIMEOUTWHEEL_H

#include <QtGlobal>

#include <array>
#include <chrono>
#include <condition_variable>
#include <limits>
#include <mutex>

#include "interfaces/IIndicationObject.h"

/// When each of any number of entries has its time. Time is counted in ticks, so that what is due at about the same
/// time costs one wake-up. Each entry is a link in the ring of the slot that its tick falls into: to enter one and to
/// take it out again takes the same short time however many there are, and no memory.
///
/// Thread-safe. Takes its lock only for a few instructions, and calls no entry's `timeUp` under it.
class TimeoutWheel final {
public:
    using Instant = std::chrono::steady_clock::time_point;
    using Tick = qint64;

    static constexpr std::chrono::milliseconds tickLength{10};
    static constexpr Tick never = std::numeric_limits<Tick>::max();

    /// A link in a ring; alone it is a ring of its own.
    class Link {
    public:
        Link() = default;
        Link(const Link &) = delete;
        Link &operator=(const Link &) = delete;

    protected:
        ~Link() = default;

    private:
        friend class TimeoutWheel;
        bool isAlone() const { return _next == this; }
        void leave();
        void joinBefore(Link &other);

        // Guarded by the wheel's lock.
        Link *_previous = this;
        Link *_next = this;
    };

    /// What has its time. It must live, and `self` give the same, from before it is entered until it has left.
    class Entry : public Link {
    protected:
        virtual ~Entry() = default;

    private:
        friend class TimeoutWheel;
        /// What keeps the entry alive while its time is up. Called under the wheel's lock.
        virtual const ModkitPtr<IIndicationObject> &self() const = 0;
        /// The time is up, and the entry is no longer in the wheel. It may have been entered anew since, or taken out.
        /// @param tick what it was entered for.
        virtual void timeUp(Tick tick) = 0;

        Tick _tick = never; // guarded by the wheel's lock
    };

    /// @param now entries are due after it.
    explicit TimeoutWheel(Instant now);
    TimeoutWheel(const TimeoutWheel &) = delete;
    TimeoutWheel &operator=(const TimeoutWheel &) = delete;

    /// @return the first tick that is not before @p instant.
    static Tick tickNotBefore(Instant instant);

    /// Has the time of @p entry be up at @p tick; one that is in the wheel already is moved.
    void enter(Entry &entry, Tick tick) noexcept;

    /// Takes @p entry out, if it is in the wheel. Does not wait for a `timeUp` that has begun, or is about to.
    void leave(Entry &entry) noexcept;

    /// @return the tick for which `run` waits: the next one with an entry or, with none in the next 64 ticks, one of
    ///         these; `never` when the wheel is empty.
    Tick nextTick() const;

    /// Calls `timeUp` of all entries whose tick is not after @p now, one after the other; in which order, among them,
    /// is left open. Reentrant.
    void deliver(Instant now);

    /// Delivers what comes to be due until `stop` is called. Sleeps while the wheel is empty.
    void run();
    void stop();

private:
    class Ring final : public Link {};
    static constexpr Tick slotCount = 64; // bits in _occupied

    static Instant instantOf(Tick tick) { return Instant(tick * tickLength); }
    static std::size_t slotOf(Tick tick) { return static_cast<std::size_t>(tick) % slotCount; }
    Tick nextTickLocked() const;
    void collectLocked(Tick nowTick);

    mutable std::mutex _mutex; // guards all others
    std::condition_variable _changed;
    std::array<Ring, slotCount> _slots;
    quint64 _occupied = 0;  // a bit for each slot; set too for some that entries have left
    Ring _due;              // entries that `deliver` has yet to call
    Tick _lastTick;         // the last one that was delivered
    Tick _wakeTick = never; // what `run` waits for
    bool _stopped = false;
};

#endif
