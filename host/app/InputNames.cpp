#include "app/InputNames.h"

#include <QFileInfo>

InputNames::Name InputNames::next(const std::string &url)
{
    const QFileInfo file(QString::fromStdString(url));
    const std::string shown = file.fileName().isEmpty() ? url : file.fileName().toStdString();
    const std::string stem = file.completeBaseName().isEmpty() ? "input" : file.completeBaseName().toStdString();
    return {unique(shown, " (%1)", _shown), unique(stem, "-%1", _stems)};
}

std::string InputNames::unique(const std::string &wanted, const char *suffix, std::set<std::string> &taken)
{
    std::string name = wanted;
    for (int number = 2; !taken.insert(name).second; ++number)
        name = wanted + QString::fromLatin1(suffix).arg(number).toStdString();
    return name;
}
