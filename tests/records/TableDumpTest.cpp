// The tables as lines of JSON: keys, order, enumerators by name, awkward texts, and the hash.
#include "records/TableDump.h"

#include "StoreTest.h"

namespace pis::records {

namespace {

// --- One record a line --------------------------------------------------------------------------

TEST(DumpLine, OfALine) {
    Line line(7);
    line.setName("North Line");
    line.setAbrv("N");
    EXPECT_EQ(dumpLine(line), R"({"table":"lines","id":7,"name":"North Line","abrv":"N"})");
}

TEST(DumpLine, OfAVehicle) {
    Vehicle vehicle(12);
    vehicle.setName("Train 12");
    vehicle.setAbrv("T12");
    vehicle.setNumCars(4);
    vehicle.setCurrentLocation("km 3.2");
    vehicle.setDirection(Vehicle::DESCENDING);
    vehicle.setState(Vehicle::IN_SERVICE);
    vehicle.setStateText("in service");
    vehicle.setCurrentServiceId(3021);
    vehicle.setOpeningDoors(Vehicle::SIDE_1);
    vehicle.setOpeningDoorsText("left");
    vehicle.setOpenedDoors(Vehicle::SIDE_2);
    vehicle.setOpenedDoorsText("right");
    vehicle.setServicesListAsString("3021!3022");
    EXPECT_EQ(dumpLine(vehicle),
              R"({"table":"vehicles","id":12,"name":"Train 12","abrv":"T12","num_cars":4,"current_location":"km 3.2",)"
              R"("direction":"DESCENDING","state":"IN_SERVICE","state_text":"in service","current_service_id":3021,)"
              R"("opening_doors":"SIDE_1","opening_doors_text":"left","opened_doors":"SIDE_2",)"
              R"("opened_doors_text":"right","services":"3021!3022"})");
}

TEST(DumpLine, OfTimesWithTheirSignWhereItIsAskedFor) {
    const auto timesOf = [](unsigned long arrival, unsigned long departure, Times times) {
        ServiceStop stop(9, 8, 7);
        stop.setArvDelay(arrival);
        stop.setDepDelay(departure);
        const std::string line = dumpLine(stop, times);
        const std::size_t begin = line.find(R"("arv_delay")");
        return line.substr(begin, line.find(R"(,"trip_id")") - begin);
    };
    EXPECT_EQ(timesOf(4294967266, 30, Times::SIGNED), R"("arv_delay":-30,"dep_delay":30)");
    EXPECT_EQ(timesOf(4294967266, 30, Times::AS_STORED), R"("arv_delay":4294967266,"dep_delay":30)");
    EXPECT_EQ(timesOf(2147483648, 2147483647, Times::SIGNED), R"("arv_delay":-2147483648,"dep_delay":2147483647)");
    EXPECT_EQ(timesOf(2147483648, 4294967295, Times::AS_STORED), R"("arv_delay":2147483648,"dep_delay":4294967295)");

    TripStop stop(7);
    stop.setSchArvOffset(4294967236);
    stop.setSchDepOffset(4294967295);
    EXPECT_NE(dumpLine(stop, Times::SIGNED).find(R"("sch_arv_offset":-60,"sch_dep_offset":-1})"), std::string::npos);
    Service service(8);
    service.setStartTime(4294963696);
    EXPECT_NE(dumpLine(service, Times::SIGNED).find(R"("start_time":-3600,)"), std::string::npos);
    EXPECT_NE(dumpLine(service).find(R"("start_time":4294963696,)"), std::string::npos);
}

TEST(DumpLine, OfAVehicleWithItsDefaults) {
    EXPECT_EQ(dumpLine(Vehicle(-3)),
              R"({"table":"vehicles","id":-3,"name":"Unknown Vehicle","abrv":"","num_cars":0,"current_location":"",)"
              R"("direction":"ASCENDING","state":"OUT_OF_SERVICE","state_text":"OUT_OF_SERVICE",)"
              R"("current_service_id":0,"opening_doors":"BOTH","opening_doors_text":"BOTH","opened_doors":"NONE",)"
              R"("opened_doors_text":"NONE","services":""})");
}

TEST(DumpLine, OfAStation) {
    Station station(4);
    station.setName("Harbour");
    station.setAbrv("HBR");
    station.setIsMajor(true);
    station.setIsClosed(true);
    station.setPlatformsListAsString("41!42");
    EXPECT_EQ(dumpLine(station),
              R"({"table":"stations","id":4,"name":"Harbour","abrv":"HBR","is_major":true,"platforms":"41!42"})");
    station.setIsMajor(false);
    EXPECT_EQ(dumpLine(station),
              R"({"table":"stations","id":4,"name":"Harbour","abrv":"HBR","is_major":false,"platforms":"41!42"})");
}

TEST(DumpLine, OfAPlatform) {
    PlatformInfo platform(41);
    platform.setName("Track 1");
    platform.setAbrv("1");
    platform.setStationId(4);
    platform.setLocation("km 0");
    platform.setState(PlatformInfo::VEHICLE_BOARDING);
    platform.setStateText("boarding");
    platform.setPassersListAsString("90001!90002");
    EXPECT_EQ(dumpLine(platform),
              R"({"table":"platforms","id":41,"name":"Track 1","abrv":"1","station_id":4,"location":"km 0",)"
              R"("state":"VEHICLE_BOARDING","state_text":"boarding","passers":"90001!90002"})");
}

TEST(DumpLine, OfATrip) {
    Trip trip(100, Trip::DESCENDING, Trip::EXPRESS);
    trip.setName("Harbour - Hill");
    trip.setAbrv("HH");
    trip.setLineId(7);
    trip.setPriorityText("express");
    trip.setStopsListAsString("1001!1002");
    EXPECT_EQ(dumpLine(trip), R"({"table":"trips","id":100,"name":"Harbour - Hill","abrv":"HH","line_id":7,)"
                              R"("direction":"DESCENDING","priority":"EXPRESS","priority_text":"express",)"
                              R"("stops":"1001!1002"})");
}

TEST(DumpLine, OfATripStop) {
    TripStop stop(1001, 41, true, 60, 90);
    stop.setName("first");
    stop.setAbrv("1st");
    stop.setTripId(100);
    EXPECT_EQ(dumpLine(stop), R"({"table":"trip_stops","id":1001,"name":"first","abrv":"1st","trip_id":100,)"
                              R"("platform_id":41,"is_stopping":true,"sch_arv_offset":60,"sch_dep_offset":90})");
    stop.setIsStopping(false);
    EXPECT_EQ(dumpLine(stop), R"({"table":"trip_stops","id":1001,"name":"first","abrv":"1st","trip_id":100,)"
                              R"("platform_id":41,"is_stopping":false,"sch_arv_offset":60,"sch_dep_offset":90})");
}

TEST(DumpLine, OfAServiceStopWithoutNames) {
    ServiceStop stop(90001, 3021, 1001);
    stop.setServiceStartTime(21600);
    stop.setArvDelay(30);
    stop.setDepDelay(4294967236UL);
    stop.setName("no service stop has one");
    EXPECT_EQ(dumpLine(stop),
              R"({"table":"service_stops","id":90001,"service_id":3021,"trip_stop_id":1001,"service_start_time":21600,)"
              R"("arv_delay":30,"dep_delay":4294967236,"trip_id":0,"platform_id":0,"is_stopping":false,)"
              R"("sch_arv_offset":0,"sch_dep_offset":0})");
    stop.setTripId(100);
    stop.setPlatformId(41);
    stop.setIsStopping(true);
    stop.setSchArvOffset(60);
    stop.setSchDepOffset(90);
    EXPECT_EQ(dumpLine(stop),
              R"({"table":"service_stops","id":90001,"service_id":3021,"trip_stop_id":1001,"service_start_time":21600,)"
              R"("arv_delay":30,"dep_delay":4294967236,"trip_id":100,"platform_id":41,"is_stopping":true,)"
              R"("sch_arv_offset":60,"sch_dep_offset":90})");
}

TEST(DumpLine, OfAService) {
    Service service(3021);
    service.setName("Morning train");
    service.setAbrv("M");
    service.setTripId(100);
    service.setStartTime(21600);
    service.setVehicleId(12);
    service.setFollowingStopsListAsString("90002!90003");
    service.setState(Service::APPROACHING_STATION);
    service.setStateText("approaching");
    service.setIsLoading(true);
    service.setDestinationStationId(9);
    service.setIsLastTrain(false);
    service.setLineId(7);
    static_cast<Trip&>(service).setLineId(70707);  // the one that a service hides
    service.setDirection(Trip::ASCENDING);
    service.setPriority(Trip::LIMITED_STOPS);
    service.setPriorityText("limited");
    service.setStopsListAsString("1001!1002");
    EXPECT_EQ(dumpLine(service),
              R"({"table":"services","id":3021,"name":"Morning train","abrv":"M","trip_id":100,"start_time":21600,)"
              R"("vehicle_id":12,"following_stops":"90002!90003","state":"APPROACHING_STATION",)"
              R"("state_text":"approaching","is_loading":true,"destination_station_id":9,"is_last_train":false,)"
              R"("line_id":7,"direction":"ASCENDING","priority":"LIMITED_STOPS","priority_text":"limited",)"
              R"("stops":"1001!1002"})");
}

TEST(DumpLine, ShowsUnsignedMembersUnsignedOnEveryWidth) {
    const TripStop stop(1, -41, false, -30, 2147483647);
    EXPECT_EQ(dumpLine(stop),
              R"({"table":"trip_stops","id":1,"name":"","abrv":"","trip_id":0,"platform_id":-41,"is_stopping":false,)"
              R"("sch_arv_offset":4294967266,"sch_dep_offset":2147483647})");
    const std::string service = dumpLine(Service(1, -100, -1));
    EXPECT_NE(service.find(R"("trip_id":-100,"start_time":4294967295,)"), std::string::npos) << service;
}

TEST(DumpLine, AwkwardTextsStayOnTheirLine) {
    Line line(1);
    line.setName("a\"b\\c\nd\x01");
    line.setAbrv("\xc3\xb8\xff");
    EXPECT_EQ(dumpLine(line),
              "{\"table\":\"lines\",\"id\":1,\"name\":\"a\\\"b\\\\c\\nd\\u0001\","
              "\"abrv\":\"\xc3\xb8\xef\xbf\xbd\"}");
}

TEST(DumpLine, ListStringsStandAsTheyAre) {
    Station station(1);
    station.setPlatformsListAsString(" 1!!\"2!3\"!x");
    EXPECT_EQ(
        dumpLine(station),
        R"({"table":"stations","id":1,"name":"Unknown Station","abrv":"","is_major":false,"platforms":" 1!!\"2!3\"!x"})");
}

// --- Enumerators --------------------------------------------------------------------------------

/// What stands behind a key, up to the next comma or bracket.
std::string valueOf(const std::string& key, const std::string& line) {
    const std::string before = "\"" + key + "\":";
    const std::size_t begin = line.find(before);
    if (begin == std::string::npos) return "no " + key;
    return line.substr(begin + before.size(), line.find_first_of(",}", begin) - begin - before.size());
}

/// How the codes from -1 on show, separated by blanks.
template <typename Record, typename Code>
std::string shown(const std::string& key, void (Record::*set)(Code), int last) {
    std::string values;
    for (int code = -1; code <= last; ++code) {
        Record record(1);
        (record.*set)(static_cast<Code>(code));
        values += (values.empty() ? "" : " ") + valueOf(key, dumpLine(record));
    }
    return values;
}

TEST(DumpLine, NamesEveryEnumeratorAndShowsOtherCodesAsNumbers) {
    EXPECT_EQ(shown("direction", &Vehicle::setDirection, 2), R"(-1 "DESCENDING" "ASCENDING" 2)");
    EXPECT_EQ(shown("state", &Vehicle::setState, 3), R"(-1 "OUT_OF_SERVICE" "IN_SERVICE" "SWITCHING_SERVICE" 3)");
    EXPECT_EQ(shown("opening_doors", &Vehicle::setOpeningDoors, 4), R"(-1 "NONE" "SIDE_1" "SIDE_2" "BOTH" 4)");
    EXPECT_EQ(shown("opened_doors", &Vehicle::setOpenedDoors, 4), R"(-1 "NONE" "SIDE_1" "SIDE_2" "BOTH" 4)");
    EXPECT_EQ(shown("state", &PlatformInfo::setState, 8),
              R"(-1 "NO_VEHICLE_SCHEDULED" "VEHICLE_APPROACHING" "VEHICLE_ON_PLATFORM" "VEHICLE_DOES_NOT_STOP" )"
              R"("VEHICLE_TERMINATED" "VEHICLE_BOARDING" "VEHICLE_DEPARTING" "VEHICLE_DEPARTED" 8)");
    EXPECT_EQ((shown<Trip>("direction", &Trip::setDirection, 2)), R"(-1 "DESCENDING" "ASCENDING" 2)");
    EXPECT_EQ((shown<Trip>("priority", &Trip::setPriority, 3)), R"(-1 "ALL_STOPS" "LIMITED_STOPS" "EXPRESS" 3)");
    EXPECT_EQ(shown("state", &Service::setState, 9),
              R"(-1 "NOT_STARTED" "RUNNING" "APPROACHING_STATION" "IN_STATION" "BOARDING" "DEPARTING_STATION" )"
              R"("DEPARTED_STATION" "TERMINATED" "CANCELLED" 9)");
}

TEST(DumpLine, ServicesNameTheEnumeratorsOfTheirTrip) {
    Service service(1);
    service.setDirection(static_cast<Trip::Direction>(17));
    service.setPriority(static_cast<Trip::Priority>(-2147483647 - 1));
    EXPECT_EQ(valueOf("direction", dumpLine(service)), "17");
    EXPECT_EQ(valueOf("priority", dumpLine(service)), "-2147483648");
    service.setDirection(Trip::DESCENDING);
    service.setPriority(Trip::EXPRESS);
    EXPECT_EQ(valueOf("direction", dumpLine(service)), R"("DESCENDING")");
    EXPECT_EQ(valueOf("priority", dumpLine(service)), R"("EXPRESS")");
}

// --- The tables of a store ----------------------------------------------------------------------

class TableDump : public StoreTest {
protected:
    std::string dump() {
        std::string lines;
        dumpTables(store, serviceStopsOf(store), [&lines](const std::string& line) { lines += line + "\n"; });
        return lines;
    }

