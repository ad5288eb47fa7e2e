#include "StormClient.h"

#include <chrono>
#include <new>
#include <thread>

#include "StormIndications.h"
#include "interfaces/CreationFlags.h"

namespace {

template <class Media>
constexpr bool isVideo = Media::streamId == StormBlock::videoStreamId;

} // namespace

StormClient::StormClient(StormWorld &world, std::uint64_t seed)
    : _world(world)
    , _random(seed)
{
}

void StormClient::run()
{
    while (!_world.isOver) {
        operate();
        if (_world.isStopped)
            ++operationsAfterStop;
        const int pauseUs = pick(_world.force.longestPauseUs);
        if (pauseUs > 20)
            std::this_thread::sleep_for(std::chrono::microseconds(pauseUs));
    }
    dropAll();
}

int StormClient::pick(int count)
{
    return std::uniform_int_distribution<int>(0, count - 1)(_random);
}

void StormClient::operate()
{
    const int what = pick(100);
    const int drops = _world.force.dropPercent;
    if (what < drops)
        drop();
    else if (what < drops + 2)
        readFigures();
    else if (what < drops + 4)
        _world.replaceQueue(pick(StormWorld::queueCount));
    else if (what < drops + 5)
        bequeath();
    else if (_held.size() >= _world.force.handlesPerClient)
        drop();
    else if (what < drops + 15 && !_held.empty())
        create(_held[static_cast<std::size_t>(pick(static_cast<int>(_held.size())))].place);
    else
        create(pick(StormWorld::queueCount));
}

template <class Media>
std::optional<StormClient::Held> StormClient::request(int place, bool throwing)
{
    const auto [queue, number] = _world.queue(place);
    const auto records = std::make_shared<StormRecords<Media>>();
    const ModkitPtr<typename Media::OutputQueue> output(new StormOutput<Media>(number, records));
    const int flags = pick(4);

    Held held;
    held.place = place;
    held.handle.output = records;
    held.handle.isStopping = &_world.isStopping;
    StormIndications::throwAfter(throwing ? pick(7) : -1);
    try {
        if constexpr (isVideo<Media>)
            held.handle.handle = _world.manager->createVideoDecoder(queue, output, flags, QString());
        else
            held.handle.handle = _world.manager->createAudioDecoder(queue, output, flags, QStringLiteral("sound"));
    } catch (const std::bad_alloc &) {
        StormIndications::throwAfter(-1);
        return std::nullopt;
    }
    StormIndications::throwAfter(-1);
    if (pick(2) == 0) {
        if constexpr (isVideo<Media>)
            held.video = output;
        else
            held.audio = output;
    }
    return held;
}

void StormClient::create(int place)
{
    const bool isStopped = _world.isStopped;
    const bool throwing = pick(20) == 0;
    const std::optional<Held> held =
        pick(2) == 0 ? request<StormVideo>(place, throwing) : request<StormAudio>(place, throwing);
    const bool isStopping = _world.isStopping;
    if (!held) {
        ++_world.thrown;
        if (!throwing)
            StormLedger::violation("a request ran out of memory by itself");
        return;
    }
    if (!held->handle.handle.isNull()) {
        if (isStopped)
            StormLedger::violation("a handle was created after stop");
        ++_world.created;
        _held.push_back(*held);
        return;
    }
    ++_world.refused;
    if (!isStopping)
        StormLedger::violation("a handle was refused before stop");
}

void StormClient::moveToBack(std::size_t index)
{
    std::swap(_held[index], _held.back());
}

void StormClient::drop()
{
    if (_held.empty())
        return;
    moveToBack(static_cast<std::size_t>(pick(static_cast<int>(_held.size()))));
    Held &held = _held.back();
    held.handle.drop();
    _world.pushes.add(held.handle.output->pushes);
    _held.pop_back();
}

void StormClient::dropAll()
{
    while (!_held.empty())
        drop();
}

/// A codec decoder drops the handle, on its thread.
void StormClient::bequeath()
{
    if (_held.empty())
        return;
    moveToBack(static_cast<std::size_t>(pick(static_cast<int>(_held.size()))));
    _world.legacies.add(_held.back().handle);
    ++_world.bequests;
    _held.pop_back();
}

void StormClient::readFigures()
{
    DecodingManager &manager = *_world.manager;
    switch (pick(8)) {
    case 0:
        manager.usePerformanceMode();
        break;
    case 1:
        manager.useTimeSavingMode();
        break;
    case 2:
        if (manager.decoderCount() < 0)
            StormLedger::violation("a negative number of decoders");
        break;
    case 3:
        manager.totalDecodingTime();
        break;
    case 4:
        if (manager.anyBlockDecoded() > 1)
            StormLedger::violation("a flag that is no flag");
        break;
    case 5: {
        const double ratio = manager.maxLossRatio();
        if (!(ratio >= 0.0 && ratio <= 1.0))
            StormLedger::violation("a loss ratio of " + std::to_string(ratio));
        break;
    }
    case 6:
        manager.cpuLoad(nullptr);
        break;
    default:
        if (manager.check() != 1)
            StormLedger::violation("a check that fails");
        break;
    }
}
