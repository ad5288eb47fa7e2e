#ifndef HOST_SESSION_COMPONENTHOST_H
#define HOST_SESSION_COMPONENTHOST_H

#include <QString>

#include <optional>
#include <string>
#include <vector>

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

    /// Loads the library at @p path, and creates and initialises its component. To be called once. Where the system
    /// refuses a thread that the setting THREADS asks for, the component is stopped again.
    /// @return nothing on success, otherwise one line that says what is wrong, and with which library.
    [[nodiscard]] std::optional<std::string> start(const QString &path);

    /// Stops the component and drops the framework's reference to it; does nothing when it is not running.
    void stop();

    // Once the component is started.

    const std::string &componentName() const { return _name; }
    /// The absolute path of its library.
    const std::string &componentPath() const { return _path; }
    /// The threads that it has started, by the system's ids.
    const std::vector<int> &threads() const { return _threads; }

private:
    ModkitPtr<ISettings> _settings;
    ObjectRegistry &_registry;
    std::string _name;
    std::string _path;
    std::vector<int> _threads;
    ModkitPtr<IComponent> _component; // set while it is running
};

#endif
