#ifndef DECODERS_TIMESTATISTIC_H
#define DECODERS_TIMESTATISTIC_H

#include <QString>
#include <QtGlobal>

#include <limits>

/// Measures the intervals between successive events, and writes one line of summary to the debug channel for each
/// minute with activity, when the first event of a later minute arrives. Minutes count from the first event.
///
/// A plain value for one thread at a time.
class TimeStatistic {
public:
    /// @param name begins the report lines.
    explicit TimeStatistic(const QString &name);

    /// Records an event. @param nowMs its wall-clock time in milliseconds since the epoch.
    void addSample(qint64 nowMs);

private:
    void noteExtremes(qint64 intervalMs);
    void accumulate(qint64 intervalMs);
    void restartPeriod(qint64 timeMs);
    void report() const;

    QString _name;
    qint64 _origin = 0; // ms since the epoch, 0 until the first sample
    qint64 _last = 0;   // ms since _origin
    // Of the current period, in ms.
    qint64 _max = -1;
    qint64 _min = std::numeric_limits<qint64>::max();
    qint64 _sum = 0;
    qint64 _sumSquares = 0; // ms squared
    quint32 _count = 0;     // samples, that is intervals + 1
};

#endif
