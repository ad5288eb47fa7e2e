#include "fakes/FakeElapsedTime.h"

#include <QElapsedTimer>

#include <atomic>

namespace {

std::atomic<qint64> currentMs{5000};

} // namespace

void FakeElapsedTime::advance(qint64 byMs)
{
    currentMs += byMs;
}

// The program's own definitions go before those in QtCore.

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
