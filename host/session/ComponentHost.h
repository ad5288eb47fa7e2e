#ifndef HOST_SESSION_COMPONENTHOST_H
#define HOST_SESSION_COMPONENTHOST_H

#include <QString>

#include <optional>
#include <string>

#include "interfaces/ISettings.h"
#include "modkit/ObjectRegistry.h"
#include "session/ComponentOptions.h"

/// The framework's side of one component's life: loads it, gives it the settings and the object registry, and ends it.
/// Publish the services that the component needs in the registry before the start. Thread-bound.
class ComponentHost {
public:
    ComponentHost(const ModkitPtr<ISettings> &settings, ObjectRegistry &registry);
    /// Stops the component if it is running.
    ~ComponentHost();
    ComponentHost(const ComponentHost &) = delete;
    ComponentHost &operator=(const ComponentHost &) = delete;

    /// @return the library that @p options name, or else the environment variable DECODING_COMPONENT; by default the
    ///         component that was built or installed with this code.
    static QString libraryFile(const ComponentOptions &options);

    /// Loads the library at @p path, and creates and initialises its component. To be called once.
    /// @return nothing on success, otherwise one line that names the library and what is wrong.
    [[nodiscard]] std::optional<std::string> start(const QString &path);

    /// Stops the component and drops the framework's reference to it; does nothing when it is not running.
    void stop();

    // Once the component is started.

    const std::string &componentName() const { return _name; }
    /// The absolute path of its library.
    const std::string &componentPath() const { return _path; }

private:
    ModkitPtr<ISettings> _settings;
    ObjectRegistry &_registry;
    std::string _name;
    std::string _path;
    ModkitPtr<IComponent> _component; // set while it is running
};

#endif
