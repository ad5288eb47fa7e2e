#ifndef INTERFACES_IINDICATIONOBJECT_H
#define INTERFACES_IINDICATIONOBJECT_H

#include "interfaces/ISimpleIndicationObjectCallback.h"
#include "strata/base/modkit/modkit"

/// One indication: a live value shown to an operator. Implemented by the host, held by the stream decoder.
class IIndicationObject : public IPolymorph {
public:
    /// Shows @p value. Thread-safe: called from the decoder thread and, for a change of mode, from any client's
    /// thread; a thousand times a second for every decoder, partly under a lock of the decoder's or the manager's, so
    /// it must not block, call back into them, or throw.
    /// @param value 0 good, 1 warning or alternative state, 2 bad, 3 black (nothing to show).
    /// @param timeoutMs -1: the value stays. Positive: after so many milliseconds, unless another value was set
    ///        meanwhile, @p onTimeout is called once, with this indication as its second argument.
    /// @param onTimeout empty when @p timeoutMs is -1. The indication keeps a reference until the call or the next
    ///        value.
    virtual void setValue(int value, int timeoutMs, const ModkitPtr<ISimpleIndicationObjectCallback> &onTimeout) = 0;
};

#endif
