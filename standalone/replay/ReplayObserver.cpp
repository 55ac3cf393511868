#include "replay/ReplayObserver.h"

#include "records/TableDump.h"

namespace pis::replay {

namespace {

enum Operation : std::size_t {
    STATUS_UPDATED,
    LINE_UPDATED,
    LINE_REMOVED,
    VEHICLE_UPDATED,
    VEHICLE_REMOVED,
    STATION_UPDATED,
    STATION_REMOVED,
    PLATFORM_UPDATED,
    PLATFORM_REMOVED,
    SERVICE_UPDATED,
    SERVICE_REMOVED,
    TRIP_UPDATED,
    TRIP_REMOVED
};

bool tellsOfRemoval(std::size_t operation) {
    return operation != STATUS_UPDATED && operation % 2 == 0;
}

std::string textOf(bool online) {
    return online ? "true" : "false";
}

template <typename Record>
std::string textOf(const Record& record) {
    return records::dumpLine(record);
}

}  // namespace

ReplayObserver::ReplayObserver(Trace trace)
    : _trace(std::move(trace)), _calls{{"onServerStatusUpdated", 0}, {"onLineUpdated", 0},
                                       {"onLineRemoved", 0},         {"onVehicleUpdated", 0},
                                       {"onVehicleRemoved", 0},      {"onStationUpdated", 0},
                                       {"onStationRemoved", 0},      {"onPlatformInfoUpdated", 0},
                                       {"onPlatformInfoRemoved", 0}, {"onServiceUpdated", 0},
                                       {"onServiceRemoved", 0},      {"onTripUpdated", 0},
                                       {"onTripRemoved", 0}} {}

template <typename Record>
void ReplayObserver::told(std::size_t operation, const Record& record) {
    auto& [name, count] = _calls[operation];
    ++count;
    if (!tellsOfRemoval(operation)) ++_updatesTold;
    if (_trace) _trace(std::string(name) + " " + textOf(record));
}

void ReplayObserver::onServerStatusUpdated(bool online) {
    told(STATUS_UPDATED, online);
}
void ReplayObserver::onLineUpdated(Line line) {
    told(LINE_UPDATED, line);
}
void ReplayObserver::onLineRemoved(Line line) {
    told(LINE_REMOVED, line);
}
void ReplayObserver::onVehicleUpdated(Vehicle vehicle) {
    told(VEHICLE_UPDATED, vehicle);
}
void ReplayObserver::onVehicleRemoved(Vehicle vehicle) {
    told(VEHICLE_REMOVED, vehicle);
}
void ReplayObserver::onStationUpdated(Station station) {
    told(STATION_UPDATED, station);
}
void ReplayObserver::onStationRemoved(Station station) {
    told(STATION_REMOVED, station);
}
void ReplayObserver::onPlatformInfoUpdated(PlatformInfo platform) {
    told(PLATFORM_UPDATED, platform);
}
void ReplayObserver::onPlatformInfoRemoved(PlatformInfo platform) {
    told(PLATFORM_REMOVED, platform);
}
void ReplayObserver::onServiceUpdated(Service service) {
    told(SERVICE_UPDATED, service);
}
void ReplayObserver::onServiceRemoved(Service service) {
    told(SERVICE_REMOVED, service);
}
void ReplayObserver::onTripUpdated(Trip trip) {
    told(TRIP_UPDATED, trip);
}
void ReplayObserver::onTripRemoved(Trip trip) {
    told(TRIP_REMOVED, trip);
}

}  // namespace pis::replay
