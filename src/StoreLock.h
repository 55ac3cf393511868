// Private to the unit. Holds the store's lock for a scope.
#ifndef STORELOCK_H
#define STORELOCK_H

#include "qxMutex.h"

namespace SignallingControllerPrivate {

/// Takes a lock, gives it back at the end of the scope however that is reached, and can open a gap
/// in between.
class StoreLock {
public:
    explicit StoreLock(qxMutexBase& mutex) : _mutex(mutex) { lock(); }
    ~StoreLock() {
        if (_held) unlock();
    }

    void lock() {
        _mutex.enter();
        _held = true;
    }
    void unlock() {
        _held = false;
        _mutex.leave();
    }

    StoreLock(const StoreLock&) = delete;
    StoreLock& operator=(const StoreLock&) = delete;

private:
    qxMutexBase& _mutex;
    bool _held = false;
};

}  // namespace SignallingControllerPrivate

#endif
