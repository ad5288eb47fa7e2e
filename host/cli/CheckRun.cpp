#include "cli/CheckRun.h"

#include <memory>

#include "format/FormatManager.h"
#include "interfaces/IDecodingManager.h"
#include "interfaces/ITuneDecoding.h"
#include "interfaces/InterfaceIdentifiers.h"
#include "modkit/ObjectRegistry.h"
#include "modkit/ObjectTrace.h"
#include "session/ComponentHost.h"
#include "session/HostSettings.h"
#include "session/ProcessThreads.h"

namespace {

CheckReport::Publication describe(ObjectRegistry &registry, const std::string &identifier)
{
    const ModkitPtr<IPolymorph> object = registry.getObject(identifier);
    CheckReport::Publication publication{identifier, {}};
    if (!ModkitPtr<IDecodingManager>(object).isNull())
        publication.interfaces.push_back("IDecodingManager");
    if (!ModkitPtr<ITuneDecoding>(object).isNull())
        publication.interfaces.push_back("ITuneDecoding");
    return publication;
}

/// @return nothing on success, and then nothing that was made here lives any more; otherwise what went wrong.
std::optional<std::string> runComponent(const ComponentOptions &options, CheckReport &report)
{
    const auto settings = HostSettings::collect(options);
    if (const std::string *const error = std::get_if<std::string>(&settings))
        return *error;

    ObjectRegistry registry;
    registry.setObject(
        InterfaceIdentifiers::avFormatManager,
        ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(new FormatManager(std::make_shared<DamageCounts>()))));
    const std::set<int> threadsBefore = ProcessThreads::ids();

    ComponentHost host(std::get<ModkitPtr<ISettings>>(settings), registry);
    if (auto error = host.start(ComponentHost::libraryFile(options)))
        return error;
    report.componentName = host.componentName();
    report.componentPath = host.componentPath();
    report.threads = host.threads();
    for (const std::string &identifier : registry.identifiers()) {
        if (identifier != InterfaceIdentifiers::avFormatManager)
            report.published.push_back(describe(registry, identifier));
    }

    host.stop();
    report.threadsLeft = ProcessThreads::leftSince(threadsBefore);
    for (const std::string &identifier : registry.identifiers()) {
        if (identifier != InterfaceIdentifiers::avFormatManager)
            report.stillPublished.push_back(identifier);
    }
    return std::nullopt;
}

} // namespace

std::variant<CheckReport, std::string> CheckRun::run(const CheckOptions &options)
{
    CheckReport report;
    if (const auto error = runComponent(options.component, report))
        return *error;
    report.objectsLeft = ObjectTrace::liveCountByType();
    return report;
}
