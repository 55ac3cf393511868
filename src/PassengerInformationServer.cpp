// The store itself: construction, the one entry point for element updates, its observers, and
// copies of its tables.
#include "SignallingController.h"

#include <algorithm>

#include "MergePattern.h"
#include "SignallingCodes.h"
#include "StoreLock.h"

using namespace SignallingCodes;
using namespace SignallingControllerPrivate;

static_assert(sizeof(std::atomic<bool>) == 1 && std::atomic<bool>::is_always_lock_free,
              "the status flags are single bytes that need no lock");

PassengerInformationServer::PassengerInformationServer()
    : _signallingServerOnline(false), _automaticMessageGenerationEnabled(false), pisMtx(true) {
    pisMtx.init();
    deletePassengerInformation(ALL_ELEMENTS, 0);
}

PassengerInformationServer::~PassengerInformationServer() = default;

void PassengerInformationServer::updatePassengerInformation(int, int elemId, int elemNo, KEBlist* elemArgList) {
    switch (elemId) {
        case LINE: return updateLine(elemNo, elemArgList);
        case VEHICLE: return updateVehicle(elemNo, elemArgList);
        case STATION: return updateStation(elemNo, elemArgList);
        case PLATFORM: return updatePlatform(elemNo, elemArgList);
        case TRIP: return updateTrip(elemNo, elemArgList);
        case TRIP_STOP: return updateTripStop(elemNo, elemArgList);
        case SERVICE: return updateService(elemNo, elemArgList);
        case SERVICE_STOP: return updateServiceStop(elemNo, elemArgList);
        case VEHICLE_STATE: return updateVehicleState(elemNo, elemArgList);
        case PLATFORM_STATE: return updatePlatformState(elemNo, elemArgList);
        case SERVICE_STATE: return updateServiceState(elemNo, elemArgList);
        case AUTO_MESSAGE_STATE: return updateAutoMessageState(elemNo, elemArgList);
        case SIGNALLING_SERVER_STATUS: return updateSignallingServerStatus(elemNo, elemArgList);
        default: return;
    }
}

void PassengerInformationServer::registerObserver(PassengerInformationObserver* observer) {
    if (observer == nullptr) return;

    const auto& list = _pisObserverList;
    if (std::find(list.begin(), list.end(), observer) != list.end()) {
        handleError(3, "%s: Observer already part of list. Not adding to list", "registerObserver");
        return;
    }
    _pisObserverList.push_back(observer);
    if (debugLevel >= 0) {
        debug(0, "%s: Adding observer to list. Total Observers >%zd<", "registerObserver", _pisObserverList.size());
    }
}

/// A copy of one table for a client. Kept: enter and leave stand bare, so that a copy for which
/// memory runs out leaves the lock taken.
template <typename Record>
std::vector<Record> PassengerInformationServer::copyOf(const std::vector<Record>& table) {
    std::vector<Record> copy;
    pisMtx.enter();
    copy = table;
    pisMtx.leave();
    return copy;
}

std::vector<Line> PassengerInformationServer::getLines() {
    return copyOf(_lines);
}

std::vector<Vehicle> PassengerInformationServer::getVehicles() {
    return copyOf(_vehicles);
}

std::vector<Station> PassengerInformationServer::getStations() {
    return copyOf(_stations);
}

std::vector<PlatformInfo> PassengerInformationServer::getPlatforms() {
    return copyOf(_platforms);
}

std::vector<Trip> PassengerInformationServer::getTrips() {
    return copyOf(_trips);
}

std::vector<TripStop> PassengerInformationServer::getTripStops() {
    return copyOf(_tripStops);
}

std::vector<Service> PassengerInformationServer::getServices() {
    return copyOf(_services);
}

namespace {

/// Copies the last element with this id, if there is one. Called under the table's lock.
template <typename Record>
bool copyLast(const std::vector<Record>& table, int id, Record& found) {
    const auto last =
        std::find_if(table.rbegin(), table.rend(), [id](const Record& record) { return record.getId() == id; });
    if (last == table.rend()) return false;
    found = *last;
    return true;
}

}  // namespace

/// What getServices() returns, for a handler: should memory run out, the lock is free all the same.
std::vector<Service> PassengerInformationServer::servicesForTrip() {
    StoreLock lock(pisMtx);
    return _services;
}

/// What a walk over getTrips() would find last: the completion of a service needs no other trip.
bool PassengerInformationServer::findTrip(int tripId, Trip& found) {
    StoreLock lock(pisMtx);
    return copyLast(_trips, tripId, found);
}

/// What a walk over getTripStops() would find last.
bool PassengerInformationServer::findTripStop(int tripStopId, TripStop& found) {
    StoreLock lock(pisMtx);
    return copyLast(_tripStops, tripStopId, found);
}
