#ifndef CPULOAD_QEVENT_CPULOAD_H
#define CPULOAD_QEVENT_CPULOAD_H

#include <QEvent>

/// Posted to the listeners of ITuneDecoding::cpuLoad whenever the CPU load of decoding has changed. Receivers know it
/// by its type, the first user event type (1000).
class QEvent_CpuLoad final : public QEvent {
public:
    explicit QEvent_CpuLoad(double newLoad)
        : QEvent(QEvent::User)
        , load(newLoad)
    {
    }
    ~QEvent_CpuLoad() override = default;

    /// 0.0 is idle, 1.0 is every usable core busy; infinite or not a number when no time passed between two samples.
    double load;
};

#endif
