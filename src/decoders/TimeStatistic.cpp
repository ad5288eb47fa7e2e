#include "decoders/TimeStatistic.h"

#include <QDebug>

#include <cmath>

#include "QtVersions.h"

namespace {

constexpr qint64 minuteMs = 60000;

// Clocks jump and sums grow: what overflows wraps around, as unsigned arithmetic does.

qint64 wrappingDifference(qint64 left, qint64 right)
{
    return static_cast<qint64>(static_cast<quint64>(left) - static_cast<quint64>(right));
}

qint64 wrappingSum(qint64 left, qint64 right)
{
    return static_cast<qint64>(static_cast<quint64>(left) + static_cast<quint64>(right));
}

qint64 wrappingProduct(qint64 left, qint64 right)
{
    return static_cast<qint64>(static_cast<quint64>(left) * static_cast<quint64>(right));
}

} // namespace

TimeStatistic::TimeStatistic(const QString &name)
    : _name(name)
{
}

void TimeStatistic::addSample(qint64 nowMs)
{
    if (_origin == 0)
        _origin = nowMs;
    const qint64 timeMs = wrappingDifference(nowMs, _origin);
    const qint64 intervalMs = wrappingDifference(timeMs, _last);

    if (_last != 0) {
        noteExtremes(intervalMs);
        // The interval that crosses the minute counts in the extremes, so that no gap goes unseen. The sums hold those
        // within the minute only.
        if (_last / minuteMs != timeMs / minuteMs) {
            report();
            restartPeriod(timeMs);
            return;
        }
    }
    if (_count == 0) {
        restartPeriod(timeMs);
        return;
    }
    accumulate(intervalMs);
    _last = timeMs;
}

void TimeStatistic::noteExtremes(qint64 intervalMs)
{
    // New extremes are rare: most intervals are not worth a write.
    if (_max < intervalMs)
        _max = intervalMs;
    if (_min > intervalMs)
        _min = intervalMs;
}

void TimeStatistic::accumulate(qint64 intervalMs)
{
    ++_count;
    _sum = wrappingSum(_sum, intervalMs);
    _sumSquares = wrappingSum(_sumSquares, wrappingProduct(intervalMs, intervalMs));
}

void TimeStatistic::restartPeriod(qint64 timeMs)
{
    _sum = 0;
    _sumSquares = 0;
    _min = std::numeric_limits<qint64>::max();
    _max = -1;
    _count = 1;
    _last = timeMs;
}

void TimeStatistic::report() const
{
    const QByteArray name = messageBytes(_name);
    if (_count <= 1) {
        qDebug("%s: %u - -", name.constData(), _count);
        return;
    }

    const quint32 intervals = _count - 1;
    const qint64 spread = wrappingDifference(wrappingProduct(intervals, _sumSquares), wrappingProduct(_sum, _sum));
    // The reported figure is defined with a 32-bit square of the number of intervals. Where that wraps to 0 (65,536
    // intervals), there is no deviation to report, as with the negative variance that an overflow leaves.
    const quint32 squaredIntervals = intervals * intervals;
    const qint64 variance = squaredIntervals == 0 ? -1 : spread / static_cast<qint64>(squaredIntervals);

    // "%ld" takes a long, which holds the whole value on Linux and its low 32 bits on Windows.
    const long mean = static_cast<qint32>(_sum / static_cast<qint64>(intervals));
    const long max = static_cast<long>(_max);
    const long min = static_cast<long>(_min);
    if (variance < 0) {
        qDebug("%s: %u %lld %ld - %ld %ld", name.constData(), _count, _sum, mean, max, min);
        return;
    }
    const quint32 deviation = static_cast<quint32>(std::sqrt(static_cast<double>(variance)));
    qDebug("%s: %u %lld %ld %u %ld %ld", name.constData(), _count, _sum, mean, deviation, max, min);
}
