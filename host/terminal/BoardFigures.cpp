#include "terminal/BoardFigures.h"

#include <QLocale>
#include <QString>

#include <algorithm>
#include <cmath>

std::string BoardFigures::count(qint64 number, int width)
{
    const auto fits = [width](const std::string &text) { return text.size() <= static_cast<std::size_t>(width); };
    std::string grouped = QLocale(QLocale::English).toString(number).toStdString();
    if (fits(grouped))
        return grouped;
    std::string text = std::to_string(number);
    for (const char unit : {'k', 'M', 'G', 'T', 'P'}) {
        if (fits(text))
            break;
        number /= 1000;
        text = std::to_string(number) + unit;
    }
    return text;
}

std::string BoardFigures::rate(std::optional<double> perSecond)
{
    if (!perSecond || !std::isfinite(*perSecond))
        return "-";
    // What would round up to a fourth digit counts as having it.
    const bool isShort = std::abs(*perSecond) < 999.95;
    const double shown = std::clamp(*perSecond, -9999.0, 99999.0);
    return QString::number(shown, 'f', isShort ? 1 : 0).toStdString();
}

std::string BoardFigures::milliseconds(std::optional<qint64> ms)
{
    if (!ms)
        return "-";
    return *ms < 100'000 ? std::to_string(*ms) : count(*ms / 1000, 5) + 's';
}

std::string BoardFigures::percent(double share)
{
    if (std::isnan(share))
        return "-";
    return std::to_string(std::lround(std::clamp(share, 0.0, 9.99) * 100)) + " %";
}

std::string BoardFigures::clock(std::chrono::milliseconds time)
{
    const auto seconds = std::max<qint64>(std::chrono::duration_cast<std::chrono::seconds>(time).count(), 0);
    const qint64 days = seconds / 86'400;
    const QString text = QStringLiteral("%1:%2:%3")
                             .arg(seconds / 3600 % 24)
                             .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
                             .arg(seconds % 60, 2, 10, QLatin1Char('0'));
    return (days > 0 ? std::to_string(days) + " d " : std::string()) + text.toStdString();
}
