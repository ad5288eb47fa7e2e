#include "StormListeners.h"

#include <QCoreApplication>
#include <QObject>

#include "QEvent_CpuLoad.h"

namespace {

constexpr int listeningMs = 20;

class Listener final : public QObject {
public:
    explicit Listener(StormWorld &world)
        : _world(world)
    {
    }

protected:
    void customEvent(QEvent *event) override
    {
        // No time may have passed between two measurements, and the load is then not a number.
        if (event->type() != QEvent::User || static_cast<QEvent_CpuLoad *>(event)->load < 0.0)
            StormLedger::violation("a wrong load event");
        ++_world.loadEvents;
    }

private:
    StormWorld &_world;
};

/// Ends the event loop of its thread after a while.
class LoopTimer final : public QObject {
public:
    LoopTimer() { startTimer(listeningMs); }

protected:
    void timerEvent(QTimerEvent * /*event*/) override { QThread::currentThread()->quit(); }
};

} // namespace

StormListeners::StormListeners(StormWorld &world)
    : _world(world)
{
    start();
}

StormListeners::~StormListeners()
{
    _ended.acquire();
    wait();
}

void StormListeners::run()
{
    while (!_world.isOver) {
        Listener listener(_world);
        _world.manager->cpuLoad(&listener);
        const LoopTimer timer;
        exec();
        _world.manager->removeCpuLoadListener(&listener);
    }
    _ended.release();
}
