#ifndef STORM_STORMCLIENT_H
#define STORM_STORMCLIENT_H

#include <atomic>
#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "StormWorld.h"

/// One client: creates, joins and drops handles, hands some on, replaces queues, switches modes and reads figures, as
/// its seed says, until the storm is over. Then it drops what it holds. Runs on a thread of its own.
class StormClient {
public:
    StormClient(StormWorld &world, std::uint64_t seed);
    void run();

    /// Operations since stop has returned. Thread-safe.
    std::atomic<int> operationsAfterStop{0};

private:
    struct Held {
        StormHandle handle;
        // Where the client keeps its output queue; otherwise both are empty.
        ModkitPtr<IVideoOutputQueue> video;
        ModkitPtr<IAudioOutputQueue> audio;
        int place; // of the input queue
    };

    int pick(int count);
    void operate();
    void create(int place);
    void drop();
    void dropAll();
    void bequeath();
    void readFigures();
    void moveToBack(std::size_t index);
    /// Asks for a handle, for a new output of its own. @return nothing when there is no memory.
    template <class Media>
    std::optional<Held> request(int place, bool throwing);

    StormWorld &_world;
    std::mt19937_64 _random;
    std::vector<Held> _held;
};

#endif
