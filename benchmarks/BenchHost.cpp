#include "BenchHost.h"

#include <pthread.h>

#include <array>
#include <chrono>
#include <cstdlib>

#include "StoreAccess.h"

HostCounters hostCounters{};
long debugLevel = -1;
QXReceiver gQXReceiver;

namespace {

using Clock = std::chrono::steady_clock;

bool holdsAreTimed = false;
int depth = 0;
Clock::time_point heldSince;
Clock::duration held{};

pthread_mutex_t* mutexOf(void* word) {
    return static_cast<pthread_mutex_t*>(word);
}

}  // namespace

void timeLockHolds(bool on) {
    holdsAreTimed = on;
    held = {};
}

double popLockHeldTime() {
    const auto nanoseconds = std::chrono::duration<double, std::nano>(held).count();
    held = {};
    return nanoseconds;
}

int qxLocalMutex::init() {
    auto* mutex = new pthread_mutex_t;
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, _reentrant ? PTHREAD_MUTEX_RECURSIVE : PTHREAD_MUTEX_NORMAL);
    if (pthread_mutex_init(mutex, &attributes) != 0) std::abort();
    pthread_mutexattr_destroy(&attributes);
    _words[0] = mutex;
    return 0;
}

void qxLocalMutex::enter() {
    pthread_mutex_lock(mutexOf(_words[0]));
    if (holdsAreTimed && depth++ == 0) heldSince = Clock::now();
}

void qxLocalMutex::leave() {
    if (holdsAreTimed && --depth == 0) held += Clock::now() - heldSince;
    pthread_mutex_unlock(mutexOf(_words[0]));
}

qxLocalMutex::~qxLocalMutex() {
    if (_words[0] == nullptr) return;
    pthread_mutex_destroy(mutexOf(_words[0]));
    delete mutexOf(_words[0]);
}

void debug(int, const char*, ...) {
    ++hostCounters.logLines;
}

void handleError(int, const char*, ...) {
    ++hostCounters.faults;
}

void addNewEventItem(EventItem::EVENT_TYPE, int, void*) {
    ++hostCounters.events;
}

void QXReceiver::addOperationToSendQueue(int, int, int, int, const std::string&) {
    ++hostCounters.operations;
}

void prepareElemStringFieldForSvr(std::string&) {}

// Nothing that is measured encodes anything.
std::string base64_encode(const unsigned char*, unsigned int) {
    std::abort();
}

void setObservers(std::size_t count) {
    static std::array<CountingObserver, 8> observers;
    if (count > observers.size()) std::abort();
    observersOf(gPassengerInformationServer).clear();
    for (std::size_t i = 0; i < count; ++i) gPassengerInformationServer.registerObserver(&observers[i]);
}
