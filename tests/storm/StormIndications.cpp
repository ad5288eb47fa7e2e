#include "StormIndications.h"

#include <array>
#include <new>
#include <string>

namespace {

thread_local int creationsBeforeThrow = -1;
// Of the decoder whose construction the thread is in. These have no destructor: MinGW's runtime would run it at the end
// of the thread, under the loader's lock, where several ending threads wait for each other.
thread_local std::array<StormIndication *, 7> indicationsOfDecoder;
thread_local std::size_t indicationCount = 0;

} // namespace

StormIndication::~StormIndication()
{
    if (!_isRemoved)
        StormLedger::violation("an indication was never removed");
}

void StormIndication::setValue(int value, int timeoutMs, const ModkitPtr<ISimpleIndicationObjectCallback> &onTimeout)
{
    if (value < 0 || value > 3 || (timeoutMs == -1) != onTimeout.isNull())
        StormLedger::violation("an indication is set wrongly");
    if (_isRemoved)
        StormLedger::violation("an indication is set after its removal");
    ModkitPtr<ISimpleIndicationObjectCallback> previous = onTimeout;
    const std::lock_guard<std::mutex> lock(_mutex);
    std::swap(_callback, previous);
}

void StormIndication::remove()
{
    if (_isRemoved.exchange(true))
        StormLedger::violation("an indication is removed twice");
}

void StormIndications::throwAfter(int count)
{
    creationsBeforeThrow = count;
}

void StormIndications::reserved1()
{
    StormLedger::violation("a reserved operation is called");
}

void StormIndications::removeIndication(const ModkitPtr<IIndicationObject> &indication)
{
    if (!indication.isNull())
        static_cast<StormIndication &>(*indication).remove();
}

ModkitPtr<IIndicationObject> StormIndications::createIndication(void *reserved, const QString &name,
                                                                const QString & /*ownerName*/, int /*initialValue*/)
{
    if (reserved)
        StormLedger::violation("a reserved argument is used");
    if (name == QLatin1String("DecoderMode"))
        indicationCount = 0;
    if (creationsBeforeThrow >= 0 && creationsBeforeThrow-- == 0) {
        // The decoder comes to nothing, so nobody will remove what it has so far.
        for (std::size_t index = 0; index < indicationCount; ++index)
            indicationsOfDecoder[index]->remove();
        throw std::bad_alloc();
    }
    if (_creations.add(1) % 23 == 0)
        return ModkitPtr<IIndicationObject>();
    auto *const indication = new StormIndication;
    indicationsOfDecoder.at(indicationCount++) = indication;
    return ModkitPtr<IIndicationObject>(indication);
}
