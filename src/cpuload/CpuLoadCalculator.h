#ifndef CPULOAD_CPULOADCALCULATOR_H
#define CPULOAD_CPULOADCALCULATOR_H

#include <QElapsedTimer>
#include <QLinkedList>
#include <QMutex>
#include <QObject>

class DecodingManager;

/// Measures how much of the processor time that decoding can use is used, and posts every change to its listeners.
///
/// Owned by the decoding manager, from `init` to `stop`. It lives in the thread that called `init`: without an event
/// loop there, no sample is taken and the load stays 0.0. Only that thread deletes it, so no sample is in progress
/// then; listeners are not touched by its end, and events that are already posted to them still arrive.
class CpuLoadCalculator : public QObject { // not final: the moc of Qt 4.8 misreads that
    Q_OBJECT

public:
    /// @param manager whose decoders are measured; not owned, outlives this. @param intervalMs between two samples.
    /// @param threadCount of the pool of decoder threads; the smaller of it and the number of processor cores is what
    ///        decoding can use. 0 makes every load infinite or not a number.
    CpuLoadCalculator(DecodingManager *manager, int intervalMs, quint32 threadCount, QObject *parent);
    CpuLoadCalculator(const CpuLoadCalculator &) = delete;
    CpuLoadCalculator &operator=(const CpuLoadCalculator &) = delete;

    /// Adds @p listener, unless it is null, to the receivers of load events; one that is added twice receives two
    /// events for each change. It must be removed before it is destroyed. @return the load of the last sample, 0.0
    /// before the first. Thread-safe.
    double currentLoad(QObject *listener);

    /// Takes back the first registration of @p listener, if there is any. Thread-safe.
    void removeListener(QObject *listener);

protected:
    /// Takes one sample, whichever timer the event is of. Takes the manager's mutex, and lets go of it before its own.
    void timerEvent(QTimerEvent *event) override;

private:
    // Constant after construction.
    DecodingManager *_manager;
    double _loadScale; // 1.0 / cores that decoding can use
    int _timerId;

    QElapsedTimer _elapsed; // since the last sample; own thread only

    QMutex _mutex; // guards the next two; taken after the manager's, never before
    double _load = 0.0;
    QLinkedList<QObject *> _listeners; // in order of registration, with duplicates
};

#endif
