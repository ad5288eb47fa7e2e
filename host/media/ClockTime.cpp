#include "media/ClockTime.h"

#include <QDateTime>

namespace {

std::string formatted(std::chrono::system_clock::time_point instant, const QString &format)
{
    const auto sinceEpoch = std::chrono::duration_cast<std::chrono::milliseconds>(instant.time_since_epoch());
    return QDateTime::fromMSecsSinceEpoch(sinceEpoch.count()).toString(format).toStdString();
}

} // namespace

std::string ClockTime::full(std::chrono::system_clock::time_point instant)
{
    return formatted(instant, QStringLiteral("yyyy-MM-ddTHH:mm:ss"));
}

std::string ClockTime::ofDay(std::chrono::system_clock::time_point instant)
{
    return formatted(instant, QStringLiteral("HH:mm:ss"));
}
