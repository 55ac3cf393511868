// The morning itself: trains run by the timetable, a little late or early, and what the signalling side
// sees of them goes out as records.
#include "HarbourMorning.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <utility>

#include "HarbourTimetable.h"

namespace {

using namespace harbour;

constexpr int kBegin = clockTime(5, 0);
constexpr int kEnd = clockTime(11, 0);

// What goes otherwise than planned.
constexpr int kFailingVehicle = 3;
constexpr int kReturnedVehicle = 11;  // to its lender, while nobody hears of it
constexpr int kChangedTrip = 3;
constexpr std::ptrdiff_t kAddedStop = 2;  // position in the trip; a ferry lands there from now on
constexpr int kLongerBy = 60;

// Seconds of a train's steps.
constexpr int kBringOut = 240;  // before the start of the service
constexpr int kApproach = 25;
constexpr int kDoors = 5;
constexpr int kShortestDwell = 25;
constexpr int kLeaving = 10;
constexpr int kClearing = 15;
constexpr int kEmptying = 75;
constexpr int kHeldAtSignal = 15;
constexpr int kLayover = clockTime(0, 30);  // before a longer one a vehicle goes out of service
constexpr int kKept = clockTime(0, 20);     // a service that has ended
constexpr int kTellingLateness = 45;        // smaller changes are not told to the stops ahead

/// A service at the stop that it heads for or stands at, the last one once it has ended.
struct Visit {
    Service& service;
    ServiceStop& stop;
    TripStop& plan;
    Platform& platform;
    Vehicle& vehicle;

    bool isFirst() const { return service.ahead == 0; }
    bool isLast() const { return service.ahead + 1 >= service.stops.size(); }
};

/// The signalling side. What is due stands in the agenda in order of time; each step of a train
/// reports what it changes and puts down the next step.
class Morning {
public:
    explicit Morning(const std::function<void(const FeedRecord&)>& emit) : _emit(emit) {}

    void run() {
        at(kBegin, [this] { connect(); });
        for (const auto& [id, service] : _railway.services) at(service.start - kBringOut, &Morning::bringOut, id);
        at(clockTime(7, 30), [this] { enableMessages(false); });
        at(clockTime(7, 42), [this] { enableMessages(true); });
        at(clockTime(7, 52), [this] { cancelNextTwo(_railway.vehicles.at(kFailingVehicle)); });
        at(clockTime(8, 35), [this] { addStop(_railway.trips.at(kChangedTrip)); });
        at(clockTime(9, 18), [this] { disconnect(); });
        at(clockTime(9, 20), [this] { _railway.vehicles.erase(kReturnedVehicle); });
        at(clockTime(9, 22), [this] { connect(); });

        while (!_agenda.empty() && _agenda.begin()->first <= kEnd) {
            const auto due = _agenda.extract(_agenda.begin());
            _now = due.key();
            due.mapped()();
        }
    }

private:
    using Step = void (Morning::*)(int serviceId);

    void at(int time, std::function<void()> action) { _agenda.emplace(time, std::move(action)); }
    void at(int time, Step step, int serviceId) {
        at(time, [=] { (this->*step)(serviceId); });
    }
    void after(int seconds, Step step, int serviceId) { at(_now + seconds, step, serviceId); }

    // --- Reporting

    /// Nothing gets through while the server is offline: the snapshot on its return makes up for it.
    void report(FeedRecord record) {
        if (!_connected) return;
        record.at = _now;
        _emit(record);
    }

    void connect() {
        _connected = true;
        report(serverStatusRecord(true));
        report(autoMessageRecord(_messagesEnabled));
        wholeState(_railway, [this](FeedRecord record) { report(std::move(record)); });
    }

    void disconnect() {
        report(serverStatusRecord(false));
        _connected = false;
    }

    void enableMessages(bool enabled) {
        _messagesEnabled = enabled;
        report(autoMessageRecord(enabled));
    }

    void show(Platform& platform, Platform::State state) {
        platform.state = state;
        report(platformStateRecord(platform));
    }

    void show(Service& service, Service::State state) {
        service.state = state;
        report(serviceStateRecord(service));
    }

    void showDoors(Vehicle& vehicle, DoorSide opening, DoorSide opened) {
        vehicle.openingDoors = opening;
        vehicle.openedDoors = opened;
        report(vehicleStateRecord(vehicle));
    }

    // --- A train's steps

    void bringOut(int serviceId) {
        const Visit here = visit(serviceId);
        if (here.service.state == Service::CANCELLED) return;
        // A vehicle that comes late from its last service starts late into this one.
        if (here.vehicle.state == Vehicle::IN_SERVICE) return after(kHeldAtSignal, &Morning::bringOut, serviceId);
        here.vehicle.state = Vehicle::IN_SERVICE;
        here.vehicle.currentService = serviceId;
        here.vehicle.ascending = _railway.trips.at(here.service.trip).ascending;
        approach(serviceId);
    }

