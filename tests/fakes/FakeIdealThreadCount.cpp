#include "fakes/FakeIdealThreadCount.h"

#include <QThread>

#include "fakes/InPlaceOfQt.h"

namespace {

int idealCount = 2;
std::function<void()> duringIdealCount;

} // namespace

void FakeIdealThreadCount::set(int count)
{
    idealCount = count;
}

void FakeIdealThreadCount::watch(const std::function<void()> &duringCount)
{
    duringIdealCount = duringCount;
}

// The program's own definition goes before the one in QtCore.
IN_PLACE_OF_QT(_ZN7QThread16idealThreadCountEv);

int QThread::idealThreadCount() noexcept
{
    if (duringIdealCount)
        duringIdealCount();
    return idealCount;
}
