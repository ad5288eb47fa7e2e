#ifndef INTERFACES_IOBJECTREGISTRY_H
#define INTERFACES_IOBJECTREGISTRY_H

#include <string>

#include "strata/base/modkit/modkit"

/// Where components publish themselves and find each other, by identifier (interfaces/InterfaceIdentifiers.h).
/// Implemented and owned by the framework, which keeps it until every component that was given it has stopped. A
/// component calls it from the thread that runs `init` and `stop`, never under a lock of its own. Must not throw.
class IObjectRegistry {
public:
    /// Publishes @p object under @p identifier, in place of what stood there; an empty pointer withdraws it. The
    /// registry keeps a reference while the object is published.
    /// @return an object of the registry's choosing, which the caller may drop unread.
    virtual ModkitPtr<IPolymorph> setObject(const std::string &identifier, const ModkitPtr<IPolymorph> &object) = 0;

    /// @return the object published under @p identifier, empty when the registry has none.
    virtual ModkitPtr<IPolymorph> getObject(const std::string &identifier) = 0;

protected:
    ~IObjectRegistry() = default;
};

#endif
