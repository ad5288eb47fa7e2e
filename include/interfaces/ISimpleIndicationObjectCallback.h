#ifndef INTERFACES_ISIMPLEINDICATIONOBJECTCALLBACK_H
#define INTERFACES_ISIMPLEINDICATIONOBJECTCALLBACK_H

#include <QtGlobal>

#include "strata/base/modkit/modkit"

class IIndicationObject;

/// What happens to an indication when a value's time is over. Given to IIndicationObject::setValue; shared by
/// ModkitPtr.
class ISimpleIndicationObjectCallback {
public:
    virtual ~ISimpleIndicationObjectCallback() = default;

    /// Called by the indication, on a thread of its choice and with no lock held that setValue takes: the callback
    /// sets a new value on @p indication. @param reason of the indication's own choosing.
    virtual void onTimeout(quint64 reason, const ModkitPtr<IIndicationObject> &indication) = 0;
};

#endif
