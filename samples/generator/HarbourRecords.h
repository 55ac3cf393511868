// What the signalling side of the sample railway keeps of each element, and the feed records that
// it makes of them.
#ifndef SAMPLES_HARBOURRECORDS_H
#define SAMPLES_HARBOURRECORDS_H

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "FeedRecord.h"

namespace harbour {

/// Element types as they stand in the feed.
enum Element {
    LINE = 2,
    VEHICLE,
    STATION,
    PLATFORM,
    TRIP,
    TRIP_STOP,
    SERVICE,
    SERVICE_STOP,
    VEHICLE_STATE,
    PLATFORM_STATE,
    SERVICE_STATE,
    AUTO_MESSAGE_STATE,
    SERVER_STATUS = 98
};

enum Priority { ALL_STOPS, LIMITED_STOPS, EXPRESS };
enum DoorSide { NONE, SIDE_1, SIDE_2, BOTH };

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
    enum State {
        NO_VEHICLE_SCHEDULED,
        VEHICLE_APPROACHING,
        VEHICLE_ON_PLATFORM,
        VEHICLE_DOES_NOT_STOP,
        VEHICLE_TERMINATED,
        VEHICLE_BOARDING,
        VEHICLE_DEPARTING,
        VEHICLE_DEPARTED
    };

    int id;
    int station;
    std::string abbreviation, name, location;
    DoorSide doors;
    State state = NO_VEHICLE_SCHEDULED;
    Ids passers = {};  ///< Service stops still to come, the next one first.
};

struct Trip {
    int id;
    std::string name;
    int line;
    bool ascending;
    Priority priority;
    Ids stops = {};
};

struct TripStop {
    int id;
    int trip, platform;
    bool stopping;
    int arrival, departure;  ///< Seconds after the start of a service.
};

struct Service {
    enum State {
        NOT_STARTED,
        RUNNING,
        APPROACHING_STATION,
        IN_STATION,
        BOARDING,
        DEPARTING_STATION,
        DEPARTED_STATION,
        TERMINATED,
        CANCELLED
    };

    int id;
    int trip, start, vehicle, destination, line;
    Ids tripStops;
    bool lastTrain = false;
    bool loading = false;
    State state = NOT_STARTED;
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
    enum State { OUT_OF_SERVICE, IN_SERVICE, SWITCHING_SERVICE };

    int id;
    std::string name, abbreviation;
    int cars;
    std::string location;
    Ids services = {};
    bool ascending = true;
    State state = OUT_OF_SERVICE;
    int currentService = 0;
    DoorSide openingDoors = NONE, openedDoors = NONE;
};

/// Every element by id.
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

FeedRecord serverStatusRecord(bool online);
FeedRecord autoMessageRecord(bool enabled);
FeedRecord lineRecord(const Line& line);
FeedRecord stationRecord(const Station& station);
FeedRecord platformRecord(const Platform& platform);
FeedRecord platformStateRecord(const Platform& platform);
FeedRecord tripRecord(const Trip& trip);
FeedRecord tripStopRecord(const TripStop& stop);
FeedRecord serviceRecord(const Service& service);
FeedRecord serviceStateRecord(const Service& service);
FeedRecord serviceStopRecord(const ServiceStop& stop);
FeedRecord vehicleRecord(const Vehicle& vehicle);
FeedRecord vehicleStateRecord(const Vehicle& vehicle);
FeedRecord deletionRecord(Element type, int id);

/// A snapshot: a record or two of every element, between the marks.
void wholeState(const Railway& railway, const std::function<void(FeedRecord)>& report);

}  // namespace harbour

#endif
