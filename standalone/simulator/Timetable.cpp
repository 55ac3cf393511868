#include "simulator/Timetable.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <stdexcept>

namespace pis::simulator {

using namespace railway;

namespace {

constexpr std::size_t kMostStops = 200'000;  // of all services of a day

int idOf(std::size_t position) {
    return static_cast<int>(position) + 1;
}

std::string clockText(int time) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d", time / 3600, time / 60 % 60);
    return text.data();
}

void layTracks(const Network& network, Railway& railway) {
    for (const Network::Line& line : network.lines) {
        const int id = idOf(railway.lines.size());
        railway.lines[id] = {id, line.name, line.abbreviation};
    }
    for (const Network::Station& station : network.stations) {
        const int id = idOf(railway.stations.size());
        Ids platforms;
        for (const std::size_t platform : station.platforms) platforms.push_back(idOf(platform));
        railway.stations[id] = {id, station.name, station.abbreviation, station.major, platforms};
    }
    for (const Network::Platform& platform : network.platforms) {
        const int id = idOf(railway.platforms.size());
        railway.platforms[id] = {
            id, idOf(platform.station), platform.abbreviation, platform.name, platform.location, platform.doors};
    }
    for (const Network::Vehicle& vehicle : network.vehicles) {
        const int id = idOf(railway.vehicles.size());
        railway.vehicles[id] = {id, vehicle.name, vehicle.abbreviation, vehicle.cars,
                                depotAt(network.stations[vehicle.depot])};
    }
}

void layTrips(const Network& network, Railway& railway) {
    for (const Network::Pattern& pattern : network.patterns) {
        const int id = idOf(railway.trips.size());
        Trip trip{id, pattern.name, idOf(pattern.line), pattern.ascending, pattern.priority, pattern.priorityText};
        int seconds = 0;
        for (const Network::Call& call : pattern.calls) {
            const int stop = idOf(railway.tripStops.size());
            const int arrival = seconds + call.running;
            seconds = arrival + call.dwell;
            railway.tripStops[stop] = {stop, id, idOf(call.platform), call.stopping, arrival, seconds};
            trip.stops.push_back(stop);
        }
        railway.trips[id] = trip;
    }
}

/// The plan in the making: services in the order of their start.
class Plan {
public:
    explicit Plan(const Network& network) : _network(network) {
        layTracks(network, _timetable.railway);
        layTrips(network, _timetable.railway);
    }

    Timetable make() {
        listServices();
        numberServices();
        markLastTrains();
        allotVehicles();
        return std::move(_timetable);
    }

private:
    struct Waiting {
        std::size_t station;
        int since;
    };

    [[noreturn]] void fail(const std::string& place, const std::string& why) const {
        throw std::runtime_error(_network.source + ": " + place + ": " + why);
    }

    static std::string placeOf(std::size_t pattern) { return "patterns[" + std::to_string(pattern) + "].headways"; }

    int durationOf(std::size_t pattern) const {
        const Ids& stops = _timetable.railway.trips.at(idOf(pattern)).stops;
        return _timetable.railway.tripStops.at(stops.back()).arrival;
    }

    std::size_t originOf(std::size_t pattern) const {
        return _network.platforms[_network.patterns[pattern].calls.front().platform].station;
    }

    std::size_t destinationOf(std::size_t pattern) const {
        return _network.platforms[_network.patterns[pattern].calls.back().platform].station;
    }

    void listServices() {
        std::size_t stops = 0;
        for (std::size_t i = 0; i < _network.patterns.size(); ++i) {
            const Network::Pattern& pattern = _network.patterns[i];
            for (const Network::Headway& headway : pattern.headways) {
                for (int start = headway.from; start <= headway.until; start += headway.every) {
                    if (start + durationOf(i) > _network.dayEnds()) {
                        fail(placeOf(i), "the service at " + clockText(start) + " arrives after the end of the day, " +
                                             clockText(_network.dayEnds()));
                    }
                    stops += pattern.calls.size();
                    if (stops > kMostStops) {
                        fail(placeOf(i), "more than " + std::to_string(kMostStops) + " stops of services in a day");
                    }
                    _timetable.services.push_back({0, i, start, 0, 0});
                }
            }
        }
    }

    void numberServices() {
        std::stable_sort(_timetable.services.begin(), _timetable.services.end(),
                         [](const PlannedService& a, const PlannedService& b) { return a.start < b.start; });
        int id = 0;
        for (PlannedService& service : _timetable.services) {
            service.id = ++id;
            service.firstStop = _timetable.stops + 1;
            _timetable.stops += static_cast<int>(_network.patterns[service.pattern].calls.size());
        }
    }

    void markLastTrains() {
        std::map<std::size_t, PlannedService*> lastTo;  // by destination
        for (PlannedService& service : _timetable.services) lastTo[destinationOf(service.pattern)] = &service;
        for (const auto& [destination, service] : lastTo) service->lastTrain = true;
    }

    /// Gives each service the vehicle that has been waiting longest where it starts.
    void allotVehicles() {
        std::vector<Waiting> fleet;
        fleet.reserve(_network.vehicles.size());
        for (const Network::Vehicle& vehicle : _network.vehicles) {
            fleet.push_back({vehicle.depot, _network.dayBegins - _network.turnaround});
        }
        _timetable.runs.resize(fleet.size());
        for (PlannedService& service : _timetable.services) {
            Waiting* chosen = nullptr;
            for (Waiting& waiting : fleet) {
                if (waiting.station != originOf(service.pattern)) continue;
                if (waiting.since + _network.turnaround > service.start) continue;
                if (chosen == nullptr || waiting.since < chosen->since) chosen = &waiting;
            }
            if (chosen == nullptr) failForLackOfVehicles(service);
            const auto vehicle = static_cast<std::size_t>(chosen - fleet.data());
            service.vehicle = idOf(vehicle);
            _timetable.runs[vehicle].push_back(service.id);
            *chosen = {destinationOf(service.pattern), service.start + durationOf(service.pattern)};
        }
    }

    [[noreturn]] void failForLackOfVehicles(const PlannedService& service) const {
        const std::string& origin = _network.stations[originOf(service.pattern)].name;
        fail(placeOf(service.pattern), "no vehicle is at " + origin + " for the service at " +
                                           clockText(service.start) + ", " + std::to_string(_network.turnaround) +
                                           " s after its last one: more vehicles are needed there, or longer headways");
    }

    const Network& _network;
    Timetable _timetable;
};

}  // namespace

std::string depotAt(const Network::Station& station) {
    return station.abbreviation + "/DEPOT";
}

Timetable timetableOf(const Network& network) {
    return Plan(network).make();
}

}  // namespace pis::simulator
