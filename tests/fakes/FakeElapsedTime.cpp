#include "fakes/FakeElapsedTime.h"

#include <QElapsedTimer>

#include <atomic>

#include "fakes/InPlaceOfQt.h"

namespace {

std::atomic<qint64> currentMs{5000};

} // namespace

void FakeElapsedTime::advance(qint64 byMs)
{
    currentMs += byMs;
}

// The program's own definitions go before those in QtCore.
IN_PLACE_OF_QT(_ZN13QElapsedTimer5startEv);
IN_PLACE_OF_QT(_ZN13QElapsedTimer7restartEv);
IN_PLACE_OF_QT(_ZNK13QElapsedTimer7elapsedEv);

void QElapsedTimer::start() noexcept
{
    t1 = currentMs;
}

qint64 QElapsedTimer::restart() noexcept
{
    const qint64 startedMs = t1;
    t1 = currentMs;
    return t1 - startedMs;
}

qint64 QElapsedTimer::elapsed() const noexcept
{
    return currentMs - t1;
}
