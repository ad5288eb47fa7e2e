#include "media/ShownUrl.h"

#include <QRegularExpression>
#include <QString>

namespace {

/// Up to where the user's name could begin. A graph of libavfilter has backslashes before the colons of an address. The
/// colon may have been forgotten, or all that stands before the user's name.
const QRegularExpression &beginning()
{
    static const QRegularExpression pattern(
        QStringLiteral("(?:([A-Za-z][A-Za-z0-9+.-]+)\\\\*:[/\\\\]*/"
                       "|(?<![A-Za-z0-9])(rtsp[su]?|s?rtp|udp|srt|rtmp[a-z]*|tcp|"
                       "tls|https?|ftp|sftp|mms[a-z]?|rist)\\\\*:"
                       "|(?<![A-Za-z0-9/])([A-Za-z][A-Za-z0-9+.-]+)//(?=[^\\s@]*[^\\s@/]@))[/\\\\]*"
                       "|(?:^|(?<=[\\s='\"]))(?=[^\\s:@/?#='\"]+:(?!/)(?:(?!\\\\*:/)\\S)*@"
                       "(?:[A-Za-z0-9._-]+|\\[[0-9A-Fa-f:.]+\\])(?:[/:]|$))"),
        QRegularExpression::CaseInsensitiveOption);
    return pattern;
}

/// @return what may be seen behind the beginning of an address, as far as it goes: behind it may be another one.
QString hidden(QString rest, const QString &scheme)
{
    static const QRegularExpression user(QStringLiteral("^(?:[^@/?#]*:.*|[^/?#]+)@"),
                                         QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression streamKey(QStringLiteral("^([^/?#]*/[^/?# ]*[/ ]).+"),
                                              QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression parameters(QStringLiteral("([?#]).+"),
                                               QRegularExpression::DotMatchesEverythingOption);
    // What some cameras take in their path, as in "/user=admin&password=sesame&channel=1".
    static const QRegularExpression values(QStringLiteral("((?:pass[a-z]*|pwd|token|key|auth)=).+?"
                                                          "(?=[&_;,/][a-z]+=|[?#]|$)"),
                                           QRegularExpression::CaseInsensitiveOption |
                                               QRegularExpression::DotMatchesEverythingOption);
    rest.replace(user, QStringLiteral("***@"));
    if (scheme.startsWith(QLatin1String("rtmp"), Qt::CaseInsensitive))
        rest.replace(streamKey, QStringLiteral("\\1***"));
    return rest.replace(parameters, QStringLiteral("\\1***")).replace(values, QStringLiteral("\\1***"));
}

QString withoutSecrets(const QString &text)
{
    QString shown = text;
    int from = 0;
    for (;;) {
        const QRegularExpressionMatch match = beginning().match(shown, from);
        if (!match.hasMatch())
            return shown;
        from = match.capturedEnd();
        shown = shown.left(from) + hidden(shown.mid(from), match.captured(1) + match.captured(2) + match.captured(3));
    }
}

} // namespace

bool ShownUrl::isAddress(const std::string &text)
{
    return beginning().match(QString::fromStdString(text)).hasMatch();
}

std::string ShownUrl::withoutSecrets(const std::string &text)
{
    return ::withoutSecrets(QString::fromStdString(text)).toStdString();
}

std::string ShownUrl::inSentence(const std::string &text)
{
    static const QRegularExpression words(QStringLiteral("[^\\s'\"]+"));
    QString shown = QString::fromStdString(text);
    int from = 0;
    for (QRegularExpressionMatch word; (word = words.match(shown, from)).hasMatch();) {
        const QString replacement = ::withoutSecrets(word.captured());
        shown.replace(word.capturedStart(), word.capturedLength(), replacement);
        from = word.capturedStart() + replacement.size();
    }
    return shown.toStdString();
}

std::string ShownUrl::place(const std::string &url)
{
    static const QRegularExpression user(QStringLiteral("^[^/?#]*@"));
    static const QRegularExpression parameters(QStringLiteral("[?#].*|[/ ]\\*\\*\\*$"),
                                               QRegularExpression::DotMatchesEverythingOption);
    const QString address = QString::fromStdString(url);
    const QString shown = ::withoutSecrets(address);
    // The same in both up to its end. What was hidden behind it may have been what it was known by.
    const QRegularExpressionMatch match = beginning().match(address);
    if (!match.hasMatch())
        return shown.toStdString();
    return shown.mid(match.capturedEnd()).remove(user).remove(parameters).toStdString();
}
