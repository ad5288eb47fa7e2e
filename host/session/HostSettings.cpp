#include "session/HostSettings.h"

#include "modkit/Settings.h"

std::variant<ModkitPtr<ISettings>, std::string> HostSettings::collect(const ComponentOptions &options)
{
    auto *const settings = new Settings;
    const ModkitPtr<ISettings> shared(settings);
    if (options.threads)
        settings->addMap({{"THREADS", std::to_string(*options.threads)}}, "the command line");
    settings->addEnvironment(QStringLiteral("DECODING_"));
    if (options.settingsFile) {
        if (auto error = settings->addIniFile(QString::fromStdString(*options.settingsFile)))
            return *error;
    }

    if (const auto threads = settings->text("THREADS")) {
        bool isNumber = false;
        const int count = QString::fromStdString(*threads).toInt(&isNumber);
        if (!isNumber || count < 0 || count > maxThreads)
            return "the setting THREADS (DECODING_THREADS or settings file) is \"" + *threads +
                   "\"; it takes a number from 0 to " + std::to_string(maxThreads);
    }
    return shared;
}
