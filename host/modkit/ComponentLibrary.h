#ifndef HOST_MODKIT_COMPONENTLIBRARY_H
#define HOST_MODKIT_COMPONENTLIBRARY_H

#include <QString>

#include <memory>
#include <string>
#include <variant>

#include "interfaces/ComponentExports.h"

/// A component's library, loaded into the process. Copies stand for the same library.
///
/// A library stays loaded until the process ends, one that turned out to be no component included: objects of its
/// types, and pointers to them on any thread, may outlive every ComponentLibrary, and their code lies in it.
///
/// The exports of a component are called from one thread, so load, createObject and the deletion of objects that were
/// never handed over are called from one thread as well. Errors are one line each, name the library's path and what is
/// wrong with it. An exception out of the creation of an object becomes an error; ModkitMyName throws none.
class ComponentLibrary {
public:
    /// Deletes an object through ModkitDeleteObject of the library that it comes from.
    class Deleter {
    public:
        explicit Deleter(decltype(&ModkitDeleteObject) deleteObject)
            : _deleteObject(deleteObject)
        {
        }
        void operator()(IComponent *object) const;

    private:
        decltype(&ModkitDeleteObject) _deleteObject;
    };

    /// A component's object that no ModkitPtr holds yet. Before `init` the host hands it over,
    ///
    ///     const ModkitPtr<IComponent> component(object.release());
    ///
    /// whose last release then destroys it by its virtual destructor. An object that is never handed over is deleted
    /// through ModkitDeleteObject.
    using Object = std::unique_ptr<IComponent, Deleter>;

    /// Loads the library at @p path, relative to the working directory or absolute; no other place is searched, and no
    /// prefix or suffix is added.
    /// @return the library, or an error: the file is not there, cannot be loaded, lacks one of the three exports, or
    ///         answers no name, being made for another version of the contract.
    [[nodiscard]] static std::variant<ComponentLibrary, std::string> load(const QString &path);

    /// The component's name as the library gives it.
    const std::string &name() const { return _name; }
    /// The absolute path of the library.
    const QString &path() const { return _path; }

    /// @return a new object, never null; or an error when the library makes none or throws.
    [[nodiscard]] std::variant<Object, std::string> createObject() const;

private:
    ComponentLibrary() = default;

    // Constant after load.
    QString _path;
    std::string _name;
    decltype(&ModkitGetObject) _getObject = nullptr;
    decltype(&ModkitDeleteObject) _deleteObject = nullptr;
};

#endif
