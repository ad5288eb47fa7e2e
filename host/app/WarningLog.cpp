#include "app/WarningLog.h"

#include <QString>

#include <atomic>
#include <utility>

namespace {

std::atomic<WarningLog *> current{nullptr};

} // namespace

WarningLog::WarningLog()
{
    current = this;
    _previous = qInstallMessageHandler(&WarningLog::handle);
}

WarningLog::~WarningLog()
{
    qInstallMessageHandler(_previous);
    current = nullptr;
}

std::vector<std::string> WarningLog::take()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return std::exchange(_warnings, {});
}

void WarningLog::handle(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    if (type == QtDebugMsg || type == QtInfoMsg)
        return;
    WarningLog &log = *current;
    const std::lock_guard<std::mutex> lock(log._mutex);
    log._warnings.push_back(text.toStdString());
}
