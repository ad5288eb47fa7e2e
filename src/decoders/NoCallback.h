#ifndef DECODERS_NOCALLBACK_H
#define DECODERS_NOCALLBACK_H

#include "interfaces/IIndicationObject.h"

/// An empty callback pointer for one call of setValue: an indication may write to what it is given.
class NoCallback {
    using Callback = ModkitPtr<ISimpleIndicationObjectCallback>;

public:
    NoCallback()
        : _callback()
    {
    }
    ~NoCallback()
    {
        if (!_callback.isNull())
            release();
    }
    NoCallback(const NoCallback &) = delete;
    NoCallback &operator=(const NoCallback &) = delete;

    operator const Callback &() const { return _callback; } // NOLINT(google-explicit-constructor)

private:
    [[gnu::noinline, gnu::cold]] void release() { _callback.~Callback(); }

    // Destroyed apart, so that the cycle has no more to do for it than a test.
    union {
        Callback _callback; // NOLINT(readability-identifier-naming): as private as the union
    };
};

#endif