    /// A little of everything, the tables in another order than they are dumped in.
    void fill() {
        update(8, 3021, "100", "21600", "12", "1001", "1", "4", "0", "7");
        update(7, 1001, "100", "41", "Y", "60", "90");
        update(9, 90001, "3021", "1001", "21600", "0", "-30");
        update(6, 100, "Harbour - Hill", "7", "0", "1", "limited", "1001");
        update(5, 41, "4", "-", "Track 1", "km 0");
        update(4, 4, "S\xc3\xb8r \"Harbour\"", "HBR", "Y", "41");
        update(3, 12, "Train 12", "T12", "4", "3021");
        update(2, 9, "South Line", "S");
        update(2, 7, "North Line", "N");
        update(10, 13, "N", "km 3.2", "7", "odd", "0", "1", "left", "2", "right");
        update(11, 41, "5", "boarding", "90001");
        update(12, 3021, "90001", "8", "cancelled");
    }
};

constexpr const char* kSmallPicture =
    R"({"table":"lines","id":9,"name":"South Line","abrv":"S"})"
    "\n"
    R"({"table":"lines","id":7,"name":"North Line","abrv":"N"})"
    "\n"
    R"({"table":"vehicles","id":12,"name":"Train 12","abrv":"T12","num_cars":4,"current_location":"",)"
    R"("direction":"ASCENDING","state":"OUT_OF_SERVICE","state_text":"OUT_OF_SERVICE","current_service_id":0,)"
    R"("opening_doors":"BOTH","opening_doors_text":"BOTH","opened_doors":"NONE","opened_doors_text":"NONE",)"
    R"("services":"3021"})"
    "\n"
    R"({"table":"vehicles","id":13,"name":"Unknown Vehicle","abrv":"","num_cars":0,"current_location":"km 3.2",)"
    R"("direction":"DESCENDING","state":7,"state_text":"odd","current_service_id":0,"opening_doors":"SIDE_1",)"
    R"("opening_doors_text":"left","opened_doors":"SIDE_2","opened_doors_text":"right","services":""})"
    "\n"
    R"({"table":"stations","id":4,"name":"Sør \"Harbour\"","abrv":"HBR","is_major":true,"platforms":"41"})"
    "\n"
    R"({"table":"platforms","id":41,"name":"Track 1","abrv":"","station_id":4,"location":"km 0",)"
    R"("state":"VEHICLE_BOARDING","state_text":"boarding","passers":"90001"})"
    "\n"
    R"({"table":"trips","id":100,"name":"Harbour - Hill","abrv":"","line_id":7,"direction":"DESCENDING",)"
    R"("priority":"LIMITED_STOPS","priority_text":"limited","stops":"1001"})"
    "\n"
    R"({"table":"trip_stops","id":1001,"name":"","abrv":"","trip_id":100,"platform_id":41,"is_stopping":true,)"
    R"("sch_arv_offset":60,"sch_dep_offset":90})"
    "\n"
    R"({"table":"services","id":3021,"name":"Unknown Service","abrv":"","trip_id":100,"start_time":21600,)"
    R"("vehicle_id":12,"following_stops":"90001","state":"CANCELLED","state_text":"cancelled","is_loading":true,)"
    R"("destination_station_id":4,"is_last_train":false,"line_id":7,"direction":"ASCENDING","priority":"ALL_STOPS",)"
    R"("priority_text":"ALL_STOPS","stops":"1001"})"
    "\n"
    R"({"table":"service_stops","id":90001,"service_id":3021,"trip_stop_id":1001,"service_start_time":21600,)"
    R"("arv_delay":0,"dep_delay":4294967266,"trip_id":100,"platform_id":41,"is_stopping":true,"sch_arv_offset":60,)"
    R"("sch_dep_offset":90})"
    "\n";

