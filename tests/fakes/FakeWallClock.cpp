#include "fakes/FakeWallClock.h"

#include <QDateTime>

#include <atomic>

#include "fakes/InPlaceOfQt.h"

namespace {

std::atomic<qint64> currentMs{1000000};

} // namespace

void FakeWallClock::set(qint64 nowMs)
{
    currentMs = nowMs;
}

void FakeWallClock::advance(qint64 byMs)
{
    currentMs += byMs;
}

qint64 FakeWallClock::now()
{
    return currentMs;
}

// The program's own definition goes before the one in QtCore.
IN_PLACE_OF_QT(_ZN9QDateTime22currentMSecsSinceEpochEv);

qint64 QDateTime::currentMSecsSinceEpoch() noexcept
{
    return FakeWallClock::now();
}
