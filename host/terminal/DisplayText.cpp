#include "terminal/DisplayText.h"

#include <QLocale>

#include <algorithm>

#include "media/SafeText.h"

QString DisplayText::printable(const std::string &text)
{
    return SafeText::of(text);
}

QString DisplayText::shortenedAtLeft(const QString &text, int width)
{
    if (text.size() <= width)
        return text;
    const QString dots(std::min(width, 3), QLatin1Char('.'));
    QString end = text.right(width - dots.size());
    if (!end.isEmpty() && end.at(0).isLowSurrogate())
        end.remove(0, 1);
    return dots + end;
}

QString DisplayText::grouped(qint64 number)
{
    return QLocale(QLocale::English).toString(number);
}

QString DisplayText::grouped(double number, int decimals)
{
    return QLocale(QLocale::English).toString(number, 'f', decimals);
}

QString DisplayText::counted(qint64 number, const QString &noun)
{
    return grouped(number) + QLatin1Char(' ') + noun + (number == 1 ? QString() : QStringLiteral("s"));
}
