#ifndef HOST_MEDIA_CHANGENOTE_H
#define HOST_MEDIA_CHANGENOTE_H

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

/// Calls somebody who looks after many things to the one that has something new, so that nobody need look at all of
/// them all the time. Thread-safe; shared by the parts of one such thing and whoever looks after it.
///
/// A part first changes and then sets the note; whoever looks first takes the note and then looks. So each change is
/// seen by the look that follows it, however many changes there are: only the first one since the last look calls.
class ChangeNote final {
public:
    /// @param tell has somebody look soon. Thread-safe, and must neither block nor throw.
    explicit ChangeNote(std::function<void()> tell)
        : _tell(std::move(tell))
    {
    }

    void set()
    {
        if (!_isSet.exchange(true))
            _tell();
    }
    /// @return whether it was set since the last time. An exchange, so that whoever looks sees what the setter did.
    bool take() { return _isSet.exchange(false); }

    /// @param note may be null: nobody looks.
    static void set(const std::shared_ptr<ChangeNote> &note)
    {
        if (note)
            note->set();
    }

private:
    const std::function<void()> _tell;
    std::atomic<bool> _isSet{false};
};

#endif
