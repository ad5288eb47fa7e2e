#ifndef HOST_INDICATIONS_INDICATION_H
#define HOST_INDICATIONS_INDICATION_H

#include <atomic>
#include <mutex>
#include <thread>

#include "indications/ThreadNames.h"
#include "indications/TimeoutWheel.h"
#include "interfaces/IIndicationObject.h"

/// One indication of the IndicationManager that created it. Shared by ModkitPtr; all operations are thread-safe.
///
/// While it is shown, it holds a reference to itself, and its time-outs come through the manager's wheel. Before and
/// afterwards it takes values, but keeps no callback and calls none.
///
/// Aligned, and its fields in the order in which they are, because with a thousand decoders each cache line is a miss:
/// a value without a time-out touches one, a blink two, and none of them holds fields of another indication.
class alignas(64) Indication final : public IIndicationObject {
public:
    struct Reading {
        int value;
        ThreadNames::Id setter; // the thread that set it last; nameless before
    };

    /// @param ownerNumber for the manager: constant.
    Indication(int initialValue, quint64 ownerNumber);

    /// As the interface says. Beyond it:
    /// - A value without a time-out takes no lock, unless the value before it had one. Setting the value that is shown
    ///   already once more from the same thread costs a few nanoseconds.
    /// - Any other set takes up to two locks for a few instructions, and neither is held over foreign code.
    /// - A time-out that is not positive, or comes without a callback, is ignored: the value stays.
    /// - A time-out is never early, and late by a tick of the wheel and whatever other callbacks take.
    /// - @p onTimeout is called with the reason 0 on the manager's thread. It must not throw, and what it does delays
    ///   all time-outs after it. A value that it sets from within the call is not taken when another thread has set one
    ///   since the call began: that one is newer.
    /// - The previous callback may be destroyed within the call, with no lock held.
    void setValue(int value, int timeoutMs,
                  const ModkitPtr<ISimpleIndicationObjectCallback> &onTimeout) noexcept override;

    /// The same at the time @p now.
    void setValueAt(TimeoutWheel::Instant now, int value, int timeoutMs,
                    const ModkitPtr<ISimpleIndicationObjectCallback> &onTimeout) noexcept;

    /// Begins the showing. @p wheel must outlive it. @param self holds this object.
    void show(TimeoutWheel &wheel, const ModkitPtr<IIndicationObject> &self) noexcept;

    /// Ends the showing: no callback is called any more, except for one whose call has begun, which is not waited for.
    /// Drops the callback, and its reference to itself: the caller holds another one. Does nothing when it is not
    /// shown.
    void hide() noexcept;

    Reading reading() const noexcept;
    quint64 ownerNumber() const { return _ownerNumber; }

private:
    bool showUnlessBusy(int value);
    void setValueNow(int value, int timeoutMs, const ModkitPtr<ISimpleIndicationObjectCallback> &onTimeout) noexcept;
    void timeUp(TimeoutWheel::Tick tick);
    void enterLocked(TimeoutWheel::Tick tick);
    bool isBusyLocked() const;
    void endCall();

    /// The value, its setter, and whether the indication is busy, in one word: a time-out is pending, or its callback
    /// in progress. It stays marked as busy until the next value. While it is, it is written under _mutex only.
    std::atomic<quint64> _word;

    std::mutex _mutex;                             // guards all below but the constant; taken before the wheel's lock
    TimeoutWheel::Tick _due = TimeoutWheel::never; // when the time-out is over; never: none is pending
    ModkitPtr<ISimpleIndicationObjectCallback> _onTimeout; // set while a time-out is pending or it is called
    TimeoutWheel *_wheel = nullptr;                        // set while shown
    /// What the wheel has for it. A value that is set again only moves _due; when the wheel's tick comes, the place is
    /// moved on to it. So it is never after _due, unless it is `never`.
    TimeoutWheel::Tick _entered = TimeoutWheel::never;
    std::thread::id _caller;            // which thread calls the callback just now
    bool _isOvertaken = false;          // another thread has set a value since the call began
    ModkitPtr<IIndicationObject> _self; // set while shown, so constant while in the wheel

    /// In the wheel.
    class Place final : public TimeoutWheel::Entry {
    public:
        explicit Place(Indication &indication)
            : _indication(indication)
        {
        }

    private:
        const ModkitPtr<IIndicationObject> &self() const override { return _indication._self; }
        void timeUp(TimeoutWheel::Tick tick) override { _indication.timeUp(tick); }

        Indication &_indication;
    } _place{*this};

    const quint64 _ownerNumber;
};

#endif
