#include "fakes/AnnouncedQt.h"

#include <QDeadlineTimer>
#include <QMutex>
#include <QSemaphore>
#include <QThread>

#include <dlfcn.h>

#include <sanitizer/tsan_interface.h>

namespace {

/// QtCore's own definition of @p symbol.
template <class Function>
Function *inQtCore(const char *symbol)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, symbol));
}

} // namespace

/// What goes on inside QtCore itself is no concern of these tests.
extern "C" const char *__tsan_default_options()
{
    return "ignore_noninstrumented_modules=1";
}

bool AnnouncedApplication::notify(QObject *receiver, QEvent *event)
{
    __tsan_acquire(receiver);
    const bool result = QCoreApplication::notify(receiver, event);
    __tsan_release(QThread::currentThread());
    return result;
}

void QMutex::lock()
{
    static auto *const real = inQtCore<void(QMutex *)>("_ZN6QMutex4lockEv");
    real(this);
    __tsan_acquire(this);
}

bool QMutex::tryLock(int timeout)
{
    static auto *const real = inQtCore<bool(QMutex *, int)>("_ZN6QMutex7tryLockEi");
    const bool locked = real(this, timeout);
    if (locked)
        __tsan_acquire(this);
    return locked;
}

void QMutex::unlock() noexcept
{
    static auto *const real = inQtCore<void(QMutex *)>("_ZN6QMutex6unlockEv");
    __tsan_release(this);
    real(this);
}

void QSemaphore::acquire(int n)
{
    static auto *const real = inQtCore<void(QSemaphore *, int)>("_ZN10QSemaphore7acquireEi");
    real(this, n);
    __tsan_acquire(this);
}

void QSemaphore::release(int n)
{
    static auto *const real = inQtCore<void(QSemaphore *, int)>("_ZN10QSemaphore7releaseEi");
    __tsan_release(this);
    real(this, n);
}

bool QThread::wait(QDeadlineTimer deadline)
{
    static auto *const real = inQtCore<bool(QThread *, QDeadlineTimer)>("_ZN7QThread4waitE14QDeadlineTimer");
    const bool ended = real(this, deadline);
    __tsan_acquire(this);
    return ended;
}

void QCoreApplication::postEvent(QObject *receiver, QEvent *event, int priority)
{
    static auto *const real =
        inQtCore<void(QObject *, QEvent *, int)>("_ZN16QCoreApplication9postEventEP7QObjectP6QEventi");
    __tsan_release(receiver);
    real(receiver, event, priority);
}

void QObject::deleteLater()
{
    static auto *const real = inQtCore<void(QObject *)>("_ZN7QObject11deleteLaterEv");
    __tsan_release(this);
    real(this);
}

void QObject::moveToThread(QThread *thread)
{
    static auto *const real = inQtCore<void(QObject *, QThread *)>("_ZN7QObject12moveToThreadEP7QThread");
    __tsan_release(this);
    real(this, thread);
}
