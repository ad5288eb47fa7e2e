#include "app/InputNames.h"

#include <QFileInfo>
#include <QRegularExpression>

#include "queues/LiveSource.h"

namespace {

QString liveName(const QString &url)
{
    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z0-9+.-]+://"));
    static const QRegularExpression device(QStringLiteral("^([A-Za-z0-9]+:[^=,:;@]*)"));
    if (!scheme.match(url).hasMatch()) {
        const QRegularExpressionMatch match = device.match(url);
        return match.hasMatch() ? match.captured(1) : url;
    }
    const QString rest = QString(url).remove(scheme).section(QLatin1Char('?'), 0, 0);
    const QString authority = rest.section(QLatin1Char('/'), 0, 0);
    return authority.section(QLatin1Char('@'), -1) + rest.mid(authority.size());
}

QString fileStem(const QString &name)
{
    static const QRegularExpression notInFileNames(QStringLiteral("[^A-Za-z0-9._-]+"));
    return QString(name).replace(notInFileNames, QStringLiteral("-"));
}

} // namespace

InputNames::Name InputNames::next(const InputSpec &input)
{
    const QString url = QString::fromStdString(input.url);
    std::string shown;
    std::string stem;
    if (input.name || LiveSource::isLive(url)) {
        shown = input.name.value_or(liveName(url).toStdString());
        stem = fileStem(QString::fromStdString(shown)).toStdString();
    } else {
        const QFileInfo file(url);
        shown = file.fileName().isEmpty() ? input.url : file.fileName().toStdString();
        stem = file.completeBaseName().toStdString();
    }
    return {unique(shown, " (%1)", _shown), unique(stem.empty() ? "input" : stem, "-%1", _stems)};
}

void InputNames::release(const Name &name)
{
    _shown.erase(name.shown);
}

std::string InputNames::unique(const std::string &wanted, const char *suffix, std::set<std::string> &taken)
{
    std::string name = wanted;
    for (int number = 2; !taken.insert(name).second; ++number)
        name = wanted + QString::fromLatin1(suffix).arg(number).toStdString();
    return name;
}
