// The slowly changing elements: lines, stations, platforms, trips and trip stops come in here as
// field lists, and elements of every type are deleted here.
#include "MergePattern.h"
#include "ServiceCompletion.h"

using namespace SignallingCodes;
using namespace SignallingControllerPrivate;

namespace {

constexpr char kUnknownLine[] = "Unknown Line";
constexpr char kUnknownAbbreviation[] = "UNK";

}  // namespace

// Fields: name, abbreviation. Unlike other records a line gets its defaults here.
void PassengerInformationServer::updateLine(int id, KEBlist* list) {
    using LineFields = Fields<TextOr<&Line::_name, kUnknownLine>, TextOr<&Line::_abrv, kUnknownAbbreviation>>;
    static constexpr UpdateRule<Line> rule{
        [](int lineId) { debug(2, "%s: lineId >%d< updated", "updateLine", lineId); },
        [](int lineId, std::size_t total) {
            debug(2, "%s: lineId >%d< added to list. Total Lines >%zd<", "updateLine", lineId, total);
        },
        LINE_UPDATED, &PassengerInformationObserver::onLineUpdated};

    if (id == 0 || list == nullptr) return;
    merge<LineFields>(_lines, Line(id), list, rule, NothingMore());
}

// Fields: name, abbreviation, major (Y), platforms. The closed flag is not among them.
void PassengerInformationServer::updateStation(int id, KEBlist* list) {
    using StationFields = Fields<Text<&Station::_name>, Text<&Station::_abrv>, Flag<&Station::_isMajor>,
                                 Text<&Station::_platformsListAsString>>;
    static constexpr UpdateRule<Station> rule{
        [](int stationId) { debug(2, "%s: stationId >%d< updated", "updateStation", stationId); },
        [](int stationId, std::size_t total) {
            debug(2, "%s: stationId >%d< added to list. Total Stations >%zd<", "updateStation", stationId, total);
        },
        STATION_UPDATED, &PassengerInformationObserver::onStationUpdated};

    if (id == 0 || list == nullptr) return;
    merge<StationFields>(_stations, Station(id), list, rule, NothingMore());
}

// Fields: station, one that is not used, name, location. State and passers come with the platform's
// state record.
void PassengerInformationServer::updatePlatform(int id, KEBlist* list) {
    using PlatformFields =
        Fields<Integer<&PlatformInfo::_stationId>, Skipped, Text<&PlatformInfo::_name>, Text<&PlatformInfo::_location>>;
    static constexpr UpdateRule<PlatformInfo> rule{
        // Kept: the class and the function are part of this one text.
        [](int platformId) {
            debug(2, "PassengerInformationServer::updatePlatform(): platformId >%d< updated", platformId);
        },
        [](int platformId, std::size_t total) {
            debug(2, "%s: platformId >%d< added to list. Total Platforms >%zd<", "updatePlatform", platformId, total);
        },
        PLATFORM_UPDATED, &PassengerInformationObserver::onPlatformInfoUpdated};

    if (id == 0 || list == nullptr) return;
    merge<PlatformFields>(_platforms, PlatformInfo(id), list, rule, NothingMore());
}

namespace {

/// Direction of a trip: 1 ascends, every other number descends.
struct AsDirection {
    using Value = Trip::Direction;
    static Value of(const char* text) { return integerOf(text) == 1 ? Trip::ASCENDING : Trip::DESCENDING; }
};

}  // namespace

// Fields: name, line, direction, priority, priority text, stops.
void PassengerInformationServer::updateTrip(int id, KEBlist* list) {
    using TripFields = Fields<Text<&Trip::_name>, Integer<&Trip::_lineId>, Field<&Trip::_direction, AsDirection>,
                              Integer<&Trip::_priority>, Text<&Trip::_priorityText>, Text<&Trip::_stopsListAsString>>;
    static constexpr UpdateRule<Trip> rule{
        [](int tripId) { debug(2, "%s: tripId >%d< updated", "updateTrip", tripId); },
        [](int tripId, std::size_t total) {
            debug(2, "%s: tripId >%d< added to list. Total Trips >%zd<", "updateTrip", tripId, total);
        },
        TRIP_UPDATED, &PassengerInformationObserver::onTripUpdated};

    if (id == 0 || list == nullptr) return;
    merge<TripFields>(_trips, Trip(id), list, rule, [this](StoreLock& lock, std::size_t position) {
        lock.unlock();
        std::vector<Service> services = gPassengerInformationServer.servicesForTrip();
        lock.lock();
        if (position >= _trips.size()) return false;

        // Kept: the services that run the trip are brought up to date in the copy alone. Those in
        // the table take over the trip's values when their own next record arrives.
        const Trip& trip = _trips[position];
        for (Service& service : services) {
            if (service.getTripId() == trip.getId()) completeFromTrip(service, trip);
        }
        return true;
    });
}

