#ifndef INTERFACES_IINDICATIONMANAGER_H
#define INTERFACES_IINDICATIONMANAGER_H

#include <QString>

#include "interfaces/IIndicationObject.h"
#include "strata/base/modkit/modkit"

/// Keeps the host's indications: named live values, shown to an operator. Implemented by the host; must be thread-safe
/// and must not throw.
class IIndicationManager : public IPolymorph {
public:
    /// Never called by the decoding manager: it keeps the place of an operation of other users.
    virtual void reserved1() = 0;

    /// Ends the showing of @p indication. Called on a decoder thread, for each indication that createIndication was
    /// asked for, with an empty pointer where it gave none.
    virtual void removeIndication(const ModkitPtr<IIndicationObject> &indication) = 0;

    /// Creates and shows an indication. Called on the thread that creates a decoder, while the decoding manager's lock
    /// is held: it must not call the decoding manager.
    /// @param reserved always null.
    /// @param name what is indicated, such as "DecoderLost". @param ownerName which decoder it belongs to.
    /// @param initialValue 0 good, 1 warning or alternative state, 2 bad, 3 black (nothing to show).
    /// @return the indication; an empty pointer is accepted, and that indication is then not shown.
    virtual ModkitPtr<IIndicationObject> createIndication(void *reserved, const QString &name, const QString &ownerName,
                                                          int initialValue) = 0;
};

#endif
