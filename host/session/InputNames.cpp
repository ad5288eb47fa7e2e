#include "session/InputNames.h"

#include <QFileInfo>
#include <QRegularExpression>

#include "media/ShownUrl.h"
#include "sources/LiveSource.h"

namespace {

bool isUrl(const QString &input)
{
    return input.contains(QLatin1String("://"));
}

QString liveName(const QString &url)
{
    static const QRegularExpression device(QStringLiteral("^([A-Za-z0-9]+:[^=,:;@]*)"));
    if (isUrl(url))
        return ShownUrl::place(url);
    const QRegularExpressionMatch match = device.match(url);
    return match.hasMatch() ? match.captured(1) : url;
}

QString fileStem(const QString &name)
{
    static const QRegularExpression number(QStringLiteral(" \\(([0-9]+)\\)$"));
    static const QRegularExpression notInFileNames(QStringLiteral("[^A-Za-z0-9._-]+"));
    return QString(name).replace(number, QStringLiteral("-\\1")).replace(notInFileNames, QStringLiteral("-"));
}

} // namespace

InputNames::Name InputNames::next(const std::string &address, const std::string &name)
{
    const QString url = QString::fromStdString(address);
    std::string shown;
    std::string stem;
    if (!name.empty() || LiveSource::isLive(url)) {
        shown = name.empty() ? liveName(url).toStdString() : name;
        stem = fileStem(QString::fromStdString(shown)).toStdString();
    } else {
        const QFileInfo file(isUrl(url) ? ShownUrl::place(url) : url);
        shown = file.fileName().isEmpty() ? ShownUrl::withoutSecrets(url).toStdString() : file.fileName().toStdString();
        stem = (isUrl(url) ? fileStem(file.completeBaseName()) : file.completeBaseName()).toStdString();
    }
    return {nextShown(shown), nextStem(stem.empty() ? "input" : stem)};
}

void InputNames::release(const Name &name)
{
    _shown.erase(name.shown);
}

std::string InputNames::nextShown(const std::string &wanted)
{
    std::string name = wanted;
    for (int number = 2; !_shown.insert(name).second; ++number)
        name = wanted + " (" + std::to_string(number) + ')';
    return name;
}

std::string InputNames::nextStem(const std::string &wanted)
{
    const bool isFree = !wasGiven(wanted);
    int &highest = _stems.emplace(wanted, 1).first->second;
    if (isFree)
        return wanted;
    std::string stem;
    int number = highest;
    do {
        stem = wanted + '-' + std::to_string(++number);
    } while (wasGiven(stem));
    highest = number;
    return stem;
}

/// Or passed over, because it had been given.
bool InputNames::wasGiven(const std::string &stem) const
{
    static const QRegularExpression numbered(QStringLiteral("^(.+)-([1-9][0-9]*)$"));
    if (_stems.count(stem) > 0)
        return true;
    const QRegularExpressionMatch match = numbered.match(QString::fromStdString(stem));
    const auto found = _stems.find(match.captured(1).toStdString());
    const int number = match.captured(2).toInt(); // 0 where it is none
    return found != _stems.end() && number > 1 && number <= found->second;
}
