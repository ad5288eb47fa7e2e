#include "cpuload/CpuLoadCalculator.h"

#include <QCoreApplication>
#include <QMutexLocker>
#include <QThread>

#include <algorithm>

#include "QtVersions.h"
#include "cpuload/QEvent_CpuLoad.h"
#include "manager/DecodingManager.h"

namespace {

/// @return what a unit of decoding time in a unit of elapsed time amounts to, as a share of the cores that decoding
///         can use. No system reports 0 cores, which would make it infinite.
double scaleForThreads(quint32 threadCount)
{
    // An unknown number of cores, -1, is the largest unsigned number.
    return 1.0 / std::min(static_cast<quint32>(QThread::idealThreadCount()), threadCount);
}

} // namespace

CpuLoadCalculator::CpuLoadCalculator(DecodingManager *manager, int intervalMs, quint32 threadCount, QObject *parent)
    : QObject(parent)
    , _manager(manager)
    , _loadScale(scaleForThreads(threadCount))
{
    _elapsed.start();
    _timerId = startPreciseTimer(*this, intervalMs);
}

double CpuLoadCalculator::currentLoad(QObject *listener)
{
    const QMutexLocker lock(&_mutex);
    if (listener)
        _listeners.append(listener);
    return _load;
}

void CpuLoadCalculator::removeListener(QObject *listener)
{
    const QMutexLocker lock(&_mutex);
    _listeners.removeOne(listener);
}

void CpuLoadCalculator::timerEvent(QTimerEvent * /*event*/)
{
    const quint32 decodingTimeMs = _manager->totalDecodingTime();
    const quint32 elapsedMs = static_cast<quint32>(_elapsed.restart());

    const QMutexLocker lock(&_mutex);
    // No elapsed time gives an infinite load or none at all (NaN). Either goes out as a change: who listens learns that
    // a sample was taken, and judges it.
    const double load = _loadScale * decodingTimeMs / elapsedMs;
    if (load == _load)
        return;
    _load = load;
    const QLinkedList<QObject *> listeners = _listeners;
    for (QObject *listener : listeners)
        QCoreApplication::postEvent(listener, new QEvent_CpuLoad(load));
}