    void approach(int serviceId) {
        const Visit here = visit(serviceId);
        if (here.platform.state != Platform::NO_VEHICLE_SCHEDULED) {
            return after(kHeldAtSignal, &Morning::approach, serviceId);
        }
        if (!here.plan.stopping) {
            show(here.platform, Platform::VEHICLE_DOES_NOT_STOP);
            return after(kApproach, &Morning::pass, serviceId);
        }
        showDoors(here.vehicle, here.platform.doors, NONE);
        show(here.service, Service::APPROACHING_STATION);
        show(here.platform, Platform::VEHICLE_APPROACHING);
        after(kApproach, &Morning::arrive, serviceId);
    }

    void arrive(int serviceId) {
        const Visit here = visit(serviceId);
        const int delay = _now - (here.service.start + here.plan.arrival);
        // Before its first departure a train waits for its time: it is never early there.
        here.stop.arrivalDelay = here.isFirst() ? std::max(delay, 0) : delay;
        here.stop.departureDelay = std::max(delay, 0);
        here.vehicle.location = here.platform.location;
        report(vehicleStateRecord(here.vehicle));
        show(here.service, Service::IN_STATION);
        show(here.platform, Platform::VEHICLE_ON_PLATFORM);
        report(serviceStopRecord(here.stop));
        after(kDoors, here.isLast() ? &Morning::terminate : &Morning::board, serviceId);
    }

    void board(int serviceId) {
        const Visit here = visit(serviceId);
        showDoors(here.vehicle, here.platform.doors, here.platform.doors);
        if (here.isFirst()) {
            here.service.loading = true;
            report(serviceRecord(here.service));
        }
        show(here.service, Service::BOARDING);
        show(here.platform, Platform::VEHICLE_BOARDING);

        const bool doorTrouble = seconds(0, 70) == 0;
        const int ready = _now + kShortestDwell + (doorTrouble ? seconds(60, 280) : 0);
        at(std::max(ready, here.service.start + here.plan.departure), &Morning::depart, serviceId);
    }

    void depart(int serviceId) {
        const Visit here = visit(serviceId);
        here.stop.departureDelay = _now - (here.service.start + here.plan.departure);
        showDoors(here.vehicle, NONE, NONE);
        show(here.service, Service::DEPARTING_STATION);
        show(here.platform, Platform::VEHICLE_DEPARTING);
        report(serviceStopRecord(here.stop));
        headForNext(here);
        after(kLeaving, &Morning::leave, serviceId);
    }

    void leave(int serviceId) {
        const Visit here = visit(serviceId);
        checkOff(here);
        show(here.service, Service::DEPARTED_STATION);
        show(here.platform, Platform::VEHICLE_DEPARTED);
        at(_now + kClearing, [this, here] {
            show(here.service, Service::RUNNING);
            show(here.platform, Platform::NO_VEHICLE_SCHEDULED);
        });
    }

    void pass(int serviceId) {
        const Visit here = visit(serviceId);
        here.stop.arrivalDelay = here.stop.departureDelay = _now - (here.service.start + here.plan.arrival);
        here.vehicle.location = here.platform.location;
        report(vehicleStateRecord(here.vehicle));
        report(serviceStopRecord(here.stop));
        headForNext(here);
        checkOff(here);
        show(here.service, Service::RUNNING);
        at(_now + kClearing, [this, here] { show(here.platform, Platform::NO_VEHICLE_SCHEDULED); });
    }

    void terminate(int serviceId) {
        const Visit here = visit(serviceId);
        showDoors(here.vehicle, here.platform.doors, here.platform.doors);
        here.service.loading = false;
        report(serviceRecord(here.service));
        checkOff(here);
        show(here.service, Service::TERMINATED);
        show(here.platform, Platform::VEHICLE_TERMINATED);
        after(kEmptying, &Morning::stable, serviceId);
        after(kKept, &Morning::forget, serviceId);
    }

    void stable(int serviceId) {
        const Visit here = visit(serviceId);
        showDoors(here.vehicle, NONE, NONE);
        here.vehicle.location = depotAt(_railway.stations.at(here.platform.station));
        layOver(here.vehicle);
        show(here.platform, Platform::NO_VEHICLE_SCHEDULED);
    }

    /// Deletes a service that has ended, and its stops.
    void forget(int serviceId) {
        const Visit last = visit(serviceId);
        remove(last.vehicle.services, serviceId);
        report(vehicleRecord(last.vehicle));
        for (const int stop : last.service.stops) {
            report(deletionRecord(SERVICE_STOP, stop));
            _railway.serviceStops.erase(stop);
        }
        report(deletionRecord(SERVICE, serviceId));
        _railway.services.erase(serviceId);
    }

    // --- What the steps share

