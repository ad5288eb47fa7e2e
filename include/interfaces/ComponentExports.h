#ifndef INTERFACES_COMPONENTEXPORTS_H
#define INTERFACES_COMPONENTEXPORTS_H

#include <cstdint>

#include "strata/base/modkit/modkit"

/// Version of the framework contract. A caller passes it to every export; an export that is passed another value
/// refuses.
constexpr std::int32_t ModkitVersionKey = 3264;

#if defined(__ELF__)
#define MODKIT_EXPORT __attribute__((visibility("default")))
#else
#define MODKIT_EXPORT // the module definition file exports the plain names
#endif

/// The three plain functions that a component's library exports, and nothing else. The framework calls them from one
/// thread. No pointer argument may be null. None of them reports a wrong key other than by its result.
extern "C" {
/// Stores the component's name, a constant of the library, into @p name, or null when @p key is not ModkitVersionKey.
/// Stores 1 into @p value whatever the key.
MODKIT_EXPORT void ModkitMyName(const char **name, std::int32_t *value, std::int32_t key);

/// Stores a new component object into @p object, or null when @p key is not ModkitVersionKey. Each call makes an
/// object of its own, which the caller hands to a ModkitPtr or destroys with ModkitDeleteObject.
/// @throws whatever the construction throws; @p object is then null.
MODKIT_EXPORT void ModkitGetObject(IComponent **object, std::int32_t key);

/// Destroys @p object, an object from ModkitGetObject that no ModkitPtr holds, and leaves the pointer as it is. Does
/// nothing when the pointer is null or @p key is not ModkitVersionKey.
MODKIT_EXPORT void ModkitDeleteObject(IComponent **object, std::int32_t key);
}

#endif
