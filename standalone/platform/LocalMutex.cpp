// The host's lock: a POSIX mutex behind the first of its two words; the second stays unused. Made in
// init(), so that a store in static storage needs nothing that is built after it.
#include <pthread.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

#include "debug.h"
#include "qxMutex.h"

namespace {

pthread_mutex_t* mutexOf(void* state) {
    if (state == nullptr) throw std::logic_error("qxLocalMutex: used before init()");
    return static_cast<pthread_mutex_t*>(state);
}

}  // namespace

/// Returns 0, or the system's error number when no mutex can be had. Calls after the first do nothing.
int qxLocalMutex::init() {
    if (_words[0] != nullptr) return 0;

    pthread_mutexattr_t attributes;
    if (const int failure = pthread_mutexattr_init(&attributes)) return failure;
    pthread_mutexattr_settype(&attributes, _reentrant ? PTHREAD_MUTEX_RECURSIVE : PTHREAD_MUTEX_ERRORCHECK);
    auto* mutex = new pthread_mutex_t;
    const int failure = pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    if (failure != 0) {
        delete mutex;
        return failure;
    }
    _words[0] = mutex;
    return 0;
}

/// Throws std::system_error when the lock is not re-entrant and its holder enters again.
void qxLocalMutex::enter() {
    if (const int failure = pthread_mutex_lock(mutexOf(_words[0]))) {
        throw std::system_error(failure, std::generic_category(), "qxLocalMutex::enter");
    }
}

/// Leaving a lock that the thread does not hold is reported and changes nothing: guards leave in their
/// destructors, which must not throw.
void qxLocalMutex::leave() {
    const int failure = _words[0] == nullptr ? EPERM : pthread_mutex_unlock(mutexOf(_words[0]));
    if (failure == 0) return;
    handleError(3, "%s: the lock is not held by this thread: %s", "qxLocalMutex::leave",
                std::generic_category().message(failure).c_str());
}

qxLocalMutex::~qxLocalMutex() {
    if (_words[0] == nullptr) return;
    auto* mutex = static_cast<pthread_mutex_t*>(_words[0]);
    pthread_mutex_destroy(mutex);
    delete mutex;
}
