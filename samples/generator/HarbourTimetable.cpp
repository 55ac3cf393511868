// Tables first: the tracks, the headways, the fleet. What follows makes elements of them.
#include "HarbourTimetable.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace harbour {

namespace {

// Ids count from 1 in the order of the rows.

struct LineRow {
    const char *name, *abbreviation;
};

constexpr LineRow kLines[] = {{"Mole Line", "ML"}, {"Headland Line", "HL"}};

struct StationRow {
    const char *name, *abbreviation;
    bool major;
};

constexpr StationRow kStations[] = {
    {"Östermole", "ÖMO", true},     {"Ropewalk", "RPW", false},       {"Tidal Basin", "TBN", false},
    {"Kranhöft", "KRH", false},     {"Harbour Central", "HBC", true}, {"Customs Quay", "CQY", false},
    {"Sankt Brida", "SBR", false},  {"Färjehus", "FÄH", false},       {"Lännavik", "LNV", true},
    {"Grønnehoved", "GRH", true},   {"Lantern Road", "LTR", false},   {"Saltworks", "SAW", false},
    {"Granary Dock", "GRD", false}, {"Åsholm", "ÅSH", false},         {"Skærholt", "SKH", true},
};

/// A line at a station: two tracks, the first ascending, the second descending.
struct TrackRow {
    int line, station;
    int firstTrack;
    int running, dwell;  ///< Seconds from the row before, and at the platform.
    DoorSide doors;      ///< Towards the ascending platform; those of the other one lie opposite.
    Priority fastest;    ///< The fastest trains that stop.
};

constexpr TrackRow kTracks[] = {
    {1, 1, 1, 0, 60, SIDE_1, EXPRESS},           // Östermole
    {1, 2, 1, 150, 30, SIDE_1, LIMITED_STOPS},   // Ropewalk
    {1, 3, 1, 125, 30, SIDE_2, ALL_STOPS},       // Tidal Basin
    {1, 4, 1, 140, 30, SIDE_1, LIMITED_STOPS},   // Kranhöft
    {1, 5, 1, 180, 50, BOTH, EXPRESS},           // Harbour Central
    {1, 6, 1, 110, 30, SIDE_2, ALL_STOPS},       // Customs Quay
    {1, 7, 1, 205, 40, SIDE_1, LIMITED_STOPS},   // Sankt Brida
    {1, 8, 1, 160, 30, SIDE_1, ALL_STOPS},       // Färjehus
    {1, 9, 1, 215, 60, SIDE_2, EXPRESS},         // Lännavik
    {2, 10, 1, 0, 60, SIDE_2, EXPRESS},          // Grønnehoved
    {2, 11, 1, 170, 30, SIDE_1, ALL_STOPS},      // Lantern Road
    {2, 12, 1, 145, 30, SIDE_2, LIMITED_STOPS},  // Saltworks
    {2, 5, 3, 230, 50, BOTH, EXPRESS},           // Harbour Central
    {2, 13, 1, 135, 30, SIDE_1, LIMITED_STOPS},  // Granary Dock
    {2, 14, 1, 260, 30, SIDE_1, ALL_STOPS},      // Åsholm
    {2, 15, 1, 240, 60, SIDE_2, EXPRESS},        // Skærholt
};

struct HeadwayRow {
    int line;
    bool ascending;
    Priority priority;
    int first, last, every;
};

// The Headland Line rests after its morning; the Mole Line runs on beyond the end of the feed.
constexpr HeadwayRow kHeadways[] = {
    {1, true, ALL_STOPS, clockTime(5, 10), clockTime(11, 10), clockTime(1, 0)},
    {1, true, LIMITED_STOPS, clockTime(5, 40), clockTime(10, 40), clockTime(1, 0)},
    {1, true, EXPRESS, clockTime(6, 55), clockTime(8, 55), clockTime(1, 0)},
    {1, false, ALL_STOPS, clockTime(5, 15), clockTime(11, 15), clockTime(1, 0)},
    {1, false, LIMITED_STOPS, clockTime(5, 45), clockTime(10, 45), clockTime(1, 0)},
    {1, false, EXPRESS, clockTime(7, 0), clockTime(9, 0), clockTime(1, 0)},
    {2, true, ALL_STOPS, clockTime(5, 20), clockTime(10, 20), clockTime(1, 0)},
    {2, true, LIMITED_STOPS, clockTime(5, 50), clockTime(9, 50), clockTime(1, 0)},
    {2, true, EXPRESS, clockTime(7, 5), clockTime(8, 5), clockTime(1, 0)},
    {2, false, ALL_STOPS, clockTime(5, 25), clockTime(10, 25), clockTime(1, 0)},
    {2, false, LIMITED_STOPS, clockTime(5, 55), clockTime(9, 55), clockTime(1, 0)},
    {2, false, EXPRESS, clockTime(7, 10), clockTime(8, 10), clockTime(1, 0)},
};

struct VehicleRow {
    const char *name, *abbreviation;
    int cars;
    int station;  ///< Terminus in whose depot the vehicle begins the day.
};

constexpr VehicleRow kVehicles[] = {
    {"Skarv", "401", 4, 1},  {"Terne", "402", 4, 1},  {"Måge", "403", 4, 9},      {"Ærfugl", "404", 4, 9},
    {"Lunde", "301", 3, 10}, {"Alk", "302", 3, 10},   {"Tejst", "303", 3, 15},    {"Rødben", "304", 3, 15},
    {"Sule", "405", 4, 1},   {"Hejre", "305", 3, 10}, {"Dværgmåge", "201", 2, 5},
};

constexpr int kSavedByPassing = 15;  // on either side of a platform where a train does not stop
constexpr int kTurnaround = clockTime(0, 5);

/// Gives the table its next id.
template <typename Row>
Row& append(std::map<int, Row>& table, Row element) {
    element.id = static_cast<int>(table.size()) + 1;
    return table.emplace(element.id, std::move(element)).first->second;
}

DoorSide opposite(DoorSide side) {
    return side == SIDE_1 ? SIDE_2 : side == SIDE_2 ? SIDE_1 : side;
}

void layTracks(Railway& railway) {
    for (const LineRow& row : kLines) append(railway.lines, {0, row.name, row.abbreviation});
    for (const StationRow& row : kStations) append(railway.stations, {0, row.name, row.abbreviation, row.major, {}});
    for (const TrackRow& row : kTracks) {
        Station& station = railway.stations.at(row.station);
        for (const bool ascending : {true, false}) {
            const std::string track = std::to_string(row.firstTrack + (ascending ? 0 : 1));
            const std::string location =
                railway.lines.at(row.line).abbreviation + "/" + station.abbreviation + "/" + track;
            const Platform& platform =
                append(railway.platforms, {0, station.id, station.abbreviation + track, station.name + " " + track,
                                           location, ascending ? row.doors : opposite(row.doors)});
            station.platforms.push_back(platform.id);
        }
    }
}

/// The platforms of a line in the order of a trip.
std::vector<const TrackRow*> tracksOf(int line, bool ascending) {
    std::vector<const TrackRow*> tracks;
    for (const TrackRow& row : kTracks) {
        if (row.line == line) tracks.push_back(&row);
    }
    if (!ascending) std::reverse(tracks.begin(), tracks.end());
    return tracks;
}

int platformAt(const TrackRow& row, bool ascending) {
    return static_cast<int>(&row - kTracks) * 2 + (ascending ? 1 : 2);
}

const Trip& layTrip(Railway& railway, const HeadwayRow& row) {
    static constexpr const char* kKinds[] = {"", ", limited stops", ", express"};
    const std::vector<const TrackRow*> tracks = tracksOf(row.line, row.ascending);
    const std::string name = railway.stations.at(tracks.front()->station).name + " – " +
                             railway.stations.at(tracks.back()->station).name + kKinds[row.priority];
    Trip& trip = append(railway.trips, {0, name, row.line, row.ascending, row.priority});

    int seconds = 0;
    const TrackRow* before = nullptr;
    for (const TrackRow* track : tracks) {
        const bool stopping = row.priority <= track->fastest;
        if (before != nullptr) {
            seconds += row.ascending ? track->running : before->running;
            seconds -= (stopping ? 0 : kSavedByPassing) + (row.priority <= before->fastest ? 0 : kSavedByPassing);
        }
        const int arrival = seconds;
        if (before != nullptr && track != tracks.back() && stopping) seconds += track->dwell;
        const int platform = platformAt(*track, row.ascending);
        trip.stops.push_back(append(railway.tripStops, {0, trip.id, platform, stopping, arrival, seconds}).id);
        before = track;
    }
    return trip;
}

/// The services of all trips, numbered in the order of their start.
void planServices(Railway& railway) {
    std::vector<Service> services;
    for (const HeadwayRow& row : kHeadways) {
        const Trip& trip = layTrip(railway, row);
        const int destination = railway.platforms.at(railway.tripStops.at(trip.stops.back()).platform).station;
        for (int start = row.first; start <= row.last; start += row.every) {
            services.push_back({0, trip.id, start, 0, destination, trip.line, trip.stops});
        }
    }
    std::stable_sort(services.begin(), services.end(),
                     [](const Service& a, const Service& b) { return a.start < b.start; });

    std::map<int, int> lastTo;  // by destination
    for (Service& planned : services) {
        Service& service = append(railway.services, std::move(planned));
        for (const int tripStop : service.tripStops) {
            const ServiceStop& stop = append(railway.serviceStops, {0, service.id, tripStop, service.start});
            service.stops.push_back(stop.id);
            railway.platforms.at(railway.tripStops.at(tripStop).platform).passers.push_back(stop.id);
        }
        lastTo[service.destination] = service.id;
    }
    for (const auto& [destination, last] : lastTo) railway.services.at(last).lastTrain = true;
}

/// Gives each service the vehicle that has been waiting longest at the terminus where it starts.
void allotVehicles(Railway& railway) {
    struct Waiting {
        int vehicle, station, since;
    };
    std::vector<Waiting> fleet;
    for (const VehicleRow& row : kVehicles) {
        Vehicle& vehicle = append(railway.vehicles,
                                  {0, row.name, row.abbreviation, row.cars, depotAt(railway.stations.at(row.station))});
        fleet.push_back({vehicle.id, row.station, 0});
    }
    for (auto& [id, service] : railway.services) {
        const TripStop& first = railway.tripStops.at(service.tripStops.front());
        const int origin = railway.platforms.at(first.platform).station;
        Waiting* chosen = nullptr;
        for (Waiting& waiting : fleet) {
            if (waiting.station != origin || waiting.since + kTurnaround > service.start) continue;
            if (chosen == nullptr || waiting.since < chosen->since) chosen = &waiting;
        }
        if (chosen == nullptr) throw std::logic_error("no vehicle for service " + std::to_string(id));
        service.vehicle = chosen->vehicle;
        railway.vehicles.at(chosen->vehicle).services.push_back(id);
        const int runningTime = railway.tripStops.at(service.tripStops.back()).arrival;
        *chosen = {chosen->vehicle, service.destination, service.start + runningTime};
    }
}

}  // namespace

std::string depotAt(const Station& station) {
    return station.abbreviation + "/DEPOT";
}

Railway plannedRailway() {
    Railway railway;
    layTracks(railway);
    planServices(railway);
    allotVehicles(railway);
    return railway;
}

}  // namespace harbour
