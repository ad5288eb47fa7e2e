#include "media/ShownUrl.h"

#include <QRegularExpression>

namespace {

const QRegularExpression &schemePattern()
{
    static const QRegularExpression pattern(QStringLiteral("^[A-Za-z0-9+.-]+://"));
    return pattern;
}

} // namespace

QString ShownUrl::withoutSecrets(const QString &url)
{
    static const QRegularExpression user(QStringLiteral("^([^/]*://)(?:[^@/?#]*:.*|[^/?#]+)@"));
    static const QRegularExpression parameter(
        QStringLiteral("([?&][^=&]*(?:pass|pwd|secret|token|sig|cred|key|auth)[^=&]*=)[^&]*"),
        QRegularExpression::CaseInsensitiveOption);
    if (!schemePattern().match(url).hasMatch())
        return url;
    return QString(url).replace(user, QStringLiteral("\\1***@")).replace(parameter, QStringLiteral("\\1***"));
}

QString ShownUrl::place(const QString &url)
{
    static const QRegularExpression user(QStringLiteral("^[^/?#]*@"));
    if (!schemePattern().match(url).hasMatch())
        return url;
    return withoutSecrets(url).remove(schemePattern()).remove(user).section(QLatin1Char('?'), 0, 0);
}
