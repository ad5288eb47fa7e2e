#include "format/DamageCounts.h"

#include <QDebug>

namespace {

const char *const kindTexts[DamageCounts::kindCount] = {"undecodable block", "damaged picture or samples",
                                                        "not a block of this host", "stream cannot be decoded"};

} // namespace

void DamageCounts::add(const Stream &stream, Kind kind, const QByteArray &detail)
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        Condition &condition = _streams[stream];
        condition.damage = QByteArray(kindTexts[kind]) + ": " + detail;
        if (condition.counts[kind]++ != 0)
            return;
    }
    qWarning("%s: %s: %s", stream.origin.constData(), kindTexts[kind], detail.constData());
}

void DamageCounts::setCodec(const Stream &stream, const Codec &codec)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _streams[stream].codec = codec;
}

DamageCounts::Condition DamageCounts::conditionOf(const Stream &stream) const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    const auto found = _streams.find(stream);
    return found == _streams.end() ? Condition() : found->second;
}

std::shared_ptr<DecodingPace> DamageCounts::watchPace(const Stream &stream)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    for (auto each = _paces.begin(); each != _paces.end();)
        each = each->second.expired() ? _paces.erase(each) : std::next(each);
    std::weak_ptr<DecodingPace> &known = _paces[stream];
    std::shared_ptr<DecodingPace> pace = known.lock();
    if (!pace) {
        pace = std::make_shared<DecodingPace>();
        known = pace;
    }
    return pace;
}

std::shared_ptr<DecodingPace> DamageCounts::paceOf(const Stream &stream) const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    const auto found = _paces.find(stream);
    return found == _paces.end() ? nullptr : found->second.lock();
}

void DamageCounts::forget(const Stream &stream)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _streams.erase(stream);
}
