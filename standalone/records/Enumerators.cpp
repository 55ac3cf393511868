#include "records/Enumerators.h"

namespace pis::records {

const char* enumeratorName(Vehicle::Direction direction) {
    switch (direction) {
        case Vehicle::DESCENDING: return "DESCENDING";
        case Vehicle::ASCENDING: return "ASCENDING";
    }
    return nullptr;
}

const char* enumeratorName(Vehicle::State state) {
    switch (state) {
        case Vehicle::OUT_OF_SERVICE: return "OUT_OF_SERVICE";
        case Vehicle::IN_SERVICE: return "IN_SERVICE";
        case Vehicle::SWITCHING_SERVICE: return "SWITCHING_SERVICE";
    }
    return nullptr;
}

const char* enumeratorName(Vehicle::DoorSide side) {
    switch (side) {
        case Vehicle::NONE: return "NONE";
        case Vehicle::SIDE_1: return "SIDE_1";
        case Vehicle::SIDE_2: return "SIDE_2";
        case Vehicle::BOTH: return "BOTH";
    }
    return nullptr;
}

const char* enumeratorName(PlatformInfo::State state) {
    switch (state) {
        case PlatformInfo::NO_VEHICLE_SCHEDULED: return "NO_VEHICLE_SCHEDULED";
        case PlatformInfo::VEHICLE_APPROACHING: return "VEHICLE_APPROACHING";
        case PlatformInfo::VEHICLE_ON_PLATFORM: return "VEHICLE_ON_PLATFORM";
        case PlatformInfo::VEHICLE_DOES_NOT_STOP: return "VEHICLE_DOES_NOT_STOP";
        case PlatformInfo::VEHICLE_TERMINATED: return "VEHICLE_TERMINATED";
        case PlatformInfo::VEHICLE_BOARDING: return "VEHICLE_BOARDING";
        case PlatformInfo::VEHICLE_DEPARTING: return "VEHICLE_DEPARTING";
        case PlatformInfo::VEHICLE_DEPARTED: return "VEHICLE_DEPARTED";
    }
    return nullptr;
}

const char* enumeratorName(Trip::Direction direction) {
    switch (direction) {
        case Trip::DESCENDING: return "DESCENDING";
        case Trip::ASCENDING: return "ASCENDING";
    }
    return nullptr;
}

const char* enumeratorName(Trip::Priority priority) {
    switch (priority) {
        case Trip::ALL_STOPS: return "ALL_STOPS";
        case Trip::LIMITED_STOPS: return "LIMITED_STOPS";
        case Trip::EXPRESS: return "EXPRESS";
    }
    return nullptr;
}

const char* enumeratorName(Service::State state) {
    switch (state) {
        case Service::NOT_STARTED: return "NOT_STARTED";
        case Service::RUNNING: return "RUNNING";
        case Service::APPROACHING_STATION: return "APPROACHING_STATION";
        case Service::IN_STATION: return "IN_STATION";
        case Service::BOARDING: return "BOARDING";
        case Service::DEPARTING_STATION: return "DEPARTING_STATION";
        case Service::DEPARTED_STATION: return "DEPARTED_STATION";
        case Service::TERMINATED: return "TERMINATED";
        case Service::CANCELLED: return "CANCELLED";
    }
    return nullptr;
}

}  // namespace pis::records
