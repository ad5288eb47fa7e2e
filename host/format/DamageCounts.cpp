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
        Condition &stream = _streams[origin];
        stream.damage = QByteArray(kindTexts[kind]) + ": " + detail;
        if (stream.counts[kind]++ != 0)
            return;
    }
    qWarning("%s: %s: %s", origin.constData(), kindTexts[kind], detail.constData());
}

DamageCounts::Counts DamageCounts::of(const QByteArray &origin) const
{
    return conditionOf(origin).counts;
}

void DamageCounts::setCodec(const QByteArray &origin, const Codec &codec)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _streams[origin].codec = codec;
}

DamageCounts::Condition DamageCounts::conditionOf(const QByteArray &origin) const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _streams.value(origin);
}

std::shared_ptr<DecodingPace> DamageCounts::watchPace(const QByteArray &origin)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    for (auto each = _paces.begin(); each != _paces.end();)
        each = each->expired() ? _paces.erase(each) : each + 1;
    std::shared_ptr<DecodingPace> pace = _paces.value(origin).lock();
    if (!pace)
        pace = std::make_shared<DecodingPace>();
    _paces[origin] = pace;
    return pace;
}

std::shared_ptr<DecodingPace> DamageCounts::paceOf(const QByteArray &origin) const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _paces.value(origin).lock();
}

void DamageCounts::forget(const QByteArray &origin)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _streams.remove(origin);
}
