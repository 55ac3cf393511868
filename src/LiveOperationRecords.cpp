// The fast-changing elements: vehicles, services, service stops and the state records of vehicles,
// services and platforms come in here as field lists.
#include "MergePattern.h"
#include "ServiceCompletion.h"

using namespace SignallingCodes;
using namespace SignallingControllerPrivate;

// Fields: name, abbreviation, cars, services. Location, state, doors and current service come with
// the vehicle's state record.
void PassengerInformationServer::updateVehicle(int id, KEBlist* list) {
    using VehicleFields = Fields<Text<&Vehicle::_name>, Text<&Vehicle::_abrv>, Integer<&Vehicle::_numCars>,
                                 Text<&Vehicle::_servicesListAsString>>;
    static constexpr UpdateRule<Vehicle> rule{
        [](int vehicleId) { debug(2, "%s: vehicleId >%d< updated", "updateVehicle", vehicleId); },
        [](int vehicleId, std::size_t total) {
            debug(2, "%s: vehicleId >%d< added to list. Total Vehicles >%zd<", "updateVehicle", vehicleId, total);
        },
        VEHICLE_UPDATED, &PassengerInformationObserver::onVehicleUpdated};

    if (id == 0 || list == nullptr) return;
    merge<VehicleFields>(_vehicles, Vehicle(id), list, rule, NothingMore());
}

namespace {

/// Direction of a vehicle: a text that begins with an upper-case Y ascends, every other descends.
struct AsDirectionFlag {
    using Value = Vehicle::Direction;
    static Value of(const char* text) { return text[0] == 'Y' ? Vehicle::ASCENDING : Vehicle::DESCENDING; }
};

}  // namespace

// Fields: direction (Y ascends), location, state and its text, current service, opening doors and
// their text, opened doors and their text. An unknown vehicle is created.
void PassengerInformationServer::updateVehicleState(int id, KEBlist* list) {
    using VehicleStateFields =
        Fields<Field<&Vehicle::_direction, AsDirectionFlag>, Text<&Vehicle::_currentLocation>,
               Integer<&Vehicle::_state>, Text<&Vehicle::_stateText>, Integer<&Vehicle::_currentServiceId>,
               Integer<&Vehicle::_openingDoors>, Text<&Vehicle::_openingDoorsText>, Integer<&Vehicle::_openedDoors>,
               Text<&Vehicle::_openedDoorsText>>;
    static constexpr UpdateRule<Vehicle> rule{
        [](int vehicleId) { debug(2, "%s: vehicleId >%d< updated", "updateVehicleState", vehicleId); },
        [](int vehicleId, std::size_t total) {
            debug(2, "%s: vehicleId >%d< added to list. Total Vehicles >%zd<", "updateVehicleState", vehicleId, total);
        },
        VEHICLE_UPDATED, &PassengerInformationObserver::onVehicleUpdated};

    if (id == 0 || list == nullptr) return;
    merge<VehicleStateFields>(_vehicles, Vehicle(id), list, rule, NothingMore());
}

// Fields: trip, start time, vehicle, stops, loading (1), destination, last train (1), line. Name,
// direction and priority, and where the trip is known also line and stops, are the trip's.
void PassengerInformationServer::updateService(int id, KEBlist* list) {
    using ServiceFields = Fields<Integer<&Service::_tripId>, Integer<&Service::_startTime>,
                                 Integer<&Service::_vehicleId>, Text<&Service::_stopsListAsString>,
                                 NumberedFlag<&Service::_isLoading>, Integer<&Service::_destinationSationId>,
                                 NumberedFlag<&Service::_isLastTrain>, Integer<&Service::_lineId>>;
    static constexpr UpdateRule<Service> rule{
        [](int serviceId) { debug(2, "%s: serviceId >%d< updated", "updateService", serviceId); },
        [](int serviceId, std::size_t total) {
            debug(2, "%s: serviceId >%d< added to list. Total Services >%zd<", "updateService", serviceId, total);
        },
        SERVICE_UPDATED, &PassengerInformationObserver::onServiceUpdated};

    if (id == 0 || list == nullptr) return;
    merge<ServiceFields>(_services, Service(id), list, rule, [this](StoreLock& lock, std::size_t position) {
        Trip trip;
        bool found = false;
        int tripId = 0;
        do {
            tripId = _services[position].getTripId();
            lock.unlock();
            found = gPassengerInformationServer.findTrip(tripId, trip);
            lock.lock();
            if (position >= _services.size()) return false;
            // Another service may have taken this place meanwhile, or the service another trip: that one counts.
        } while (_services[position].getTripId() != tripId);

        if (found) completeFromTrip(_services[position], trip);
        return true;
    });
}

