#include "records/TableDump.h"

#include "base/ContentHash.h"
#include "base/JsonText.h"

namespace pis::records {

// --- Enumerators --------------------------------------------------------------------------------

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

namespace {

// --- Lines --------------------------------------------------------------------------------------

/// One record as it grows, member by member.
class RecordLine {
public:
    RecordLine(const char* table, int id) {
        _json.beginObject().key("table").text(table);
        add("id", id);
    }
    RecordLine(const char* table, const NamedId& record) : RecordLine(table, record.getId()) {
        add("name", record.getName()).add("abrv", record.getAbrv());
    }

    RecordLine& add(const char* key, const std::string& text) {
        _json.key(key).text(text);
        return *this;
    }
    RecordLine& add(const char* key, int number) {
        _json.key(key).number(number);
        return *this;
    }
    RecordLine& add(const char* key, unsigned long number) {
        _json.key(key).number(static_cast<long long>(number));
        return *this;
    }
    RecordLine& add(const char* key, bool flag) {
        _json.key(key).flag(flag);
        return *this;
    }
    template <typename Enumeration>
    RecordLine& addCode(const char* key, Enumeration code) {
        const char* name = enumeratorName(code);
        return name != nullptr ? add(key, std::string(name)) : add(key, static_cast<int>(code));
    }

    /// What a trip stop says of its call, and a service stop of the same.
    RecordLine& addCall(const TripStop& stop) {
        add("trip_id", stop.getTripId()).add("platform_id", stop.getPlatformId());
        add("is_stopping", stop.isStopping());
        return add("sch_arv_offset", stop.getSchArvOffset()).add("sch_dep_offset", stop.getSchDepOffset());
    }

    std::string str() { return _json.endObject().str(); }

private:
    base::JsonText _json;
};

template <typename Record>
void dumpTable(const std::vector<Record>& table, const std::function<void(const std::string&)>& take) {
    for (const Record& record : table) take(dumpLine(record));
}

}  // namespace

std::string dumpLine(const Line& line) {
    return RecordLine("lines", line).str();
}

std::string dumpLine(const Vehicle& vehicle) {
    return RecordLine("vehicles", vehicle)
        .add("num_cars", vehicle.getNumCars())
        .add("current_location", vehicle.getCurrentLocation())
        .addCode("direction", vehicle.getDirection())
        .addCode("state", vehicle.getState())
        .add("state_text", vehicle.getStateText())
        .add("current_service_id", vehicle.getCurrentServiceId())
        .addCode("opening_doors", vehicle.getOpeningDoors())
        .add("opening_doors_text", vehicle.getOpeningDoorsText())
        .addCode("opened_doors", vehicle.getOpenedDoors())
        .add("opened_doors_text", vehicle.getOpenedDoorsText())
        .add("services", vehicle.getServicesListAsString())
        .str();
}

std::string dumpLine(const Station& station) {
    return RecordLine("stations", station)
        .add("is_major", station.isMajor())
        .add("platforms", station.getPlatformsListAsString())
        .str();
}

std::string dumpLine(const PlatformInfo& platform) {
    return RecordLine("platforms", platform)
        .add("station_id", platform.getStationId())
        .add("location", platform.getLocation())
        .addCode("state", platform.getState())
        .add("state_text", platform.getStateText())
        .add("passers", platform.getPassersListAsString())
        .str();
}

std::string dumpLine(const Trip& trip) {
    return RecordLine("trips", trip)
        .add("line_id", trip.getLineId())
        .addCode("direction", trip.getDirection())
        .addCode("priority", trip.getPriority())
        .add("priority_text", trip.getPriorityText())
        .add("stops", trip.getStopsListAsString())
        .str();
}

std::string dumpLine(const TripStop& stop) {
    return RecordLine("trip_stops", stop).addCall(stop).str();
}

std::string dumpLine(const ServiceStop& stop) {
    return RecordLine("service_stops", stop.getId())
        .add("service_id", stop.getServiceId())
        .add("trip_stop_id", stop.getTripStopId())
        .add("service_start_time", stop.getServiceStartTime())
        .add("arv_delay", stop.getArvDelay())
        .add("dep_delay", stop.getDepDelay())
        .addCall(stop)
        .str();
}

std::string dumpLine(const Service& service) {
    return RecordLine("services", service)
        .add("trip_id", service.getTripId())
        .add("start_time", service.getStartTime())
        .add("vehicle_id", service.getVehicleId())
        .add("following_stops", service.getFollowingStopsListAsString())
        .addCode("state", service.getState())
        .add("state_text", service.getStateText())
        .add("is_loading", service.getIsLoading())
        .add("destination_station_id", service.getDestinationStationId())
        .add("is_last_train", service.getIsLastTrain())
        .add("line_id", service.getLineId())
        .addCode("direction", service.getDirection())
        .addCode("priority", service.getPriority())
        .add("priority_text", service.getPriorityText())
        .add("stops", service.getStopsListAsString())
        .str();
}

void dumpTables(PassengerInformationServer& store, const std::function<void(const std::string&)>& take) {
    dumpTable(store.getLines(), take);
    dumpTable(store.getVehicles(), take);
    dumpTable(store.getStations(), take);
    dumpTable(store.getPlatforms(), take);
    dumpTable(store.getTrips(), take);
    dumpTable(store.getTripStops(), take);
    dumpTable(store.getServices(), take);
}

std::uint64_t hashTables(PassengerInformationServer& store) {
    base::ContentHash hash;
    dumpTables(store, [&hash](const std::string& line) {
        hash.add(line);
        hash.add("\n");
    });
    return hash.value();
}

}  // namespace pis::records
