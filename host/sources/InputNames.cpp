#include "sources/InputNames.h"

#include <QFileInfo>
#include <QRegularExpression>

#include "media/SafeText.h"
#include "media/ShownUrl.h"
#include "sources/LiveUrl.h"

namespace {

std::string liveName(const std::string &url)
{
    static const QRegularExpression device(QStringLiteral("^(?:lavfi|v4l2):[^=,:;@]*"),
                                           QRegularExpression::CaseInsensitiveOption);
    const std::string path = LiveUrl::pathOf(url);
    if (path != url && !ShownUrl::isAddress(path))
        return SafeText::utf8(QFileInfo(QString::fromStdString(path)).fileName().toStdString());
    const QRegularExpressionMatch match = device.match(QString::fromStdString(url));
    return match.hasMatch() ? SafeText::utf8(match.captured().toStdString()) : SafeText::utf8(ShownUrl::place(url));
}

QString fileStem(const QString &name)
{
    static const QRegularExpression number(QStringLiteral(" \\(([0-9]+)\\)$"));
    static const QRegularExpression notInFileNames(QStringLiteral("[^A-Za-z0-9._-]+"));
    return QString(name).replace(number, QStringLiteral("-\\1")).replace(notInFileNames, QStringLiteral("-"));
}

} // namespace

InputNames::Name InputNames::next(const std::string &address, const std::string &name, bool writesFiles)
{
    std::string shown;
    QString stem;
    if (!name.empty() || LiveUrl::isLive(address)) {
        shown = name.empty() ? liveName(address) : shownName(name);
        stem = fileStem(QString::fromStdString(shown));
    } else {
        const QFileInfo file(QString::fromStdString(ShownUrl::place(address)));
        shown = SafeText::utf8(file.fileName().isEmpty() ? ShownUrl::withoutSecrets(address)
                                                         : file.fileName().toStdString());
        stem = ShownUrl::isAddress(address) ? fileStem(file.completeBaseName()) : file.completeBaseName();
    }
    const std::string wanted = stem.isEmpty() ? "input" : stem.toStdString();
    return {nextShown(shown), writesFiles ? nextStem(wanted) : wanted};
}

bool InputNames::isTaken(const std::string &name) const
{
    return _shown.count(shownName(name)) > 0;
}

std::string InputNames::shownName(const std::string &name)
{
    return ShownUrl::withoutSecrets(name);
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
    const int number = match.captured(2).toInt(); // 0 where it is no number
    return found != _stems.end() && number > 1 && number <= found->second;
}
