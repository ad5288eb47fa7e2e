#include "cli/InputSpec.h"

#include <QRegularExpression>
#include <QString>

#include "sources/LiveUrl.h"

InputSpec InputSpec::parse(const std::string &text)
{
    static const QRegularExpression named(QStringLiteral("^([A-Za-z0-9._-]+)=(.+)$"));
    const QRegularExpressionMatch match = named.match(QString::fromStdString(text));
    // Files may have such a sign in their names.
    if (!match.hasMatch() || !LiveUrl::isLive(match.captured(2)))
        return {text, std::nullopt};
    return {match.captured(2).toStdString(), match.captured(1).toStdString()};
}

bool InputSpec::isLive() const
{
    return LiveUrl::isLive(QString::fromStdString(url));
}
