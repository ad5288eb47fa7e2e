#ifndef INTERFACES_ISETTINGS_H
#define INTERFACES_ISETTINGS_H

#include <cstdint>
#include <string>

#include "strata/base/modkit/modkit"

/// The host's settings as a component reads them. Implemented by the framework; shared by ModkitPtr.
class ISettings : public IPolymorph {
public:
    /// @return the 32-bit integer stored under @p key, or @p defaultValue when it has no value. Called from the thread
    ///         that runs IComponent::init; must not throw.
    virtual std::int32_t getInt(const std::string &key, std::int32_t defaultValue) = 0;
};

#endif
