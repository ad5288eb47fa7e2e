#ifndef STORM_STORMLISTENERS_H
#define STORM_STORMLISTENERS_H

#include <QSemaphore>
#include <QThread>

#include "StormWorld.h"

/// A thread with an event loop, on which one load listener after the other registers, listens for a while, and leaves.
class StormListeners final : public QThread {
public:
    explicit StormListeners(StormWorld &world);
    /// Ends the thread.
    ~StormListeners() override;

protected:
    void run() override;

private:
    StormWorld &_world;
    QSemaphore _ended; // tells ThreadSanitizer, too, that run has returned
};

#endif
