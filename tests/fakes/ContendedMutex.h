#ifndef FAKES_CONTENDEDMUTEX_H
#define FAKES_CONTENDEDMUTEX_H

#include <QMutex>

#include "fakes/WaitUntil.h"

/// Holds a mutex, and tells when another thread has come to wait for it. For programs that look inside
/// (-fno-access-control): a mutex that is locked changes only when somebody waits for it.
class ContendedMutex {
public:
    /// @param mutex not locked by the caller.
    explicit ContendedMutex(QMutex &mutex)
        : _mutex(mutex)
    {
        _mutex.lock();
        _uncontended = _mutex.d_ptr.loadRelaxed();
    }
    ~ContendedMutex() { _mutex.unlock(); }
    ContendedMutex(const ContendedMutex &) = delete;
    ContendedMutex &operator=(const ContendedMutex &) = delete;

    /// @return whether another thread waits for the mutex before the deadline.
    bool waitForContention() const
    {
        return waitUntil([this] { return _mutex.d_ptr.loadRelaxed() != _uncontended; });
    }

private:
    QMutex &_mutex;
    QMutexData *_uncontended = nullptr;
};

#endif
