#include "modkit/ComponentLibrary.h"

#include <QFileInfo>
#include <QLibrary>
#include <QStringList>

#include <exception>

namespace {

std::string failure(const QString &path, const QString &reason)
{
    // A path or a reason given by the loader or by the component may have several lines.
    return QStringLiteral("Component library \"%1\": %2").arg(path, reason).simplified().toStdString();
}

template <class Export>
Export *resolve(QLibrary &library, const char *symbol, QStringList &missing)
{
    const QFunctionPointer address = library.resolve(symbol);
    if (!address)
        missing.append(QString::fromLatin1(symbol));
    return reinterpret_cast<Export *>(address);
}

} // namespace

void ComponentLibrary::Deleter::operator()(IComponent *object) const
{
    _deleteObject(&object, ModkitVersionKey);
}

std::variant<ComponentLibrary, std::string> ComponentLibrary::load(const QString &path)
{
    const QFileInfo file(path);
    ComponentLibrary component;
    component._path = file.absoluteFilePath();
    if (!file.exists())
        return failure(component._path, "no such file");

#if defined(Q_OS_WIN)
    // The loader itself would try another one.
    if (!file.fileName().contains('.'))
        return failure(component._path, "not a loadable library: to a name without a suffix, Windows adds \".dll\"");
#endif
    // The absolute path of a file that is there: QLibrary tries it as it is, and no other name or folder after it.
    QLibrary library(component._path);
    // All symbols at once: one that is missing is an error here, not the end of the process at its first use.
    library.setLoadHints(QLibrary::PreventUnloadHint | QLibrary::ResolveAllSymbolsHint);
    if (!library.load())
        return failure(component._path, "not a loadable library: " + library.errorString());

    QStringList missing;
    const auto myName = resolve<decltype(ModkitMyName)>(library, "ModkitMyName", missing);
    component._getObject = resolve<decltype(ModkitGetObject)>(library, "ModkitGetObject", missing);
    component._deleteObject = resolve<decltype(ModkitDeleteObject)>(library, "ModkitDeleteObject", missing);
    if (!missing.isEmpty())
        return failure(component._path, "not a component: it does not export " + missing.join(", "));

    const char *name = nullptr;
    std::int32_t value = 0;
    myName(&name, &value, ModkitVersionKey);
    if (!name) {
        return failure(component._path, QStringLiteral("answers no name for version key %1: build it against this "
                                                       "version of the framework contract")
                                            .arg(ModkitVersionKey));
    }
    component._name = name;
    return component;
}

std::variant<ComponentLibrary::Object, std::string> ComponentLibrary::createObject() const
{
    IComponent *object = nullptr;
    try {
        _getObject(&object, ModkitVersionKey);
    } catch (const std::exception &error) {
        return failure(_path, QStringLiteral("could not create its object: %1").arg(error.what()));
    } catch (...) {
        return failure(_path, "could not create its object: unknown exception");
    }
    if (!object)
        return failure(_path, QStringLiteral("created no object for version key %1").arg(ModkitVersionKey));
    return Object(object, Deleter(_deleteObject));
}
