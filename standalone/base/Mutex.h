// A mutex that clang's thread safety analysis knows: what is marked PIS_GUARDED_BY one is touched while it is held,
// or the build with clang says so.
#ifndef PIS_BASE_MUTEX_H
#define PIS_BASE_MUTEX_H

#include <mutex>

#ifdef __clang__
#define PIS_THREAD_ANNOTATION(what) __attribute__((what))
#else
#define PIS_THREAD_ANNOTATION(what)
#endif

/// On a member: touched only while the mutex is held.
#define PIS_GUARDED_BY(mutex) PIS_THREAD_ANNOTATION(guarded_by(mutex))
/// On a function: called with the mutex held.
#define PIS_REQUIRES(mutex) PIS_THREAD_ANNOTATION(requires_capability(mutex))

namespace pis::base {

/// std::mutex under another name, which the analysis can follow.
class PIS_THREAD_ANNOTATION(capability("mutex")) Mutex {
public:
    void lock() PIS_THREAD_ANNOTATION(acquire_capability()) { _mutex.lock(); }
    void unlock() PIS_THREAD_ANNOTATION(release_capability()) { _mutex.unlock(); }

private:
    std::mutex _mutex;
};

/// Holds a mutex for a scope; may let go of it and take it again in between, as condition variables of any lock do
/// (std::condition_variable_any).
class PIS_THREAD_ANNOTATION(scoped_lockable) MutexLock {
public:
    explicit MutexLock(Mutex& mutex) PIS_THREAD_ANNOTATION(acquire_capability(mutex)) : _mutex(mutex) { _mutex.lock(); }
    ~MutexLock() PIS_THREAD_ANNOTATION(release_capability()) {
        if (_held) _mutex.unlock();
    }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void lock() PIS_THREAD_ANNOTATION(acquire_capability()) {
        _mutex.lock();
        _held = true;
    }
    void unlock() PIS_THREAD_ANNOTATION(release_capability()) {
        _held = false;
        _mutex.unlock();
    }

private:
    Mutex& _mutex;
    bool _held = true;
};

}  // namespace pis::base

#endif