    Visit visit(int serviceId) {
        Service& service = _railway.services.at(serviceId);
        const std::size_t position = std::min(service.ahead, service.stops.size() - 1);
        ServiceStop& stop = _railway.serviceStops.at(service.stops[position]);
        TripStop& plan = _railway.tripStops.at(stop.tripStop);
        return {service, stop, plan, _railway.platforms.at(plan.platform), _railway.vehicles.at(service.vehicle)};
    }

    /// From a departure to the next platform. Late trains make up time, early ones lose some.
    void headForNext(const Visit& here) {
        tellLateness(here);
        const ServiceStop& nextStop = _railway.serviceStops.at(here.service.stops.at(here.service.ahead + 1));
        const int running = _railway.tripStops.at(nextStop.tripStop).arrival - here.plan.departure;
        const int late = here.stop.departureDelay;
        const int deviation = late > 20 ? seconds(-35, 5) : late < -20 ? seconds(0, 25) : seconds(-25, 25);
        after(running + deviation - kApproach, &Morning::approach, here.service.id);
    }

    /// Expects at all stops ahead the lateness of this departure.
    void tellLateness(const Visit& here) {
        const int late = std::max(here.stop.departureDelay, 0);
        for (std::size_t i = here.service.ahead + 1; i < here.service.stops.size(); ++i) {
            ServiceStop& stop = _railway.serviceStops.at(here.service.stops[i]);
            if (std::abs(stop.arrivalDelay - late) < kTellingLateness) return;
            stop.arrivalDelay = stop.departureDelay = late;
            report(serviceStopRecord(stop));
        }
    }

    /// The stop lies behind the train.
    void checkOff(const Visit& here) {
        ++here.service.ahead;
        remove(here.platform.passers, here.stop.id);
    }

    void layOver(Vehicle& vehicle) {
        const int next = nextServiceOf(vehicle);
        const bool soon = next != 0 && _railway.services.at(next).start - _now <= kLayover;
        vehicle.state = soon ? Vehicle::SWITCHING_SERVICE : Vehicle::OUT_OF_SERVICE;
        vehicle.currentService = soon ? next : 0;
        report(vehicleStateRecord(vehicle));
    }

    /// The first service that the vehicle has still to begin, 0 when there is none.
    int nextServiceOf(const Vehicle& vehicle) const {
        for (const int id : vehicle.services) {
            if (_railway.services.at(id).state == Service::NOT_STARTED) return id;
        }
        return 0;
    }

    static void remove(Ids& ids, int id) { ids.erase(std::remove(ids.begin(), ids.end(), id), ids.end()); }

    /// A multiple of five seconds: track circuits report no finer.
    int seconds(int lowest, int highest) {
        const int choices = (highest - lowest) / 5 + 1;
        return lowest + 5 * static_cast<int>(_random() % static_cast<unsigned>(choices));
    }

    // --- What goes otherwise than planned

    /// A vehicle that fails loses a run there and back; where the third one starts it is ready again.
    void cancelNextTwo(Vehicle& vehicle) {
        for (int i = 0; i < 2; ++i) cancel(_railway.services.at(nextServiceOf(vehicle)));
        if (vehicle.state != Vehicle::IN_SERVICE) layOver(vehicle);
    }

    void cancel(Service& service) {
        service.ahead = service.stops.size();
        show(service, Service::CANCELLED);
        for (const int stop : service.stops) {
            const int tripStop = _railway.serviceStops.at(stop).tripStop;
            Platform& platform = _railway.platforms.at(_railway.tripStops.at(tripStop).platform);
            remove(platform.passers, stop);
            report(platformStateRecord(platform));
        }
        at(service.start + kKept, &Morning::forget, service.id);
    }

    /// The trip stops where it has passed so far. None of its services is under way.
    void addStop(Trip& trip) {
        TripStop& added = _railway.tripStops.at(trip.stops[kAddedStop]);
        added.stopping = true;
        added.departure += kLongerBy;
        report(tripStopRecord(added));
        for (auto id = trip.stops.begin() + kAddedStop + 1; id != trip.stops.end(); ++id) {
            TripStop& later = _railway.tripStops.at(*id);
            later.arrival += kLongerBy;
            later.departure += kLongerBy;
            report(tripStopRecord(later));
        }
        trip.name += " via " + _railway.stations.at(_railway.platforms.at(added.platform).station).name;
        report(tripRecord(trip));
        // A receiver completes a service from its trip when the service is reported.
        for (const auto& [id, service] : _railway.services) {
            if (service.trip == trip.id) report(serviceRecord(service));
        }
    }

    const std::function<void(const FeedRecord&)>& _emit;
    Railway _railway = plannedRailway();
    std::multimap<int, std::function<void()>> _agenda;  // what is due at the same time keeps its order
    std::mt19937 _random{1887};
    int _now = kBegin;
    bool _connected = false;
    bool _messagesEnabled = true;
};

}  // namespace

void harbourMorning(const std::function<void(const FeedRecord&)>& emit) {
    Morning(emit).run();
}
