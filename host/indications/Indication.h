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
/// Aligned, so that an idle decoder's set reads one cache line, which no other indication writes to.
class alignas(64) Indication final : public IIndicationObject, private TimeoutWheel::Entry {
public:
    struct Reading {
        int value;
        ThreadNames::Id setter; // the thread that set it last; nameless before
    };

    /// @param ownerNumber for the manager: constant.
    Indication(int initialValue, quint64 ownerNumber);

    /// As the interface says. Beyond it:
    /// - The value that is shown already, set once more without a time-out by the same thread, costs a few nanoseconds
    ///   and no lock. Any other set takes two locks for a few instructions, and neither is held over foreign code.
    /// - A time-out that is not positive is none, nor is one without a callback: the value stays.
    /// - A time-out is never early, and late by a tick of the wheel and whatever other callbacks take.
    /// - @p onTimeout is called with the reason 0 on the manager's thread. It must not throw, and what it does delays all
    ///   time-outs after it. A value that it sets from within the call is not taken when another thread has set one
    ///   since the call began: that one is newer.
    /// - The previous callback may be destroyed within the call, with no lock held.
    void setValue(int value, int timeoutMs,
                  const ModkitPtr<ISimpleIndicationObjectCallback> &onTimeout) noexcept override;

    /// The same at the time @p now.
    void setValueAt(TimeoutWheel::Instant now, int value, int timeoutMs,
                    const ModkitPtr<ISimpleIndicationObjectCallback> &onTimeout) noexcept;

    /// Begins the showing. @p wheel must outlive it. @param self holds this object.
    void show(TimeoutWheel &wheel, const ModkitPtr<IIndicationObject> &self) noexcept;

    /// Ends the showing: no callback is called any more, but for one whose call has begun, which is not waited for. May
    /// drop the callback and this object. Does nothing when it is not shown.
    void hide() noexcept;

    Reading reading() const noexcept;
    quint64 ownerNumber() const { return _ownerNumber; }

private:
    const ModkitPtr<IIndicationObject> &self() const override { return _self; }
    void timeUp(TimeoutWheel::Tick tick) override;

    void enterLocked(TimeoutWheel::Tick tick);
    void storeLocked(int value, ThreadNames::Id setter);
    void endCall();

    /// The value, its setter and whether a time-out is pending or its callback in progress, in one word. Written under
    /// _mutex, read by anybody.
    std::atomic<quint64> _word;

    std::mutex _mutex;              // guards all below but the constant; taken before the wheel's lock
    TimeoutWheel *_wheel = nullptr; // set while shown
    ModkitPtr<ISimpleIndicationObjectCallback> _onTimeout; // set while a time-out is pending
    TimeoutWheel::Tick _due = TimeoutWheel::never;         // when the time-out is over; never: none is pending
    /// What the wheel has for it. A value that is set again only moves _due; when the wheel's tick comes, the entry is
    /// moved on to it. So never after _due, but when this is `never`.
    TimeoutWheel::Tick _entered = TimeoutWheel::never;
    std::thread::id _caller;            // which thread calls the callback just now
    bool _isOvertaken = false;          // another thread has set a value since the call began
    ModkitPtr<IIndicationObject> _self; // set while shown, so constant while in the wheel

    const quint64 _ownerNumber;
};

#endif
