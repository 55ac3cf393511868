#include "BenchHost.h"

#include <pthread.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>

#include "SignallingController.h"
#include "StoreAccess.h"

long debugLevel = -1;
QXReceiver gQXReceiver;

namespace {

using Clock = std::chrono::steady_clock;

std::uint64_t calls = 0;  // of whatever the store asks of its host

bool holdsAreTimed = false;
int depth = 0;
Clock::time_point heldSince;
Clock::duration held{};

/// Gets every record by value, as observers do.
class CountingObserver : public PassengerInformationObserver {
    void onServerStatusUpdated(bool) override { ++calls; }
    void onLineUpdated(Line) override { ++calls; }
    void onLineRemoved(Line) override { ++calls; }
    void onVehicleUpdated(Vehicle) override { ++calls; }
    void onVehicleRemoved(Vehicle) override { ++calls; }
    void onStationUpdated(Station) override { ++calls; }
    void onStationRemoved(Station) override { ++calls; }
    void onPlatformInfoUpdated(PlatformInfo) override { ++calls; }
    void onPlatformInfoRemoved(PlatformInfo) override { ++calls; }
    void onServiceUpdated(Service) override { ++calls; }
    void onServiceRemoved(Service) override { ++calls; }
    void onTripUpdated(Trip) override { ++calls; }
    void onTripRemoved(Trip) override { ++calls; }
};

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
    ++calls;
}

void handleError(int, const char*, ...) {
    ++calls;
}

void addNewEventItem(EventItem::EVENT_TYPE, int, void*) {
    ++calls;
}

void QXReceiver::addOperationToSendQueue(int, int, int, int, const std::string&) {
    ++calls;
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
