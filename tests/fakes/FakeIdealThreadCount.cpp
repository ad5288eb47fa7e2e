#include "fakes/FakeIdealThreadCount.h"

#include <QThread>

namespace {

int idealCount = 2;

} // namespace

void FakeIdealThreadCount::set(int count)
{
    idealCount = count;
}

// The program's own definition goes before the one in QtCore.
int QThread::idealThreadCount() noexcept
{
    return idealCount;
}
