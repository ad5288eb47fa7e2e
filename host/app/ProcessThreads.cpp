#include "app/ProcessThreads.h"

#include <QDir>

std::set<int> ProcessThreads::ids()
{
    std::set<int> found;
    const QStringList names = QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &name : names)
        found.insert(name.toInt());
    return found;
}
