#ifndef FAKES_CONTENDEDMUTEX_H
#define FAKES_CONTENDEDMUTEX_H

#include <QMutex>
#include <QMutexLocker>

#include "fakes/WaitUntil.h"

/// Tells when a thread has come to wait for a mutex that stays locked meanwhile. For programs that look inside
/// (-fno-access-control): a mutex that is locked changes only when somebody waits for it.
class MutexContention {
public:
    /// @param lockedMutex nobody waits for it yet.
    explicit MutexContention(const QMutex &lockedMutex)
        : _mutex(lockedMutex)
        , _uncontended(lockedMutex.d_ptr.loadRelaxed())
    {
    }

    /// @return whether a thread waits for the mutex before the deadline.
    bool wait() const
    {
        return waitUntil([this] { return _mutex.d_ptr.loadRelaxed() != _uncontended; });
    }

private:
    const QMutex &_mutex;
    QMutexData *const _uncontended;
};

/// Holds a mutex, and tells when another thread has come to wait for it.
class ContendedMutex {
public:
    /// @param mutex not locked by the caller.
    explicit ContendedMutex(QMutex &mutex)
        : _lock(&mutex)
        , _contention(mutex)
    {
    }

    /// @return whether another thread waits for the mutex before the deadline.
    bool waitForContention() const { return _contention.wait(); }

private:
    QMutexLocker _lock;
    const MutexContention _contention;
};

#endif
