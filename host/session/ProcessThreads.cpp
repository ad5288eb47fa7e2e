#include "session/ProcessThreads.h"

#include <QDeadlineTimer>
#include <QThread>

#include <algorithm>
#include <iterator>

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

std::vector<int> ProcessThreads::startedSince(const std::set<int> &before)
{
    const std::set<int> now = ids();
    std::vector<int> added;
    std::set_difference(now.begin(), now.end(), before.begin(), before.end(), std::back_inserter(added));
    return added;
}

std::vector<int> ProcessThreads::leftSince(const std::set<int> &before)
{
    return leftOf(startedSince(before));
}

std::vector<int> ProcessThreads::leftOf(const std::vector<int> &threads)
{
    const QDeadlineTimer giveUpAt(2000);
    std::vector<int> left = threads;
    while (true) {
        const std::set<int> now = ids();
        left.erase(std::remove_if(left.begin(), left.end(), [&now](int thread) { return now.count(thread) == 0; }),
                   left.end());
        if (left.empty() || giveUpAt.hasExpired())
            return left;
        QThread::msleep(1);
    }
}
