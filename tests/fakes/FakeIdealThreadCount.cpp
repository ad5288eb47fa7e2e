#include "fakes/FakeIdealThreadCount.h"

#include <QThread>

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
int QThread::idealThreadCount() noexcept
{
    if (duringIdealCount)
        duringIdealCount();
    return idealCount;
}
