#ifndef BENCH_LOADEDCOMPONENT_H
#define BENCH_LOADEDCOMPONENT_H

#include <optional>
#include <string>

#include "interfaces/IAVFormatManager.h"
#include "interfaces/IDecodingManager.h"
#include "interfaces/ITuneDecoding.h"
#include "modkit/ObjectRegistry.h"

/// The component as a host runs it: loaded from its library, initialised with so many threads and a format component,
/// without indications; stopped in the end. Drop all handles before. Thread-bound.
class LoadedComponent final {
public:
    LoadedComponent() = default;
    LoadedComponent(const LoadedComponent &) = delete;
    LoadedComponent &operator=(const LoadedComponent &) = delete;
    ~LoadedComponent();

    /// Loads the component that stands beside this program. @return nothing on success, otherwise what is wrong.
    [[nodiscard]] std::optional<std::string> start(int threadCount, const ModkitPtr<IAVFormatManager> &formatManager);

    // Once started.

    IDecodingManager &manager() const { return *_manager; }
    ITuneDecoding &tuning() const { return *_tuning; }

private:
    ObjectRegistry _registry;
    ModkitPtr<IComponent> _component;
    ModkitPtr<IDecodingManager> _manager;
    ModkitPtr<ITuneDecoding> _tuning;
};

#endif
