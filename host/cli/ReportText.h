#ifndef HOST_CLI_REPORTTEXT_H
#define HOST_CLI_REPORTTEXT_H

#include <QJsonArray>
#include <QString>

#include <string>
#include <vector>

#include "media/SafeText.h"

/// What the reports of all commands share. Thread-safe.
namespace ReportText {

/// @return a line of a report for people: @p text, as SafeText makes it, beside its @p title.
inline QString line(const char *title, const QString &text)
{
    return QString::fromLatin1(title).leftJustified(11) + SafeText::of(text.toStdString()) + QLatin1Char('\n');
}

/// @return @p texts, or @p numbers, for a report in JSON.
inline QJsonArray array(const std::vector<std::string> &texts)
{
    QJsonArray array;
    for (const std::string &text : texts)
        array.append(QString::fromStdString(text));
    return array;
}
inline QJsonArray array(const std::vector<int> &numbers)
{
    QJsonArray array;
    for (const int number : numbers)
        array.append(number);
    return array;
}

} // namespace ReportText

#endif
