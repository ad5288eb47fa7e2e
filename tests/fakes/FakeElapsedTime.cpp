#include "fakes/FakeElapsedTime.h"

#include <QElapsedTimer>

#include <atomic>

#include "fakes/InPlaceOfQt.h"

namespace {

std::atomic<qint64> elapsedMs{5000};

} // namespace

void FakeElapsedTime::advance(qint64 byMs)
{
    elapsedMs += byMs;
}

// The program's own definitions go before those in QtCore.
IN_PLACE_OF_QT(_ZN13QElapsedTimer5startEv);
IN_PLACE_OF_QT(_ZN13QElapsedTimer7restartEv);
IN_PLACE_OF_QT(_ZNK13QElapsedTimer7elapsedEv);

void QElapsedTimer::start() noexcept
{
    t1 = elapsedMs;
}

qint64 QElapsedTimer::restart() noexcept
{
    const qint64 startedMs = t1;
    t1 = elapsedMs;
    return t1 - startedMs;
}

qint64 QElapsedTimer::elapsed() const noexcept
{
    return elapsedMs - t1;
}
