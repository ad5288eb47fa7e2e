#include "sinks/OutputPlace.h"

#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <system_error>

std::string OutputPlace::name(const std::string &ending) const
{
    return isStandardOutput ? "the standard output" : base + ending;
}

std::optional<std::string> OutputPlace::refusal(const std::string &path) const
{
    const WriteWatch::Call watched(*watch);
    if (!inputs || !inputs->contains(path))
        return std::nullopt;
    return "cannot write " + path + ": it is one of the inputs; name another directory";
}

std::optional<std::string> OutputPlace::createDirectory() const
{
    if (isStandardOutput)
        return std::nullopt;
    const WriteWatch::Call watched(*watch);
    const QString path = QFileInfo(QString::fromStdString(base)).path();
    errno = 0;
    if (QDir().mkpath(path))
        return std::nullopt;
    return "cannot create the directory " + path.toStdString() + ": " +
           (QFileInfo::exists(path) ? "a file is in the way" : std::generic_category().message(errno));
}
