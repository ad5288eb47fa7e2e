#include "session/ComponentHost.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <atomic>
#include <dlfcn.h>
#include <iterator>
#include <set>

#include "modkit/ComponentLibrary.h"
#include "session/ProcessThreads.h"
#include "threads/HostThread.h"

namespace {

/// Passes the settings on, and remembers how many threads the component was told to start.
class WatchedSettings final : public ISettings {
public:
    explicit WatchedSettings(const ModkitPtr<ISettings> &settings)
        : _settings(settings)
    {
    }

    std::int32_t getInt(const std::string &key, std::int32_t defaultValue) override
    {
        const std::int32_t value = _settings->getInt(key, defaultValue);
        if (key == "THREADS")
            _threadsWanted = value;
        return value;
    }

    /// @return 0 when it has not asked.
    std::int32_t threadsWanted() const { return _threadsWanted; }

private:
    const ModkitPtr<ISettings> _settings;
    std::int32_t _threadsWanted = 0;
};

std::atomic<QtMessageHandler> handlerBefore = nullptr; // stays: another thread may be on its way there
std::atomic<int> refusedThreads = 0;

/// While it lives, Qt does not warn of each thread that the system refuses: they are counted. One at a time.
class ThreadWarningsOff final {
public:
    ThreadWarningsOff()
    {
        refusedThreads = 0;
        handlerBefore = qInstallMessageHandler(&ThreadWarningsOff::handle);
    }
    ~ThreadWarningsOff() { qInstallMessageHandler(handlerBefore); }
    ThreadWarningsOff(const ThreadWarningsOff &) = delete;
    ThreadWarningsOff &operator=(const ThreadWarningsOff &) = delete;

    /// Whether the system has refused any since it began.
    static bool hasRefused() { return refusedThreads > 0; }

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        const QtMessageHandler passOn = handlerBefore;
        if (text.startsWith(QLatin1String("QThread::start: ")))
            ++refusedThreads;
        else if (passOn)
            passOn(type, context, text);
    }
};

/// @return those of @p threads that the component has started. What the program or another session has begun meanwhile
///         does not bear the name that Qt gives to the system for a thread which has none yet.
std::vector<int> startedByTheComponent(const std::vector<int> &threads, std::size_t wanted)
{
    std::vector<int> named;
    std::copy_if(threads.begin(), threads.end(), std::back_inserter(named), [](int thread) {
        QFile name(QStringLiteral("/proc/self/task/%1/comm").arg(thread));
        return name.open(QIODevice::ReadOnly) && name.readAll() == "QThread\n";
    });
    // A component of another's making may give names of its own, and where nothing was refused, there is no reason to
    // doubt that it has started what it was told to.
    const bool areNames = !named.empty() && (named.size() >= wanted || ThreadWarningsOff::hasRefused());
    return areNames ? named : threads;
}

} // namespace

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

    const std::set<int> threadsBefore = ProcessThreads::ids();
    auto *const settings = new WatchedSettings(_settings);
    const ModkitPtr<ISettings> shared(settings);
    {
        const ThreadWarningsOff warningsOff;
        const HostThread::WithoutSignals inherited; // by the decoder threads
        if (!component->init(shared, _registry, component))
            return library.path().toStdString() + ": " + library.name() + " finds a service missing that it requires";
    }
    const std::size_t wanted = static_cast<std::size_t>(std::max(settings->threadsWanted(), 0));
    _threads = startedByTheComponent(ProcessThreads::startedSince(threadsBefore), wanted);
    if (_threads.size() < wanted) {
        component->stop();
        const std::string started =
            std::to_string(_threads.size()) + " of " + std::to_string(wanted) + " decoder threads started: ";
        if (!ThreadWarningsOff::hasRefused())
            return started + "the component does not say why; ask for fewer threads";
        return started + "the system allows no more (ulimit -u, or the limit of a container); raise that limit, or ask "
                         "for fewer threads";
    }
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
