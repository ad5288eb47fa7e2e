#include "app/ProcessThreads.h"

#if defined(_WIN32)

// The second header needs the first.
// clang-format off
#include <windows.h>
#include <tlhelp32.h>
// clang-format on

std::set<int> ProcessThreads::ids()
{
    std::set<int> found;
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID == GetCurrentProcessId())
            found.insert(static_cast<int>(entry.th32ThreadID));
    }
    CloseHandle(snapshot);
    return found;
}

#else

#include <QDir>

std::set<int> ProcessThreads::ids()
{
    std::set<int> found;
    const QStringList names = QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &name : names)
        found.insert(name.toInt());
    return found;
}

#endif
