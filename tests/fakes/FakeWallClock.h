#ifndef FAKES_FAKEWALLCLOCK_H
#define FAKES_FAKEWALLCLOCK_H

#include <QtGlobal>

/// Stands in for QDateTime::currentMSecsSinceEpoch in a test program that is linked with it: there, time passes only
/// as a test says. Qt's own timers are not affected. Thread-safe.
namespace FakeWallClock {

/// @param nowMs milliseconds since the epoch.
void set(qint64 nowMs);
void advance(qint64 byMs);
qint64 now();

} // namespace FakeWallClock

#endif
