#include "fakes/LimitedThreadStarts.h"

#include <QThread>

#include <dlfcn.h>
#include <stdexcept>

namespace {

constexpr int unlimited = -1;

int startsLeft = unlimited;

} // namespace

LimitedThreadStarts::LimitedThreadStarts(int limit)
{
    startsLeft = limit;
}

LimitedThreadStarts::~LimitedThreadStarts()
{
    startsLeft = unlimited;
}

// The program's own definition goes before the one in QtCore.

void QThread::start(Priority priority)
{
    if (startsLeft == 0)
        throw std::runtime_error("enough threads");
    if (startsLeft != unlimited)
        --startsLeft;
    static auto *const real =
        reinterpret_cast<void (*)(QThread *, Priority)>(dlsym(RTLD_NEXT, "_ZN7QThread5startENS_8PriorityE"));
    real(this, priority);
}
