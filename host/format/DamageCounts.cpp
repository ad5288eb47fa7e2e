#include "format/DamageCounts.h"

#include <QDebug>

namespace {

const char *const kindTexts[DamageCounts::kindCount] = {"undecodable block", "damaged picture or samples",
                                                        "not a block of this host", "stream cannot be decoded"};

} // namespace

void DamageCounts::add(const QByteArray &origin, Kind kind, const QByteArray &detail)
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (_counts[origin][kind]++ != 0)
            return;
    }
    qWarning("%s: %s: %s", origin.constData(), kindTexts[kind], detail.constData());
}

DamageCounts::Counts DamageCounts::of(const QByteArray &origin) const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    const auto found = _counts.find(origin);
    return found == _counts.end() ? Counts{} : found->second;
}

void DamageCounts::forget(const QByteArray &origin)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _counts.erase(origin);
}
