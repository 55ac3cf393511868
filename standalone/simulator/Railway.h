// What the signalling side of a simulated railway keeps of each element.
#ifndef PIS_SIMULATOR_RAILWAY_H
#define PIS_SIMULATOR_RAILWAY_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "SignallingController.h"

namespace pis::simulator::railway {

using Ids = std::vector<int>;

struct Line {
    int id;
    std::string name, abbreviation;
};

struct Station {
    int id;
    std::string name, abbreviation;
    bool major;
    Ids platforms;
};

struct Platform {
    int id;
    int station;
    std::string abbreviation, name, location;
    ::Vehicle::DoorSide doors;
    PlatformInfo::State state = PlatformInfo::NO_VEHICLE_SCHEDULED;
    Ids passers = {};    ///< Service stops still to come, the next one first.
    int occupiedBy = 0;  ///< Service that has the track to itself, 0 for none.
};

struct Trip {
    int id;
    std::string name;
    int line;
    bool ascending;
    ::Trip::Priority priority;
    std::string priorityText;
    Ids stops = {};
};

struct TripStop {
    int id;
    int trip, platform;
    bool stopping;
    int arrival, departure;  ///< Seconds after the start of a service.
};

struct Service {
    /// What the service does indeed: the state that receivers are told can be set from outside, this cannot.
    enum Progress { AHEAD, UNDER_WAY, ENDED };

    int id;
    int trip, start, vehicle, destination, line;
    Ids tripStops;
    bool lastTrain = false;
    bool loading = false;
    ::Service::State state = ::Service::NOT_STARTED;
    Progress progress = AHEAD;
    Ids stops = {};
    std::size_t ahead = 0;  ///< Position of the next stop.
};

struct ServiceStop {
    int id;
    int service, tripStop, start;
    int arrivalDelay = 0,
        departureDelay = 0;  ///< Seconds, negative when early; expected ones as long as the stop is ahead.
};

struct Vehicle {
    int id;
    std::string name, abbreviation;
    int cars;
    std::string location;
    Ids services = {};
    bool ascending = true;
    ::Vehicle::State state = ::Vehicle::OUT_OF_SERVICE;
    int currentService = 0;
    ::Vehicle::DoorSide openingDoors = ::Vehicle::NONE, openedDoors = ::Vehicle::NONE;
    int running = 0;  ///< Service that it runs indeed, 0 for none.
};

/// Every element that is known to receivers, by id.
struct Railway {
    std::map<int, Line> lines;
    std::map<int, Station> stations;
    std::map<int, Platform> platforms;
    std::map<int, Trip> trips;
    std::map<int, TripStop> tripStops;
    std::map<int, Service> services;
    std::map<int, ServiceStop> serviceStops;
    std::map<int, Vehicle> vehicles;
};

}  // namespace pis::simulator::railway

#endif
