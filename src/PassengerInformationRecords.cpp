// The records: what their constructors set, the look-ups that a station and a vehicle offer, and
// the requests that a service makes of the signalling server.
#include <stdexcept>

#include "IntegerText.h"
#include "RequestText.h"
#include "SignallingCodes.h"
#include "SignallingController.h"
#include "stringUtils.h"

using namespace SignallingCodes;
using namespace SignallingControllerPrivate;

NamedId::NamedId(int id) : _id(id) {}

TripStop::TripStop(int id) : TripStop(id, 0, false, 0, 0) {}

TripStop::TripStop(int id, int platformId, bool isStopping, long schArvOffset, long schDepOffset)
    : NamedId(id),
      _platformId(platformId),
      _isStopping(isStopping),
      _schArvOffset(static_cast<StoredTime>(schArvOffset)),
      _schDepOffset(static_cast<StoredTime>(schDepOffset)) {}

ServiceStop::ServiceStop(int id) : ServiceStop(id, 0, 0) {}

ServiceStop::ServiceStop(int id, int serviceId, int tripStopId)
    : TripStop(id), _serviceId(serviceId), _tripStopId(tripStopId), _serviceStartTime(0), _arvDelay(0), _depDelay(0) {}

Trip::Trip(int id) : Trip(id, ASCENDING, ALL_STOPS) {
    _priorityText = "ALL_STOPS";
}

Trip::Trip(int id, Direction direction, Priority priority)
    : NamedId(id), _lineId(0), _direction(direction), _priority(priority) {
    _name = "Unknown Trip";
}

void Trip::setStops(const std::vector<int>&) {}

Service::Service(int id) : Service(id, 0, 0) {}

Service::Service(int id, int tripId, long startTime)
    : Trip(id),
      _tripId(tripId),
      _startTime(static_cast<StoredTime>(startTime)),
      _vehicleId(0),
      _state(NOT_STARTED),
      _stateText("NOT_STARTED") {
    _name = "Unknown Service";
}

void Service::addServiceStop(const ServiceStop&) const {
    RequestText opArgs;
    opArgs << getId() << ',' << getTripId();
    queueOperation(ADD_SERVICE_STOP, opArgs.str());
}

void Service::deleteServiceStop(int serviceStopId) const {
    RequestText opArgs;
    opArgs << getId() << ',' << IdOrAll{serviceStopId};
    queueOperation(DELETE_SERVICE_STOP, opArgs.str());
}

void Service::deleteAllServiceStops() const {
    deleteServiceStop(-1);
}

void Service::setServiceStops(const std::vector<ServiceStop>& stops) const {
    deleteServiceStop(-1);
    for (const ServiceStop& stop : stops) addServiceStop(stop);
}

void Service::updateServiceState(State serviceState) const {
    RequestText opArgs;
    opArgs << getId() << ',' << static_cast<int>(serviceState);
    queueOperation(SET_SERVICE_STATE, opArgs.str());
}

Vehicle::Vehicle(int id)
    : NamedId(id),
      _numCars(0),
      _direction(ASCENDING),
      _state(OUT_OF_SERVICE),
      _stateText("OUT_OF_SERVICE"),
      _currentServiceId(0),
      _openingDoors(BOTH),  // Kept: unlike the opened side, the opening side starts as both.
      _openingDoorsText("BOTH"),
      _openedDoors(NONE),
      _openedDoorsText("NONE") {
    _name = "Unknown Vehicle";
}

Service Vehicle::getCurrentService() const {
    if (_currentServiceId != 0) {
        for (const Service& service : _services) {
            if (service.getId() == _currentServiceId) return service;
        }
    }
    // Kept: thrown by pointer; the clients catch it so and delete it.
    throw new std::out_of_range("No Service");  // NOLINT(misc-throw-by-value-catch-by-reference)
}

Station::Station(int id) : Station(id, "Unknown Station", false, false) {}

Station::Station(int id, const std::string& name, bool isMajor, bool isClosed)
    : NamedId(id), _isMajor(isMajor), _isClosed(isClosed) {
    _name = name;
}

void Station::setListOfPlatforms(const std::map<int, PlatformInfo>&) {}

void Station::setPlatform(int, const PlatformInfo&) {}

namespace {

/// Ids of a list string in its order; an item that is no number gives 0.
std::vector<int> idsOf(const std::string& list) {
    std::vector<std::string> items;
    splitStr(list.c_str(), '!', items, false);
    std::vector<int> ids;
    ids.reserve(items.size());
    for (const std::string& item : items) ids.push_back(integerOf(item.c_str()));
    return ids;
}

/// For each id of a list string in its order, every candidate that bears it.
template <typename Record>
std::vector<Record> resolve(const std::string& list, const std::vector<Record>& candidates) {
    std::vector<Record> resolved;
    for (const int id : idsOf(list)) {
        for (const Record& candidate : candidates) {
            if (candidate.getId() == id) resolved.push_back(candidate);
        }
    }
    return resolved;
}

}  // namespace

std::vector<PlatformInfo> Station::getListOfPlatforms() const {
    const std::vector<PlatformInfo> allPlatforms = gPassengerInformationServer.getPlatforms();
    return resolve(_platformsListAsString, allPlatforms);
}

PlatformInfo Station::getPlatform(int platformId) const {
    const std::vector<PlatformInfo> allPlatforms = gPassengerInformationServer.getPlatforms();
    for (const PlatformInfo& platform : allPlatforms) {
        if (platform.getId() == platformId) return platform;
    }
    // Kept: thrown by pointer; the clients catch it so and delete it.
    throw new std::out_of_range("platform not found");  // NOLINT(misc-throw-by-value-catch-by-reference)
}

PlatformInfo::PlatformInfo(int id)
    : NamedId(id), _stationId(0), _state(NO_VEHICLE_SCHEDULED), _stateText("NO_VEHICLE_SCHEDULED") {
    _name = "Unknown Platform";
}

void PlatformInfo::setPassers(const std::vector<ServiceStop>&) {}

void PlatformInfo::setPassers(const std::vector<Service>&) {}

std::vector<ServiceStop> PlatformInfo::getPassers() const {
    // Kept: the store holds no service stops for platforms, so there is nothing to resolve against.
    const std::vector<ServiceStop> allServiceStops;
    return resolve(_passersListAsString, allServiceStops);
}
