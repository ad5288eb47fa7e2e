#include "manager/DecoderRegistry.h"

#include "decoders/BaseSingleStreamDecoder.h"

namespace {

/// The id after @p id, in two's complement: the largest is followed by the smallest.
int successor(int id)
{
    return static_cast<int>(static_cast<unsigned int>(id) + 1U);
}

} // namespace

BaseSingleStreamDecoder *DecoderRegistry::findOrReserve(const ModkitPtr<IInputQueue> &queue)
{
    _current = _byQueue.find(queue);
    if (_current == _byQueue.end())
        _current = _byQueue.insert(queue, nullptr);
    return _current.value();
}

int DecoderRegistry::registerOutput(BaseSingleStreamDecoder *decoder)
{
    const int id = _nextId;
    _byId.insert(id, decoder); // first: it may run out of memory
    _current.value() = decoder;

    _nextId = successor(_nextId);
    if (_nextId < 0)
        _nextId = 0;
    // No further look at the sign: a negative id needs as many decoders at once as there are ids.
    while (_byId.contains(_nextId))
        _nextId = successor(_nextId);
    return id;
}

BaseSingleStreamDecoder *DecoderRegistry::releaseOutput(int id)
{
    BaseSingleStreamDecoder *const decoder = _byId.take(id);
    if (!decoder || decoder->removeOutput(static_cast<quint32>(id)) != 0)
        return nullptr;
    _byQueue.remove(decoder->inputQueue());
    return decoder;
}

BaseSingleStreamDecoder *DecoderRegistry::takeFirst()
{
    if (_byQueue.isEmpty())
        return nullptr;
    const auto first = _byQueue.begin();
    BaseSingleStreamDecoder *const decoder = first.value();
    _byQueue.erase(first);
    return decoder;
}

void DecoderRegistry::clear()
{
    _byQueue.clear();
    _byId.clear();
}

int DecoderRegistry::count() const
{
    return _byQueue.size();
}

DecoderRegistry::const_iterator DecoderRegistry::begin() const
{
    return _byQueue.constBegin();
}

DecoderRegistry::const_iterator DecoderRegistry::end() const
{
    return _byQueue.constEnd();
}
