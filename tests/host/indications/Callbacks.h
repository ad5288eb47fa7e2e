#ifndef TESTS_HOST_INDICATIONS_CALLBACKS_H
#define TESTS_HOST_INDICATIONS_CALLBACKS_H

#include <atomic>
#include <functional>
#include <utility>

#include "interfaces/IIndicationObject.h"
#include "interfaces/ISimpleIndicationObjectCallback.h"

using Callback = ModkitPtr<ISimpleIndicationObjectCallback>;

/// How many callbacks were called, and how many there are.
struct CallbackCounts {
    std::atomic<int> calls{0};
    std::atomic<int> alive{0};
};

/// Does what it is told to, and counts.
class CountedCallback final : public ISimpleIndicationObjectCallback {
public:
    using What = std::function<void(const ModkitPtr<IIndicationObject> &indication)>;

    CountedCallback(CallbackCounts &counts, What what)
        : _counts(counts)
        , _what(std::move(what))
    {
        ++_counts.alive;
    }
    ~CountedCallback() override { --_counts.alive; }

    void onTimeout(quint64 /*reason*/, const ModkitPtr<IIndicationObject> &indication) override
    {
        ++_counts.calls;
        _what(indication);
    }

private:
    CallbackCounts &_counts;
    const What _what;
};

inline Callback callback(CallbackCounts &counts, CountedCallback::What what)
{
    return Callback(new CountedCallback(counts, std::move(what)));
}

/// Ends a blink as decoders do it.
inline Callback blacken(CallbackCounts &counts)
{
    return callback(counts,
                    [](const ModkitPtr<IIndicationObject> &indication) { indication->setValue(3, -1, Callback()); });
}

#endif
