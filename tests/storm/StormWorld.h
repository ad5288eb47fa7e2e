#ifndef STORM_STORMWORLD_H
#define STORM_STORMWORLD_H

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>

#include "StormFormats.h"
#include "StormQueue.h"
#include "manager/DecodingManager.h"

/// How hard a storm blows.
struct StormForce {
    std::size_t handlesPerClient; // at most
    int dropPercent;              // of the operations of a client
    int longestPauseUs;           // between two operations
};

/// What the clients of one storm share. Thread-safe.
class StormWorld {
public:
    explicit StormWorld(const StormForce &wantedForce);

    /// The input queue in place @p index, from 0 to queueCount - 1, and its number.
    std::pair<ModkitPtr<IInputQueue>, quint32> queue(int index);
    /// Puts a new queue in its place.
    void replaceQueue(int index);
    void releaseQueues();

    static constexpr int queueCount = 200;

    const StormForce force;
    StormLegacies legacies;
    ModkitPtr<DecodingManager> manager; // constant while clients run

    std::atomic<bool> isStopping{false}; // stop has been called, or is about to be
    std::atomic<bool> isStopped{false};  // stop has returned
    std::atomic<bool> isOver{false};     // the clients are to drop what they hold and to return

    // What has happened.
    StormTally created;
    StormTally refused; // empty handles
    StormTally thrown;  // requests without memory, which have no handle either
    StormTally pushes;
    StormTally bequests;
    StormTally loadEvents;

private:
    struct Place {
        std::mutex mutex;
        ModkitPtr<IInputQueue> queue; // guarded by mutex
        quint32 number = 0;           // guarded by mutex
    };

    std::array<Place, queueCount> _places;
    std::atomic<quint32> _nextNumber{1};
};

#endif
