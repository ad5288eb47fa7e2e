#include "LoadedComponent.h"

#include <QCoreApplication>

#include <variant>

#include "interfaces/InterfaceIdentifiers.h"
#include "modkit/ComponentLibrary.h"
#include "modkit/Settings.h"

LoadedComponent::~LoadedComponent()
{
    _manager.reset();
    _tuning.reset();
    if (!_component.isNull())
        _component->stop();
}

std::optional<std::string> LoadedComponent::start(int threadCount, const ModkitPtr<IAVFormatManager> &formatManager)
{
    const auto loaded =
        ComponentLibrary::load(QCoreApplication::applicationDirPath() + QStringLiteral("/" COMPONENT_FILE_NAME));
    if (const std::string *const error = std::get_if<std::string>(&loaded))
        return *error;
    auto created = std::get<ComponentLibrary>(loaded).createObject();
    if (const std::string *const error = std::get_if<std::string>(&created))
        return *error;

    auto *const settings = new Settings;
    const ModkitPtr<ISettings> sharedSettings(settings);
    settings->addMap({{"THREADS", std::to_string(threadCount)}}, "the benchmark");
    _registry.setObject(InterfaceIdentifiers::avFormatManager, ModkitPtr<IPolymorph>(formatManager));
    const ModkitPtr<IComponent> component(std::get<ComponentLibrary::Object>(created).release());
    if (!component->init(sharedSettings, _registry, component))
        return "the component cannot be initialised";
    _component = component;
    _manager = ModkitPtr<IDecodingManager>(_registry.getObject(InterfaceIdentifiers::decodingManager));
    _tuning = ModkitPtr<ITuneDecoding>(_registry.getObject(InterfaceIdentifiers::tuneDecoding));
    if (_manager.isNull() || _tuning.isNull())
        return "the component publishes no manager";
    return std::nullopt;
}
