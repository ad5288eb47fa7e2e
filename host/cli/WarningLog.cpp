#include "cli/WarningLog.h"

#include <QString>

#include <chrono>
#include <cstdio>
#include <mutex>
#include <utility>

#include "media/ClockTime.h"
#include "terminal/DisplayText.h"

namespace {

std::mutex mutex;
WarningLog *current = nullptr; // guarded by mutex, as are its warnings

void write(const std::string &message)
{
    const std::string time = ClockTime::full(std::chrono::system_clock::now());
    std::fprintf(stderr, "decoding-host: %s: %s\n", time.c_str(), DisplayText::printable(message).toUtf8().constData());
}

} // namespace

WarningLog::WarningLog()
{
    const std::lock_guard<std::mutex> lock(mutex);
    current = this;
    _previous = qInstallMessageHandler(&WarningLog::handle);
}

WarningLog::~WarningLog()
{
    // Other threads may be in the handler still: they find no log there rather than this one.
    const std::lock_guard<std::mutex> lock(mutex);
    qInstallMessageHandler(_previous);
    current = nullptr;
}

std::vector<std::string> WarningLog::take()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(_warnings, {});
}

void WarningLog::handle(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    if (type == QtDebugMsg || type == QtInfoMsg)
        return;
    const std::lock_guard<std::mutex> lock(mutex);
    if (current && type != QtFatalMsg) {
        current->_warnings.push_back(text.toStdString());
        return;
    }
    if (current) {
        for (const std::string &warning : std::exchange(current->_warnings, {}))
            write(warning);
    }
    write(text.toStdString());
}