TEST_F(TableDump, HandsOutEveryTableInItsOrder) {
    fill();
    EXPECT_EQ(dump(), kSmallPicture);
}

TEST_F(TableDump, AnEmptyStoreHasNoLines) {
    EXPECT_EQ(dump(), "");
}

TEST_F(TableDump, TakesTheLockOncePerTableAndHandsOutWithTheLockFree) {
    fill();
    host.clear();
    dumpTables(store, serviceStopsOf(store), [this](const std::string& line) { host.note(line.substr(0, 12)); });
    EXPECT_EQ(host.transcript(),
              "enter\nleave\n{\"table\":\"li\n{\"table\":\"li\n"
              "enter\nleave\n{\"table\":\"ve\n{\"table\":\"ve\n"
              "enter\nleave\n{\"table\":\"st\n"
              "enter\nleave\n{\"table\":\"pl\n"
              "enter\nleave\n{\"table\":\"tr\n"
              "enter\nleave\n{\"table\":\"tr\n"
              "enter\nleave\n{\"table\":\"se\n"
              "{\"table\":\"se\n");
}

TEST_F(TableDump, TheHashOfAnEmptyStoreIsTheOffsetBasis) {
    EXPECT_EQ(hashTables(store, serviceStopsOf(store)), 0xcbf29ce484222325U);
}

