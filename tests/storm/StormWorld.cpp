#include "StormWorld.h"

#include <utility>

StormWorld::StormWorld(const StormForce &wantedForce)
    : force(wantedForce)
{
    for (int index = 0; index < queueCount; ++index)
        replaceQueue(index);
}

std::pair<ModkitPtr<IInputQueue>, quint32> StormWorld::queue(int index)
{
    Place &place = _places[static_cast<std::size_t>(index)];
    const std::lock_guard<std::mutex> lock(place.mutex);
    return {place.queue, place.number};
}

void StormWorld::replaceQueue(int index)
{
    Place &place = _places[static_cast<std::size_t>(index)];
    const quint32 number = _nextNumber++;
    ModkitPtr<IInputQueue> queue(new StormQueue(number));
    const std::lock_guard<std::mutex> lock(place.mutex);
    std::swap(place.queue, queue);
    place.number = number;
}

void StormWorld::releaseQueues()
{
    for (Place &place : _places)
        place.queue.reset();
}
