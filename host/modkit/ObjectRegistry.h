#ifndef HOST_MODKIT_OBJECTREGISTRY_H
#define HOST_MODKIT_OBJECTREGISTRY_H

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "interfaces/IObjectRegistry.h"

/// The host's object registry. The host owns it and keeps it until every component that was given it has stopped.
///
/// All operations are thread-safe and never block for long: each takes the registry's lock, under which no object is
/// destroyed and nothing is called back. So the destructor of a published object may itself call the registry, and
/// finds it empty while the registry is being destroyed. Running out of memory ends the process, because the interface
/// allows no exception.
class ObjectRegistry final : public IObjectRegistry {
public:
    ObjectRegistry() = default;
    ObjectRegistry(const ObjectRegistry &) = delete;
    ObjectRegistry &operator=(const ObjectRegistry &) = delete;
    /// Drops every reference that is left. No other thread may use the registry any more.
    ~ObjectRegistry();

    /// @return what stood under @p identifier before, empty if nothing did. When the caller drops it, it may be the
    ///         last reference.
    ModkitPtr<IPolymorph> setObject(const std::string &identifier,
                                    const ModkitPtr<IPolymorph> &object) noexcept override;
    ModkitPtr<IPolymorph> getObject(const std::string &identifier) noexcept override;

    /// @return the identifiers under which an object is published, sorted.
    [[nodiscard]] std::vector<std::string> identifiers() const;

private:
    mutable std::mutex _mutex;
    std::map<std::string, ModkitPtr<IPolymorph>> _objects; // guarded by _mutex; no pointer in it is empty
};

#endif
