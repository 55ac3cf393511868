// How services come and go: made known ahead of their start, cancelled, deleted. The steps of a train stand in
// Traffic.cpp.
#include <algorithm>

#include "simulator/RailwayRecords.h"
#include "simulator/Traffic.h"

namespace pis::simulator {

using namespace railway;
using namespace SignallingCodes;

namespace {

constexpr int kBringOut = 240;  // seconds before its start that a train leaves its depot

void erase(Ids& ids, int id) {
    ids.erase(std::remove(ids.begin(), ids.end(), id), ids.end());
}

Ids toldPassers(const Platform& platform) {
    const Ids& passers = platform.passers;
    return {passers.begin(), passers.begin() + static_cast<std::ptrdiff_t>(std::min(passers.size(), kPassersTold))};
}

}  // namespace

Traffic::Traffic(const Network& network, Agenda& agenda, std::mt19937& random, Report report)
    : _network(network), _agenda(agenda), _random(random), _report(std::move(report)) {
    Timetable timetable = timetableOf(network);
    _planned = std::move(timetable.services);
    _runs = std::move(timetable.runs);
    _railway = std::move(timetable.railway);
    _lastStopId = timetable.stops;
    for (PlannedService& planned : _planned) {
        const int when = planned.start - network.announced;
        if (when <= agenda.now()) {
            announce(planned);
        } else {
            agenda.at(when, Agenda::kNobody, [this, &planned] { announce(planned); });
        }
    }
}

// --- Made known

void Traffic::announce(PlannedService& planned) {
    if (planned.settled) return;
    planned.settled = true;
    if (_railway.services.count(planned.id) != 0) return;  // an added one has taken its place

    const Trip& trip = _railway.trips.at(static_cast<int>(planned.pattern) + 1);
    const bool vehicleThere = _railway.vehicles.count(planned.vehicle) != 0;
    Service service{planned.id, trip.id, planned.start, vehicleThere ? planned.vehicle : 0, 0, trip.line, trip.stops};
    service.destination = _railway.platforms.at(_railway.tripStops.at(trip.stops.back()).platform).station;
    service.lastTrain = planned.lastTrain;
    const bool cancelled = planned.cancelled || !vehicleThere;
    if (cancelled) {
        service.state = ::Service::CANCELLED;
        service.progress = Service::ENDED;
    }
    makeKnown(std::move(service), planned.firstStop);

    if (_network.cancellations == 0 || cancelled) return;
    if (_random() % static_cast<unsigned>(_network.cancellations) != 0) return;
    _agenda.at(_agenda.now() + seconds(0, 30 * 60), Agenda::kNobody,
               [this, vehicle = planned.vehicle] { fail(vehicle, true); });
}

void Traffic::add(Service service) {
    if (_railway.services.count(service.id) != 0) remove(service.id);
    const Trip& trip = _railway.trips.at(service.trip);
    service.line = trip.line;
    service.tripStops = trip.stops;
    const int firstStop = _lastStopId + 1;
    _lastStopId += static_cast<int>(trip.stops.size());
    makeKnown(std::move(service), firstStop);
}

void Traffic::makeKnown(Service service, int firstStop) {
    const bool ended = service.progress == Service::ENDED;
    for (const int tripStop : service.tripStops) {
        const int id = firstStop + static_cast<int>(service.stops.size());
        _railway.serviceStops[id] = {id, service.id, tripStop, service.start};
        service.stops.push_back(id);
    }
    if (ended) service.ahead = service.stops.size();
    const Service& known = _railway.services[service.id] = std::move(service);

    _report(serviceRecord(known));
    for (const int stop : known.stops) _report(serviceStopRecord(_railway.serviceStops.at(stop)));
    _report(serviceStateRecord(known));
    const auto vehicle = _railway.vehicles.find(known.vehicle);
    if (vehicle != _railway.vehicles.end()) {
        vehicle->second.services.push_back(known.id);
        _report(vehicleRecord(vehicle->second));
    }
    const int forgottenAt = plannedEnd(known) + kServiceKept;
    if (ended) return at(forgottenAt, &Traffic::forget, known.id);
    for (const int stop : known.stops) listPasser(_railway.serviceStops.at(stop));
    if (vehicle != _railway.vehicles.end()) return at(known.start - kBringOut, &Traffic::bringOut, known.id);
    at(forgottenAt, &Traffic::forget, known.id);
}

int Traffic::plannedEnd(const Service& service) const {
    const int duration = service.tripStops.empty() ? 0 : _railway.tripStops.at(service.tripStops.back()).arrival;
    return service.start + duration;
}

void Traffic::listPasser(const ServiceStop& stop) {
    Platform& platform = platformOf(stop);
    const Ids told = toldPassers(platform);
    insertPasser(platform, stop);
    if (toldPassers(platform) != told) _report(platformStateRecord(platform));
}

void Traffic::unlistPasser(const ServiceStop& stop) {
    Platform& platform = platformOf(stop);
    const Ids told = toldPassers(platform);
    erase(platform.passers, stop.id);
    if (toldPassers(platform) != told) _report(platformStateRecord(platform));
}

/// The stop is expected at another time than before.
void Traffic::movePasser(const ServiceStop& stop) {
    Platform& platform = platformOf(stop);
    const Ids told = toldPassers(platform);
    erase(platform.passers, stop.id);
    insertPasser(platform, stop);
    if (toldPassers(platform) != told) _report(platformStateRecord(platform));
}

/// Behind the train at the platform and all that are expected before or at the same time.
void Traffic::insertPasser(Platform& platform, const ServiceStop& stop) {
    Ids& passers = platform.passers;
    const bool taken = !passers.empty() && platform.occupiedBy != 0 &&
                       _railway.serviceStops.at(passers.front()).service == platform.occupiedBy;
    const auto later = std::upper_bound(passers.begin() + (taken ? 1 : 0), passers.end(), stop.id,
                                        [this](int one, int other) { return comesBefore(one, other); });
    passers.insert(later, stop.id);
}

void Traffic::orderPassers(Platform& platform) {
    const Ids told = toldPassers(platform);
    Ids passers;
    passers.swap(platform.passers);
    for (const int stop : passers) insertPasser(platform, _railway.serviceStops.at(stop));
    if (toldPassers(platform) != told) _report(platformStateRecord(platform));
}

bool Traffic::comesBefore(int stopId, int otherStopId) const {
    const auto expectedAt = [this](const ServiceStop& stop) {
        return stop.start + _railway.tripStops.at(stop.tripStop).arrival + stop.arrivalDelay;
    };
    return expectedAt(_railway.serviceStops.at(stopId)) < expectedAt(_railway.serviceStops.at(otherStopId));
}

// --- Cancelled and deleted

/// The service has ended, by itself or not: nothing of it may stay on the tracks or in the agenda.
void Traffic::takeOffTheTrack(Service& service) {
    _agenda.dropAllOf(service.id);
    if (hasTrainOut(service)) stableWhereItIs(service);
    service.progress = Service::ENDED;
    service.ahead = service.stops.size();
    for (auto& [platforms, trains] : _sections) {
        trains.erase(std::remove(trains.begin(), trains.end(), service.id), trains.end());
    }
    for (auto& [id, platform] : _railway.platforms) clear(id, service.id);
    for (const int stop : service.stops) unlistPasser(_railway.serviceStops.at(stop));

    const auto found = _railway.vehicles.find(service.vehicle);
    if (found == _railway.vehicles.end()) return;
    Vehicle& vehicle = found->second;
    if (vehicle.running == service.id) {
        vehicle.running = 0;
        vehicle.openingDoors = vehicle.openedDoors = ::Vehicle::NONE;
        layOver(vehicle);
    } else if (vehicle.running == 0 && vehicle.currentService == service.id) {
        layOver(vehicle);
    }
}

/// Its train is taken to the depot of the station that it stands at, or where it comes from.
void Traffic::stableWhereItIs(const Service& service) {
    const Visit here = visit(service.id);
    const bool comesFrom = here.platform.occupiedBy != service.id && service.ahead > 0;
    const Platform& nearest =
        comesFrom ? platformOf(_railway.serviceStops.at(service.stops.at(service.ahead - 1))) : here.platform;
    here.vehicle.location = depotBy(nearest);
}

bool Traffic::hasTrainOut(const Service& service) const {
    const auto vehicle = _railway.vehicles.find(service.vehicle);
    return vehicle != _railway.vehicles.end() && vehicle->second.running == service.id;
}

void Traffic::cancel(int serviceId) {
    Service& service = _railway.services.at(serviceId);
    takeOffTheTrack(service);
    service.loading = false;
    _report(serviceRecord(service));
    show(service, ::Service::CANCELLED);
    at(std::max(_agenda.now(), plannedEnd(service)) + kServiceKept, &Traffic::forget, serviceId);
}

void Traffic::remove(int serviceId) {
    Service& service = _railway.services.at(serviceId);
    takeOffTheTrack(service);
    const auto vehicle = _railway.vehicles.find(service.vehicle);
    if (vehicle != _railway.vehicles.end()) {
        erase(vehicle->second.services, serviceId);
        _report(vehicleRecord(vehicle->second));
    }
    for (const int stop : service.stops) {
        _report(deletionRecord(SERVICE_STOP, stop));
        _railway.serviceStops.erase(stop);
    }
    _report(deletionRecord(SERVICE, serviceId));
    _railway.services.erase(serviceId);
}

void Traffic::removeAll() {
    for (PlannedService& planned : _planned) planned.settled = true;
    for (auto& [id, service] : _railway.services) service.progress = Service::ENDED;
    for (auto& [id, service] : _railway.services) takeOffTheTrack(service);
    for (auto& [id, vehicle] : _railway.vehicles) {
        if (vehicle.services.empty()) continue;
        vehicle.services.clear();
        _report(vehicleRecord(vehicle));
    }
    _report(deletionRecord(SERVICE_STOP, 0));
    _railway.serviceStops.clear();
    _report(deletionRecord(SERVICE, 0));
    _railway.services.clear();
}

void Traffic::endServicesOf(int vehicleId) {
    const Ids services = _railway.vehicles.at(vehicleId).services;
    for (const int id : services) {
        Service& service = _railway.services.at(id);
        if (service.progress != Service::ENDED) {
            cancel(id);
        } else if (_railway.vehicles.at(vehicleId).running == id) {  // at its last platform still
            takeOffTheTrack(service);
            at(_agenda.now() + kServiceKept, &Traffic::forget, id);
        }
        service.vehicle = 0;
        _report(serviceRecord(service));
    }
}

void Traffic::removeVehicle(int vehicleId) {
    endServicesOf(vehicleId);
    _report(deletionRecord(VEHICLE, vehicleId));
    _railway.vehicles.erase(vehicleId);
}

void Traffic::removeAllVehicles() {
    for (const auto& [id, vehicle] : _railway.vehicles) endServicesOf(id);
    _report(deletionRecord(VEHICLE, 0));
    _railway.vehicles.clear();
}

int Traffic::addServiceStop(Service& service, int tripStopId) {
    const auto orderOf = [&service, this](int stop) {
        const Ids& order = service.tripStops;
        return std::find(order.begin(), order.end(), _railway.serviceStops.at(stop).tripStop);
    };
    const int id = ++_lastStopId;
    const ServiceStop& stop = _railway.serviceStops[id] = {id, service.id, tripStopId, service.start};
    const auto later = std::find_if(service.stops.begin(), service.stops.end(),
                                    [&](int other) { return orderOf(other) > orderOf(id); });
    service.stops.insert(later, id);
    _report(serviceStopRecord(stop));
    _report(serviceStateRecord(service));
    listPasser(stop);
    return id;
}

void Traffic::removeServiceStop(int stopId) {
    const ServiceStop& stop = _railway.serviceStops.at(stopId);
    Service& service = _railway.services.at(stop.service);
    unlistPasser(stop);
    erase(service.stops, stopId);
    service.ahead = std::min(service.ahead, service.stops.size());
    _report(serviceStateRecord(service));
    _report(deletionRecord(SERVICE_STOP, stopId));
    _railway.serviceStops.erase(stopId);
}

// --- What goes otherwise than planned

bool Traffic::stillAhead(int serviceId) const {
    const auto known = _railway.services.find(serviceId);
    if (known != _railway.services.end()) return known->second.progress == Service::AHEAD;
    const auto position = static_cast<std::size_t>(serviceId) - 1;
    return position < _planned.size() && !_planned[position].settled && !_planned[position].cancelled;
}

/// What the vehicle has still to begin, in order.
std::vector<int> Traffic::nextRuns(int vehicleId) const {
    std::vector<int> next;
    for (const int id : _runs.at(static_cast<std::size_t>(vehicleId) - 1)) {
        const auto known = _railway.services.find(id);
        const bool another = known != _railway.services.end() && known->second.vehicle != vehicleId;
        if (!another && stillAhead(id)) next.push_back(id);
    }
    return next;
}

void Traffic::fail(int vehicleId, bool sparesLastTrains) {
    if (_railway.vehicles.count(vehicleId) == 0) return;
    const auto plannedOf = [this](int id) -> PlannedService& { return _planned[static_cast<std::size_t>(id) - 1]; };
    const auto originOf = [&](int id) {
        return _network.platforms[_network.patterns[plannedOf(id).pattern].calls.front().platform].station;
    };
    std::vector<int> lost = nextRuns(vehicleId);
    const auto ready = std::find_if(
        lost.begin(), lost.end(), [&](int id) { return id != lost.front() && originOf(id) == originOf(lost.front()); });
    lost.erase(ready, lost.end());
    const auto isLast = [&](int id) { return plannedOf(id).lastTrain; };
    if (sparesLastTrains && std::any_of(lost.begin(), lost.end(), isLast)) return;
    for (const int id : lost) {
        plannedOf(id).cancelled = true;
        if (_railway.services.count(id) != 0) cancel(id);
    }
}

void Traffic::addStop(const Network::StopAdded& added) {
    Trip& trip = _railway.trips.at(static_cast<int>(added.pattern) + 1);
    TripStop& stop = _railway.tripStops.at(trip.stops[added.call]);
    if (stop.stopping) return;
    stop.stopping = true;
    stop.departure += added.dwell;
    _report(tripStopRecord(stop));
    for (std::size_t i = added.call + 1; i < trip.stops.size(); ++i) {
        TripStop& later = _railway.tripStops.at(trip.stops[i]);
        later.arrival += added.dwell;
        later.departure += added.dwell;
        _report(tripStopRecord(later));
    }
    for (auto& [id, platform] : _railway.platforms) orderPassers(platform);
    const std::size_t station = _network.platforms[_network.patterns[added.pattern].calls[added.call].platform].station;
    trip.name += " via " + _network.stations[station].name;
    _report(tripRecord(trip));
    // A receiver completes a service from its trip when the service is reported.
    for (const auto& [id, service] : _railway.services) {
        if (service.trip == trip.id) _report(serviceRecord(service));
    }
}

}  // namespace pis::simulator
