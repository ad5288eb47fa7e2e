#include "queues/Gate.h"

#include <algorithm>
#include <utility>

Gate::Output::Output(std::shared_ptr<Gate> gate, int room)
    : _gate(std::move(gate))
{
    setRoom(room);
    if (!_gate)
        return;
    const std::lock_guard<std::mutex> lock(_gate->_mutex);
    _gate->_outputs.push_back(this);
}

Gate::Output::~Output()
{
    setRoom(unlimited);
    if (!_gate)
        return;
    const std::lock_guard<std::mutex> lock(_gate->_mutex);
    auto &outputs = _gate->_outputs;
    outputs.erase(std::find(outputs.begin(), outputs.end(), this));
}

void Gate::Output::setRoom(int frames)
{
    const bool hadRoom = _room.exchange(frames) > 0;
    if (!_gate || hadRoom == (frames > 0))
        return;
    if (hadRoom)
        _gate->close();
    else
        _gate->open();
}

int Gate::room() const
{
    if (!isOpen())
        return 0;
    const std::lock_guard<std::mutex> lock(_mutex);
    int room = unlimited;
    for (const Output *const output : _outputs)
        room = std::min(room, output->_room.load());
    return room;
}
