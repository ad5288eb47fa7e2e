#include "session/SessionSettings.h"

#include <string>
#include <variant>

#include "session/ComponentHost.h"
#include "session/ComponentOptions.h"
#include "session/HostSettings.h"

namespace {

ComponentOptions componentOptions(const decoding::SessionOptions &options)
{
    ComponentOptions component;
    if (!options.component.empty())
        component.libraryFile = options.component;
    if (!options.settings.empty())
        component.settingsFile = options.settings;
    if (options.threads != 0)
        component.threads = options.threads;
    return component;
}

} // namespace

SessionSettings::SessionSettings(const decoding::SessionOptions &options)
{
    const ComponentOptions component = componentOptions(options);
    const auto settings = HostSettings::collect(component);
    if (const std::string *const error = std::get_if<std::string>(&settings))
        throw decoding::Error(*error);
    _settings = std::get<ModkitPtr<ISettings>>(settings);
    if (_settings->getInt("THREADS", 1) == 0)
        throw decoding::Error("the setting THREADS (DECODING_THREADS or settings file) is 0: no thread would decode");
    _componentFile = ComponentHost::libraryFile(component);
}