// Fields: following stops, state and its text. An unknown service is created and stays without a
// trip until its service record comes.
void PassengerInformationServer::updateServiceState(int id, KEBlist* list) {
    using ServiceStateFields =
        Fields<Text<&Service::_followingStopsListAsString>, Integer<&Service::_state>, Text<&Service::_stateText>>;
    static constexpr UpdateRule<Service> rule{
        [](int serviceId) { debug(2, "%s: serviceId >%d< updated", "updateServiceState", serviceId); },
        [](int serviceId, std::size_t total) {
            debug(2, "%s: serviceId >%d< added to list. Total Services >%zd<", "updateServiceState", serviceId, total);
        },
        SERVICE_UPDATED, &PassengerInformationObserver::onServiceUpdated};

    if (id == 0 || list == nullptr) return;
    merge<ServiceStateFields>(_services, Service(id), list, rule, NothingMore());
}

// Fields: service, trip stop, service start time, arrival and departure delay. Trip, platform,
// stopping flag and scheduled offsets are the trip stop's. Nobody is told of service stops.
void PassengerInformationServer::updateServiceStop(int id, KEBlist* list) {
    using ServiceStopFields = Fields<Integer<&ServiceStop::_serviceId>, Integer<&ServiceStop::_tripStopId>,
                                     Integer<&ServiceStop::_serviceStartTime>, Integer<&ServiceStop::_arvDelay>,
                                     Integer<&ServiceStop::_depDelay>>;
    // Kept: these texts say trip stop and mean service stop.
    static constexpr UpdateRule<ServiceStop> rule{
        [](int serviceStopId) { debug(2, "%s: tripStopId >%d< updated", "updateServiceStop", serviceStopId); },
        [](int serviceStopId, std::size_t total) {
            debug(2, "%s: tripStopId >%d< added to list. Total TripStops >%zd<", "updateServiceStop", serviceStopId,
                  total);
        }};

    if (id == 0 || list == nullptr) return;
    merge<ServiceStopFields>(_serviceStops, ServiceStop(id), list, rule, [this](StoreLock& lock, std::size_t position) {
        const int tripStopId = _serviceStops[position].getTripStopId();
        TripStop tripStop;
        lock.unlock();
        const bool found = gPassengerInformationServer.findTripStop(tripStopId, tripStop);
        lock.lock();
        if (position >= _serviceStops.size()) return false;

        // The trip stop is the received record's, whichever service stop stands here by now.
        if (!found) return true;
        ServiceStop& serviceStop = _serviceStops[position];
        serviceStop.setTripId(tripStop.getTripId());
        serviceStop.setPlatformId(tripStop.getPlatformId());
        serviceStop.setIsStopping(tripStop.isStopping());
        serviceStop.setSchArvOffset(tripStop.getSchArvOffset());
        serviceStop.setSchDepOffset(tripStop.getSchDepOffset());
        return true;
    });
}

// Fields: state and its text, passers. An unknown platform is created.
void PassengerInformationServer::updatePlatformState(int id, KEBlist* list) {
    using PlatformStateFields = Fields<Integer<&PlatformInfo::_state>, Text<&PlatformInfo::_stateText>,
                                       Text<&PlatformInfo::_passersListAsString>>;
    static constexpr UpdateRule<PlatformInfo> rule{
        [](int platformId) { debug(2, "%s: platformId >%d< updated", "updatePlatformState", platformId); },
        [](int platformId, std::size_t total) {
            debug(2, "%s: platformId >%d< added to list. Total Platforms >%zd<", "updatePlatformState", platformId,
                  total);
        },
        PLATFORM_UPDATED, &PassengerInformationObserver::onPlatformInfoUpdated};

    if (id == 0 || list == nullptr) return;
    merge<PlatformStateFields>(_platforms, PlatformInfo(id), list, rule, NothingMore());
}