TEST_F(TableDump, TheHashIsFnv1aOverTheLinesWithTheirEnds) {
    fill();
    std::uint64_t expected = 14695981039346656037U;
    for (const char byte : std::string(kSmallPicture)) {
        expected ^= static_cast<unsigned char>(byte);
        expected *= 1099511628211U;
    }
    EXPECT_EQ(hashTables(store, serviceStopsOf(store)), expected);
    EXPECT_EQ(hashTables(store, serviceStopsOf(store)), 0x3da069ec8cadaaafU) << "the same on every machine";
}

TEST_F(TableDump, TheHashTellsOrderAndContentsApart) {
    update(2, 1, "a", "b");
    update(2, 2, "a", "b");
    const std::uint64_t before = hashTables(store, serviceStopsOf(store));
    store.deletePassengerInformation(2, 1);
    update(2, 1, "a", "b");
    EXPECT_NE(hashTables(store, serviceStopsOf(store)), before) << "the same lines in another order";
    store.deletePassengerInformation(2, 2);
    update(2, 2, "a", "b");
    EXPECT_EQ(hashTables(store, serviceStopsOf(store)), before) << "as at first";
    update(2, 2, "a", "c");
    EXPECT_NE(hashTables(store, serviceStopsOf(store)), before);
    update(2, 2, "a", "b");
    update(9, 1, "1", "1", "1", "1", "1");
    const std::uint64_t withStop = hashTables(store, serviceStopsOf(store));
    EXPECT_NE(withStop, before) << "service stops are part of it";
    update(9, 1, "1", "1", "1", "1", "2");
    EXPECT_NE(hashTables(store, serviceStopsOf(store)), withStop) << "and each of their delays";
}

}  // namespace

}  // namespace pis::records