// Fields: trip, platform, stopping (Y), scheduled arrival and departure offset. Nobody is told of
// trip stops: no observer operation and no event exist for them.
void PassengerInformationServer::updateTripStop(int id, KEBlist* list) {
    using TripStopFields =
        Fields<Integer<&TripStop::_tripId>, Integer<&TripStop::_platformId>, Flag<&TripStop::_isStopping>,
               Integer<&TripStop::_schArvOffset>, Integer<&TripStop::_schDepOffset>>;
    static constexpr UpdateRule<TripStop> rule{
        [](int tripStopId) { debug(2, "%s: tripStopId >%d< updated", "updateTripStop", tripStopId); },
        [](int tripStopId, std::size_t total) {
            debug(2, "%s: tripStopId >%d< added to list. Total TripStops >%zd<", "updateTripStop", tripStopId, total);
        }};

    if (id == 0 || list == nullptr) return;
    merge<TripStopFields>(_tripStops, TripStop(id), list, rule, NothingMore());
}

void PassengerInformationServer::deletePassengerInformation(int elemId, int elemNo) {
    static constexpr const char* function = "deletePassengerInformation";
    static constexpr RemovalRule<Line> lineRule{
        [](int id) { debug(1, "%s: PI_STORAGE_ELEM_LINE lineId >%d< deleted", function, id); }, LINE_DELETED,
        &PassengerInformationObserver::onLineRemoved};
    static constexpr RemovalRule<Vehicle> vehicleRule{
        [](int id) { debug(1, "%s: PI_STORAGE_ELEM_VEHICLE vehicleId >%d< deleted", function, id); }, VEHICLE_DELETED,
        &PassengerInformationObserver::onVehicleRemoved};
    static constexpr RemovalRule<Station> stationRule{
        [](int id) { debug(1, "%s: PI_STORAGE_ELEM_STATION stationId >%d< deleted", function, id); }, STATION_DELETED,
        &PassengerInformationObserver::onStationRemoved};
    static constexpr RemovalRule<PlatformInfo> platformRule{
        [](int id) { debug(1, "%s: PI_STORAGE_ELEM_PLATFORM platformId >%d< deleted", function, id); },
        PLATFORM_DELETED, &PassengerInformationObserver::onPlatformInfoRemoved};
    static constexpr RemovalRule<Trip> tripRule{
        [](int id) { debug(1, "%s: PI_STORAGE_ELEM_TRIP tripId >%d< deleted", function, id); }, TRIP_DELETED,
        &PassengerInformationObserver::onTripRemoved};
    static constexpr RemovalRule<Service> serviceRule{
        [](int id) { debug(1, "%s: PI_STORAGE_ELEM_SERVICE serviceId >%d< deleted", function, id); }, SERVICE_DELETED,
        &PassengerInformationObserver::onServiceRemoved};
    const auto logTripStopDeleted = [](int id) {
        debug(1, "%s: PI_STORAGE_ELEM_TRIP_STOP tripStopId >%d< deleted", function, id);
    };
    const auto logServiceStopDeleted = [](int id) {
        debug(1, "%s: PI_STORAGE_ELEM_SERVICE_STOP serviceStopId >%d< deleted", function, id);
    };
    const auto selected = [elemId](Element type) { return elemId == ALL_ELEMENTS || elemId == type; };

    StoreLock lock(pisMtx);
    if (selected(LINE)) removeMatching(_lines, elemNo, lineRule);
    if (selected(VEHICLE)) removeMatching(_vehicles, elemNo, vehicleRule);
    if (selected(STATION)) removeMatching(_stations, elemNo, stationRule);
    if (selected(PLATFORM)) removeMatching(_platforms, elemNo, platformRule);
    if (selected(TRIP)) removeMatching(_trips, elemNo, tripRule);
    if (selected(TRIP_STOP)) removeMatching(_tripStops, elemNo, logTripStopDeleted);
    if (selected(SERVICE)) removeMatching(_services, elemNo, serviceRule);
    if (selected(SERVICE_STOP)) removeMatching(_serviceStops, elemNo, logServiceStopDeleted);
}
