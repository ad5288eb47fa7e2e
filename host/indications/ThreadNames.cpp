#include "indications/ThreadNames.h"

#include <QThread>

#include <algorithm>
#include <mutex>
#include <new>

namespace {

struct Table {
    std::mutex mutex;
    std::vector<QString> names{QString()}; // guarded by mutex
};

Table &table()
{
    // Never deleted, because threads may outlive the static objects.
    static Table &only = *new Table;
    return only;
}

ThreadNames::Id idOf(const QString &name)
{
    const std::lock_guard<std::mutex> lock(table().mutex);
    std::vector<QString> &names = table().names;
    const auto known = std::find(names.begin(), names.end(), name);
    if (known != names.end())
        return static_cast<ThreadNames::Id>(known - names.begin());
    if (names.size() >= ThreadNames::Detail::unknown)
        return ThreadNames::nameless;
    names.push_back(name);
    return static_cast<ThreadNames::Id>(names.size() - 1);
}

} // namespace

ThreadNames::Id ThreadNames::Detail::learn() noexcept
{
    try {
        ofThisThread = idOf(QThread::currentThread()->objectName());
        return ofThisThread;
    } catch (const std::bad_alloc &) {
        return nameless; // for now
    }
}

std::vector<QString> ThreadNames::all()
{
    const std::lock_guard<std::mutex> lock(table().mutex);
    return table().names;
}
