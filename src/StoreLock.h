// Private to the unit. Holds the store's lock for a scope.
#ifndef STORELOCK_H
#define STORELOCK_H

#include "qxMutex.h"

/// Takes a lock, gives it back at the end of the scope however that is reached, and can open a gap
/// in between.
class StoreLock {
public:
    explicit StoreLock(qxMutexBase& mutex) : _mutex(mutex) { take(); }
    ~StoreLock() {
        if (_held) release();
    }

    void take() {
        _mutex.enter();
        _held = true;
    }
    void release() {
        _held = false;
        _mutex.leave();
    }

    StoreLock(const StoreLock&) = delete;
    StoreLock& operator=(const StoreLock&) = delete;

private:
    qxMutexBase& _mutex;
    bool _held = false;
};

#endif
