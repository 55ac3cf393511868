#include "simulator/Traffic.h"

#include <algorithm>
#include <cstdlib>

#include "simulator/RailwayRecords.h"

namespace pis::simulator {

using namespace railway;
using namespace SignallingCodes;

namespace {

// Seconds of a train's steps.
constexpr int kApproach = 25;
constexpr int kDoors = 5;
constexpr int kShortestDwell = 25;
constexpr int kLeaving = 10;
constexpr int kClearing = 15;
constexpr int kEmptying = 75;
constexpr int kHeldAtSignal = 15;
constexpr int kLayover = 30 * 60;  // before a longer one a vehicle goes out of service

}  // namespace

void Traffic::at(int time, Step step, int serviceId) {
    _agenda.at(time, serviceId, [this, step, serviceId] { (this->*step)(serviceId); });
}

// --- A train's steps

void Traffic::bringOut(int serviceId) {
    Service& service = _railway.services.at(serviceId);
    if (service.stops.empty()) return cancel(serviceId);
    const Visit here = visit(serviceId);
    if (here.vehicle.running != 0) {
        // A vehicle that comes late from its last service starts late into this one.
        expectDelays(service, 0, _agenda.now() + kApproach + kDoors + kShortestDwell - service.start);
        return after(kHeldAtSignal, &Traffic::bringOut, serviceId);
    }
    service.progress = Service::UNDER_WAY;
    here.vehicle.running = serviceId;
    here.vehicle.state = ::Vehicle::IN_SERVICE;
    here.vehicle.currentService = serviceId;
    here.vehicle.ascending = _railway.trips.at(service.trip).ascending;
    _report(vehicleStateRecord(here.vehicle));
    approach(serviceId);
}

void Traffic::approach(int serviceId) {
    const Visit here = visit(serviceId);
    if (!mayEnter(here)) {
        const int soonest = _agenda.now() + kApproach + (here.isFirst() ? kDoors + kShortestDwell : 0);
        expectDelays(here.service, here.service.ahead, soonest - here.service.start - here.plan.arrival);
        return after(kHeldAtSignal, &Traffic::approach, serviceId);
    }
    enter(here);
    if (!here.stopsHere()) {
        show(here.platform, PlatformInfo::VEHICLE_DOES_NOT_STOP);
        return after(kApproach, &Traffic::pass, serviceId);
    }
    showDoors(here.vehicle, here.platform.doors, ::Vehicle::NONE);
    show(here.service, ::Service::APPROACHING_STATION);
    show(here.platform, PlatformInfo::VEHICLE_APPROACHING);
    after(kApproach, &Traffic::arrive, serviceId);
}

void Traffic::arrive(int serviceId) {
    const Visit here = visit(serviceId);
    const int delay = _agenda.now() - (here.service.start + here.plan.arrival);
    // Before its first departure a train waits for its time: it is never early there.
    here.stop.arrivalDelay = here.isFirst() ? std::max(delay, 0) : delay;
    const int ready = here.isLast() ? _agenda.now() : _agenda.now() + kDoors + kShortestDwell;
    here.stop.departureDelay = std::max(ready - (here.service.start + here.plan.departure), 0);
    here.vehicle.location = here.platform.location;
    _report(vehicleStateRecord(here.vehicle));
    show(here.service, ::Service::IN_STATION);
    show(here.platform, PlatformInfo::VEHICLE_ON_PLATFORM);
    _report(serviceStopRecord(here.stop));
    expectDelays(here.service, here.service.ahead + 1, here.stop.departureDelay);
    after(kDoors, here.isLast() ? &Traffic::terminate : &Traffic::board, serviceId);
}

void Traffic::board(int serviceId) {
    const Visit here = visit(serviceId);
    showDoors(here.vehicle, here.platform.doors, here.platform.doors);
    if (here.isFirst()) {
        here.service.loading = true;
        _report(serviceRecord(here.service));
    }
    show(here.service, ::Service::BOARDING);
    show(here.platform, PlatformInfo::VEHICLE_BOARDING);

    const bool doorTrouble = _network.doorTrouble > 0 && _random() % static_cast<unsigned>(_network.doorTrouble) == 0;
    const int ready = _agenda.now() + kShortestDwell + (doorTrouble ? seconds(60, 280) : 0);
    at(std::max(ready, here.service.start + here.plan.departure), &Traffic::depart, serviceId);
}

void Traffic::depart(int serviceId) {
    const Visit here = visit(serviceId);
    here.stop.departureDelay = _agenda.now() - (here.service.start + here.plan.departure);
    showDoors(here.vehicle, ::Vehicle::NONE, ::Vehicle::NONE);
    show(here.service, ::Service::DEPARTING_STATION);
    show(here.platform, PlatformInfo::VEHICLE_DEPARTING);
    _report(serviceStopRecord(here.stop));
    headForNext(here);
    after(kLeaving, &Traffic::leave, serviceId);
}

void Traffic::leave(int serviceId) {
    const Visit here = visit(serviceId);
    here.vehicle.location = sectionAfter(here);
    _report(vehicleStateRecord(here.vehicle));
    checkOff(here);
    show(here.service, ::Service::DEPARTED_STATION);
    show(here.platform, PlatformInfo::VEHICLE_DEPARTED);
    _agenda.at(_agenda.now() + kClearing, serviceId, [this, &service = here.service, platform = here.platform.id] {
        show(service, ::Service::RUNNING);
        clear(platform, service.id);
    });
}

void Traffic::pass(int serviceId) {
    const Visit here = visit(serviceId);
    here.stop.arrivalDelay = here.stop.departureDelay = _agenda.now() - (here.service.start + here.plan.arrival);
    here.vehicle.location = here.platform.location;
    _report(vehicleStateRecord(here.vehicle));
    _report(serviceStopRecord(here.stop));
    headForNext(here);
    const std::string section = sectionAfter(here);
    checkOff(here);
    show(here.service, ::Service::RUNNING);
    show(here.platform, PlatformInfo::VEHICLE_DOES_NOT_STOP);
    _agenda.at(_agenda.now() + kClearing, serviceId,
               [this, section, &vehicle = here.vehicle, platform = here.platform.id, serviceId] {
                   vehicle.location = section;
                   _report(vehicleStateRecord(vehicle));
                   clear(platform, serviceId);
               });
}

void Traffic::terminate(int serviceId) {
    const Visit here = visit(serviceId);
    showDoors(here.vehicle, here.platform.doors, here.platform.doors);
    here.service.loading = false;
    _report(serviceRecord(here.service));
    checkOff(here);
    here.service.progress = Service::ENDED;
    show(here.service, ::Service::TERMINATED);
    show(here.platform, PlatformInfo::VEHICLE_TERMINATED);
    after(kEmptying, &Traffic::stable, serviceId);
}

void Traffic::stable(int serviceId) {
    const Visit here = visit(serviceId);
    showDoors(here.vehicle, ::Vehicle::NONE, ::Vehicle::NONE);
    here.vehicle.location = depotBy(here.platform);
    here.vehicle.running = 0;
    layOver(here.vehicle);
    clear(here.platform.id, serviceId);
    after(kServiceKept - kEmptying, &Traffic::forget, serviceId);
}

// --- What the steps share

Traffic::Visit Traffic::visit(int serviceId) {
    Service& service = _railway.services.at(serviceId);
    const std::size_t position = std::min(service.ahead, service.stops.size() - 1);
    ServiceStop& stop = _railway.serviceStops.at(service.stops[position]);
    TripStop& plan = _railway.tripStops.at(stop.tripStop);
    return {service, stop, plan, _railway.platforms.at(plan.platform), _railway.vehicles.at(service.vehicle)};
}

Platform& Traffic::platformOf(const ServiceStop& stop) {
    return _railway.platforms.at(_railway.tripStops.at(stop.tripStop).platform);
}

/// The trains between the stop that lies behind and this one.
std::deque<int>& Traffic::sectionBefore(const Visit& here) {
    const ServiceStop& behind = _railway.serviceStops.at(here.service.stops.at(here.service.ahead - 1));
    return _sections[{platformOf(behind).id, here.platform.id}];
}

/// Trains do not overtake each other between two platforms, and a platform takes one at a time.
bool Traffic::mayEnter(const Visit& here) {
    if (here.platform.occupiedBy != 0) return false;
    return here.isFirst() || sectionBefore(here).front() == here.service.id;
}

void Traffic::enter(const Visit& here) {
    here.platform.occupiedBy = here.service.id;
    if (!here.isFirst()) sectionBefore(here).pop_front();
    // The train at the platform is the first passer, whatever times the others are expected at.
    Ids& passers = here.platform.passers;
    const auto position = std::find(passers.begin(), passers.end(), here.stop.id);
    if (position != passers.end()) std::rotate(passers.begin(), position, position + 1);
}

void Traffic::clear(int platformId, int serviceId) {
    Platform& platform = _railway.platforms.at(platformId);
    if (platform.occupiedBy != serviceId) return;
    platform.occupiedBy = 0;
    show(platform, PlatformInfo::NO_VEHICLE_SCHEDULED);
}

/// From a departure to the next platform. Late trains make up time, early ones lose some.
void Traffic::headForNext(const Visit& here) {
    const int late = here.stop.departureDelay;
    expectDelays(here.service, here.service.ahead + 1, late);
    const ServiceStop& next = stopAfter(here);
    _sections[{here.platform.id, platformOf(next).id}].push_back(here.service.id);
    const int running = _railway.tripStops.at(next.tripStop).arrival - here.plan.departure;
    const int deviation = late > 20 ? seconds(-35, 5) : late < -20 ? seconds(0, 25) : seconds(-25, 25);
    const int shortest = kLeaving + kClearing + 5;  // behind the platform's clearing
    after(std::max(running + deviation - kApproach, shortest), &Traffic::approach, here.service.id);
}

/// Tells the stops from a position on what delays to expect, where the train comes to the first of them with this
/// one: a stop that is planned longer than it needs brings it down, and no train leaves a stop early.
void Traffic::expectDelays(const Service& service, std::size_t from, int delay) {
    for (std::size_t i = from; i < service.stops.size(); ++i) {
        ServiceStop& stop = _railway.serviceStops.at(service.stops[i]);
        const TripStop& plan = _railway.tripStops.at(stop.tripStop);
        const int arrival = i == 0 ? std::max(delay, 0) : delay;
        if (plan.stopping || i == 0 || i + 1 == service.stops.size()) {
            const int spare = plan.departure - plan.arrival - kDoors - kShortestDwell;
            delay = std::max(delay - std::max(spare, 0), 0);
        }
        const int change = std::max(std::abs(stop.arrivalDelay - arrival), std::abs(stop.departureDelay - delay));
        if (change < kTellingDelay) continue;
        stop.arrivalDelay = arrival;
        stop.departureDelay = delay;
        _report(serviceStopRecord(stop));
        movePasser(stop);
    }
}

const ServiceStop& Traffic::stopAfter(const Visit& here) const {
    return _railway.serviceStops.at(here.service.stops.at(here.service.ahead + 1));
}

/// Where a vehicle is between this platform and the next.
std::string Traffic::sectionAfter(const Visit& here) {
    return here.platform.location + "-" + platformOf(stopAfter(here)).location;
}

std::string Traffic::depotBy(const Platform& platform) const {
    return depotAt(_network.stations[static_cast<std::size_t>(platform.station) - 1]);
}

/// The stop lies behind the train. Both records that show it are the caller's to report.
void Traffic::checkOff(const Visit& here) {
    ++here.service.ahead;
    Ids& passers = here.platform.passers;
    passers.erase(std::remove(passers.begin(), passers.end(), here.stop.id), passers.end());
}

void Traffic::layOver(Vehicle& vehicle) {
    int next = 0;
    for (const int id : vehicle.services) {
        if (next == 0 && stillAhead(id)) next = id;
    }
    const bool soon = next != 0 && _railway.services.at(next).start - _agenda.now() <= kLayover;
    vehicle.state = soon ? ::Vehicle::SWITCHING_SERVICE : ::Vehicle::OUT_OF_SERVICE;
    vehicle.currentService = soon ? next : 0;
    _report(vehicleStateRecord(vehicle));
}

void Traffic::show(Platform& platform, PlatformInfo::State state) {
    platform.state = state;
    _report(platformStateRecord(platform));
}

void Traffic::show(Service& service, ::Service::State state) {
    service.state = state;
    _report(serviceStateRecord(service));
}

void Traffic::showDoors(Vehicle& vehicle, ::Vehicle::DoorSide opening, ::Vehicle::DoorSide opened) {
    vehicle.openingDoors = opening;
    vehicle.openedDoors = opened;
    _report(vehicleStateRecord(vehicle));
}

/// A multiple of five seconds: track circuits report no finer.
int Traffic::seconds(int lowest, int highest) {
    const int choices = (highest - lowest) / 5 + 1;
    return lowest + 5 * static_cast<int>(_random() % static_cast<unsigned>(choices));
}

}  // namespace pis::simulator
