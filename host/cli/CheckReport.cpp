#include "cli/CheckReport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include "cli/ReportText.h"

namespace {

QString listed(const std::vector<std::string> &texts, const QString &whenEmpty)
{
    QStringList list;
    for (const std::string &text : texts)
        list.append(QString::fromStdString(text));
    return list.isEmpty() ? whenEmpty : list.join(QStringLiteral(", "));
}

QString counted(const std::vector<int> &threads)
{
    QStringList ids;
    for (const int id : threads)
        ids.append(QString::number(id));
    return ids.isEmpty() ? QStringLiteral("none")
                         : QStringLiteral("%1 (%2)").arg(ids.size()).arg(ids.join(QStringLiteral(", ")));
}

} // namespace

std::string CheckReport::toText() const
{
    QString text = ReportText::line("component", QString::fromStdString(componentName + ", from " + componentPath));
    for (const Publication &publication : published)
        text += ReportText::line("published",
                                 QStringLiteral("%1: %2").arg(QString::fromStdString(publication.identifier),
                                                              listed(publication.interfaces, QStringLiteral("?"))));
    text += ReportText::line("threads", QStringLiteral("%1 started").arg(counted(threads)));
    text +=
        ReportText::line("stopped", QStringLiteral("still published: %1; threads left: %2")
                                        .arg(listed(stillPublished, QStringLiteral("nothing")), counted(threadsLeft)));
    if (objectsLeft.empty())
        text += ReportText::line("objects", QStringLiteral("none alive"));
    for (const auto &[type, count] : objectsLeft)
        text += ReportText::line("objects",
                                 QStringLiteral("%1 of %2 still alive").arg(count).arg(QString::fromStdString(type)));
    return text.toStdString();
}

std::string CheckReport::toJson() const
{
    QJsonArray publications;
    for (const Publication &publication : published)
        publications.append(QJsonObject{{QStringLiteral("identifier"), QString::fromStdString(publication.identifier)},
                                        {QStringLiteral("interfaces"), ReportText::array(publication.interfaces)}});
    QJsonObject objects;
    for (const auto &[type, count] : objectsLeft)
        objects.insert(QString::fromStdString(type), static_cast<qint64>(count));
    const QJsonObject report{
        {QStringLiteral("component"), QJsonObject{{QStringLiteral("name"), QString::fromStdString(componentName)},
                                                  {QStringLiteral("path"), QString::fromStdString(componentPath)}}},
        {QStringLiteral("published"), publications},
        {QStringLiteral("threads"), ReportText::array(threads)},
        {QStringLiteral("afterStop"), QJsonObject{{QStringLiteral("published"), ReportText::array(stillPublished)},
                                                  {QStringLiteral("threads"), ReportText::array(threadsLeft)},
                                                  {QStringLiteral("liveObjects"), objects}}},
    };
    return QJsonDocument(report).toJson().toStdString();
}
