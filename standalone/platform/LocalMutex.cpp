// The host's lock: a POSIX mutex behind the first of its two words; the second stays unused. Made in
// init(), so that a store in static storage needs nothing that is built after it.
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "debug.h"
#include "platform/LockWatch.h"
#include "qxMutex.h"

using namespace pis::platform;

namespace {

using Clock = std::chrono::steady_clock;

struct Lock {
    pthread_mutex_t mutex;
    std::atomic<std::thread::id> holder{std::thread::id()};  // none while the mutex is free
    int depth = 0;                                           // enters without their leave; the holder's
    std::optional<Clock::time_point> since;  // of the outermost enter while the watch is on; the holder's
};

Lock* lockIn(void* word) {
    return static_cast<Lock*>(word);
}

void noteEnter(Lock& lock) {
    if (++lock.depth > 1) return;
    lock.holder.store(std::this_thread::get_id(), std::memory_order_relaxed);
    lock.since.reset();
    if (LockWatch::isOn()) lock.since = Clock::now();
}

/// Called by the holder before it leaves: when the time began that ends with this leave, if it is watched.
std::optional<Clock::time_point> noteLeave(Lock& lock) {
    if (--lock.depth > 0) return std::nullopt;
    lock.holder.store(std::thread::id(), std::memory_order_relaxed);
    return lock.since;
}

}  // namespace

/// Returns 0, or the system's error number when no mutex can be had. Calls after the first do nothing.
int qxLocalMutex::init() {
    if (_words[0] != nullptr) return 0;

    pthread_mutexattr_t attributes;
    if (const int failure = pthread_mutexattr_init(&attributes)) return failure;
    pthread_mutexattr_settype(&attributes, _reentrant ? PTHREAD_MUTEX_RECURSIVE : PTHREAD_MUTEX_ERRORCHECK);
    auto* lock = new Lock;
    const int failure = pthread_mutex_init(&lock->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    if (failure != 0) {
        delete lock;
        return failure;
    }
    _words[0] = lock;
    return 0;
}

/// Throws std::system_error when the lock is not re-entrant and its holder enters again.
void qxLocalMutex::enter() {
    Lock* lock = lockIn(_words[0]);
    if (lock == nullptr) throw std::logic_error("qxLocalMutex: used before init()");
    if (const int failure = pthread_mutex_lock(&lock->mutex)) {
        throw std::system_error(failure, std::generic_category(), "qxLocalMutex::enter");
    }
    noteEnter(*lock);
}

/// Leaving a lock that the thread does not hold is reported and changes nothing: guards leave in their
/// destructors, which must not throw.
void qxLocalMutex::leave() {
    Lock* lock = lockIn(_words[0]);
    const bool isHeld = lock != nullptr && lock->holder.load(std::memory_order_relaxed) == std::this_thread::get_id();
    if (!isHeld) {
        handleError(3, "%s: the lock is not held by this thread: %s", "qxLocalMutex::leave",
                    std::generic_category().message(EPERM).c_str());
        return;
    }
    const std::optional<Clock::time_point> since = noteLeave(*lock);
    const Clock::time_point left = since ? Clock::now() : Clock::time_point();
    pthread_mutex_unlock(&lock->mutex);
    if (since) LockWatch::held(left - *since);
}

qxLocalMutex::~qxLocalMutex() {
    Lock* lock = lockIn(_words[0]);
    if (lock == nullptr) return;
    pthread_mutex_destroy(&lock->mutex);
    delete lock;
}
