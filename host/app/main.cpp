#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <variant>
#include <vector>

#include "app/ComponentHost.h"
#include "app/HostReport.h"
#include "app/ProcessThreads.h"
#include "format/FormatManager.h"
#include "interfaces/IDecodingManager.h"
#include "interfaces/ITuneDecoding.h"
#include "interfaces/InterfaceIdentifiers.h"
#include "modkit/ObjectRegistry.h"
#include "modkit/ObjectTrace.h"
#include "modkit/Settings.h"

namespace {

constexpr int exitWrongUsage = 2;

// The component takes any number: a mistyped one would use up the machine.
constexpr std::int32_t maxThreads = 1024;

int fail(int exitCode, const std::string &message)
{
    // One line, whatever texts of others the message quotes.
    const QByteArray line = QString::fromStdString(message).simplified().toUtf8();
    std::fprintf(stderr, "decoding-host: %s\n", line.constData());
    return exitCode;
}

struct Options {
    QString component;
    std::optional<QString> settingsFile;
    std::optional<QString> threads;
    bool json = false;
};

/// Reads the command line; ends the program for --help, --version and unknown options. @return what is wrong with the
/// arguments where they make no sense.
std::variant<Options, std::string> parse(const QCoreApplication &application)
{
    const QCommandLineOption component(
        QStringLiteral("component"), QStringLiteral("Load the component at <file>."), QStringLiteral("file"),
        QCoreApplication::applicationDirPath() + QStringLiteral("/" COMPONENT_FILE_NAME));
    const QCommandLineOption settings(QStringLiteral("settings"), QStringLiteral("Read settings from the INI <file>."),
                                      QStringLiteral("file"));
    const QCommandLineOption threads(
        QStringLiteral("threads"),
        QStringLiteral("Start <count> decoder threads (setting THREADS; by default one for "
                       "each processor core)."),
        QStringLiteral("count"));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Report as JSON."));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Loads the decoding manager, initialises it, shows what it publishes and starts, and stops it again.\n"
        "Settings are taken from the command line, then from environment variables DECODING_<KEY>, then from the "
        "file."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({component, settings, threads, json});
    parser.process(application);
    if (!parser.positionalArguments().isEmpty())
        return "unexpected argument \"" + parser.positionalArguments().first().toStdString() + "\"; see --help";

    Options options;
    options.component = parser.value(component);
    options.json = parser.isSet(json);
    if (parser.isSet(settings))
        options.settingsFile = parser.value(settings);
    if (parser.isSet(threads))
        options.threads = parser.value(threads);
    return options;
}

std::vector<int> difference(const std::set<int> &after, const std::set<int> &before)
{
    std::vector<int> added;
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(added));
    return added;
}

/// The threads that the system has beside @p before. Waits a while for them to go: Qt reports the end of a thread a
/// moment before the system has ended it.
std::vector<int> threadsLeft(const std::set<int> &before)
{
    const QDeadlineTimer deadline(2000);
    std::vector<int> left = difference(ProcessThreads::ids(), before);
    while (!left.empty() && !deadline.hasExpired()) {
        QThread::msleep(1);
        left = difference(ProcessThreads::ids(), before);
    }
    return left;
}

HostReport::Publication describe(ObjectRegistry &registry, const std::string &identifier)
{
    const ModkitPtr<IPolymorph> object = registry.getObject(identifier);
    HostReport::Publication publication{identifier, {}};
    if (!ModkitPtr<IDecodingManager>(object).isNull())
        publication.interfaces.push_back("IDecodingManager");
    if (!ModkitPtr<ITuneDecoding>(object).isNull())
        publication.interfaces.push_back("ITuneDecoding");
    return publication;
}

/// Runs the component once, from its loading to its end. @return nothing on success, otherwise what went wrong.
std::optional<std::string> runComponent(const Options &options, HostReport &report)
{
    auto *const settings = new Settings;
    const ModkitPtr<ISettings> sharedSettings(settings);
    if (options.threads)
        settings->addMap({{"THREADS", options.threads->toStdString()}}, "the command line");
    settings->addEnvironment(QStringLiteral("DECODING_"));
    if (options.settingsFile) {
        if (auto error = settings->addIniFile(*options.settingsFile))
            return error;
    }

    if (const auto threads = settings->text("THREADS")) {
        bool isNumber = false;
        const int count = QString::fromStdString(*threads).toInt(&isNumber);
        if (!isNumber || count < 0 || count > maxThreads)
            return "the setting THREADS (command line, DECODING_THREADS or settings file) is \"" + *threads +
                   "\"; it takes a number from 0 to " + std::to_string(maxThreads);
    }

    ObjectRegistry registry;
    registry.setObject(
        InterfaceIdentifiers::avFormatManager,
        ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(new FormatManager(std::make_shared<DamageCounts>()))));
    const std::set<int> threadsBefore = ProcessThreads::ids();

    ComponentHost host(sharedSettings, registry);
    if (auto error = host.start(options.component))
        return error;
    report.componentName = host.componentName();
    report.componentPath = host.componentPath();
    report.threads = difference(ProcessThreads::ids(), threadsBefore);
    for (const std::string &identifier : registry.identifiers()) {
        if (identifier != InterfaceIdentifiers::avFormatManager)
            report.published.push_back(describe(registry, identifier));
    }

    host.stop();
    report.threadsLeft = threadsLeft(threadsBefore);
    for (const std::string &identifier : registry.identifiers()) {
        if (identifier != InterfaceIdentifiers::avFormatManager)
            report.stillPublished.push_back(identifier);
    }
    return std::nullopt;
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): only running out of memory throws, and ends the program
int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("decoding-host"));
    QCoreApplication::setApplicationVersion(QStringLiteral(PROJECT_VERSION));
    const auto parsed = parse(application);
    if (const std::string *const error = std::get_if<std::string>(&parsed))
        return fail(exitWrongUsage, *error);
    const Options &options = std::get<Options>(parsed);

    HostReport report;
    if (const auto error = runComponent(options, report))
        return fail(EXIT_FAILURE, *error);
    report.objectsLeft = ObjectTrace::liveCountByType();
    if (std::fputs((options.json ? report.toJson() : report.toText()).c_str(), stdout) < 0 || std::fflush(stdout) != 0)
        return fail(EXIT_FAILURE,
                    "cannot write the report to the standard output: " + std::generic_category().message(errno));
    return report.isClean() ? EXIT_SUCCESS : fail(EXIT_FAILURE, "the component left something behind");
}
