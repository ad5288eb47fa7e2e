#include "session/ComponentHost.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <dlfcn.h>

#include "modkit/ComponentLibrary.h"

ComponentHost::ComponentHost(const ModkitPtr<ISettings> &settings, ObjectRegistry &registry)
    : _settings(settings)
    , _registry(registry)
{
}

ComponentHost::~ComponentHost()
{
    stop();
}

QString ComponentHost::libraryFile(const ComponentOptions &options)
{
    if (options.libraryFile)
        return QString::fromStdString(*options.libraryFile);
    if (qEnvironmentVariableIsSet("DECODING_COMPONENT"))
        return QFile::decodeName(qgetenv("DECODING_COMPONENT"));
    // Beside the code that this is: the library, or a program that has it built in.
    Dl_info self = {};
    if (dladdr(reinterpret_cast<const void *>(&ComponentHost::libraryFile), &self) == 0)
        return QStringLiteral(COMPONENT_FILE_NAME);
    const QDir place = QFileInfo(QFile::decodeName(self.dli_fname)).absoluteDir();
    for (const char *const path :
         {INSTALLED_BESIDE_LIBRARY COMPONENT_FILE_NAME, INSTALLED_BESIDE_PROGRAM COMPONENT_FILE_NAME}) {
        QString installed = place.filePath(QLatin1String(path));
        if (QFile::exists(installed))
            return installed;
    }
    return place.filePath(QStringLiteral(COMPONENT_FILE_NAME));
}

std::optional<std::string> ComponentHost::start(const QString &path)
{
    auto loaded = ComponentLibrary::load(path);
    if (const std::string *const error = std::get_if<std::string>(&loaded))
        return *error;
    const ComponentLibrary &library = std::get<ComponentLibrary>(loaded);

    auto created = library.createObject();
    if (const std::string *const error = std::get_if<std::string>(&created))
        return *error;
    const ModkitPtr<IComponent> component(std::get<ComponentLibrary::Object>(created).release());

    if (!component->init(_settings, _registry, component))
        return library.path().toStdString() + ": " + library.name() + " finds a service missing that it requires";
    _name = library.name();
    _path = library.path().toStdString();
    _component = component;
    return std::nullopt;
}

void ComponentHost::stop()
{
    if (_component.isNull())
        return;
    _component->stop();
    _component.reset();
}
