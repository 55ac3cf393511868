// How a field list is read into a record (usable fields, the walk, the conversions), and the steps that
// every handler shares when it merges the record into its table.
#include <cstdint>
#include <cstring>
#include <limits>
#include <ostream>

#include "StoreTest.h"

namespace {

/// Delivers lists that the short form of StoreTest cannot write.
class ListTest : public StoreTest {
protected:
    std::string transcriptOfList(int elemId, int elemNo, const std::vector<FieldText>& texts) {
        FieldList list(texts);
        return host.during([&] { store.updatePassengerInformation(1, elemId, elemNo, list); });
    }

    /// The name that a new line gets from these fields.
    template <typename... Text>
    std::string nameFrom(const Text&... texts) {
        linesOf(store).clear();
        update(2, 7, texts...);
        return linesOf(store).at(0).getName();
    }
};

// --- Usable fields ------------------------------------------------------------------------------

using FieldUsability = ListTest;

TEST_F(FieldUsability, AMissingNodeKeepsTheDefault) {
    EXPECT_EQ(nameFrom(), "Unknown Line");
}

TEST_F(FieldUsability, ANullTextKeepsTheDefault) {
    EXPECT_EQ(nameFrom(null), "Unknown Line");
}

TEST_F(FieldUsability, AnEmptyTextKeepsTheDefault) {
    EXPECT_EQ(nameFrom(""), "Unknown Line");
}

TEST_F(FieldUsability, TheTextNullInParenthesesKeepsTheDefault) {
    EXPECT_EQ(nameFrom("(null)"), "Unknown Line");
}

TEST_F(FieldUsability, OnlyTheExactTextNullInParenthesesIsRefused) {
    for (const char* text :
         {"(null) ", " (null)", "(null)x", "(null)(null)", "(nul", "(null", "(nul)", "(NULL)", "null", "()", " "}) {
        EXPECT_EQ(nameFrom(text), text);
    }
}

TEST_F(FieldUsability, EveryConversionIsPrecededByTheSameTest) {
    for (const FieldText& unusable : {FieldText(null), FieldText(""), FieldText("(null)")}) {
        transcriptOfList(10, 7, {unusable, unusable, unusable});  // flag, text, integer
        EXPECT_EQ(vehiclesOf(store).at(0).getDirection(), 1);
        EXPECT_EQ(vehiclesOf(store).at(0).getCurrentLocation(), "");
        transcriptOfList(6, 7, {unusable, unusable, unusable});  // text, integer, direction by number
        EXPECT_EQ(tripsOf(store).at(0).getName(), "Unknown Trip");
        EXPECT_EQ(tripsOf(store).at(0).getDirection(), 1);
    }
}

// --- The walk -----------------------------------------------------------------------------------

using FieldWalk = ListTest;

TEST_F(FieldWalk, AnEmptyListLeavesEveryDefault) {
    update(4, 7);
    EXPECT_EQ(describe(stationsOf(store)), "station 7 \"Unknown Station\" \"\" major=0 closed=0 platforms=\"\"\n");
}

TEST_F(FieldWalk, AShortListLeavesTheRemainingDefaults) {
    update(4, 7, "Central", "C");
    EXPECT_EQ(describe(stationsOf(store)), "station 7 \"Central\" \"C\" major=0 closed=0 platforms=\"\"\n");
}

TEST_F(FieldWalk, AnUnusableFieldIsSteppedOver) {
    update(4, 7, null, "(null)", "", "1!2");
    update(4, 8, "Central", null, "Y");
    EXPECT_EQ(describe(stationsOf(store)),
              "station 7 \"Unknown Station\" \"\" major=0 closed=0 platforms=\"1!2\"\n"
              "station 8 \"Central\" \"\" major=1 closed=0 platforms=\"\"\n");
}

TEST_F(FieldWalk, OnlyTopNextAndCellTextAreLookedAt) {
    FieldList built = fields("Central", "C", "Y", "1!2");
    KEBlist* list = built;
    auto* const nowhere = reinterpret_cast<KEBnode*>(1);
    list->listBot = nowhere;
    list->elements = 0;
    list->sortFunction = nullptr;
    list->defaultDeleteNodeFn = nullptr;
    list->dataLen = -1;
    list->bufId = list->duplicates = list->defaultAddNodePos = list->magic = 'x';
    for (std::size_t position = 1; position <= 4; ++position) {
        built.node(position).ourList = nullptr;
        built.node(position).prevNode = nowhere;
    }
    store.updatePassengerInformation(1, 4, 7, list);
    EXPECT_EQ(describe(stationsOf(store)), "station 7 \"Central\" \"C\" major=1 closed=0 platforms=\"1!2\"\n");
}

TEST_F(FieldWalk, TheRecordKeepsNothingOfTheList) {
    char text[] = "North";
    const char* cell = text;
    KEBnode node{};
    node.dataPtr = &cell;
    KEBlist list{};
    list.listTop = &node;
    store.updatePassengerInformation(1, 2, 7, &list);
    std::memcpy(text, "South", sizeof text);
    EXPECT_EQ(describe(linesOf(store)), "line 7 \"North\" \"UNK\"\n");
}

// --- Conversions --------------------------------------------------------------------------------

using FieldConversion = ListTest;

TEST_F(FieldConversion, ATextIsTakenAsItStands) {
    const std::string texts[] = {"  North  ", "\tnORTH\n", "\xC3\x98rje, \"N\"!", "%s%n", std::string(100000, 'x')};
    for (const std::string& text : texts) EXPECT_EQ(nameFrom(text), text);
}

struct IntegerCase {
    const char* text;
    std::int32_t number;
};

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

constexpr IntegerCase kIntegers[] = {
    {"12", 12},
    {"12abc", 12},
    {"12 34", 12},
    {"abc", 0},
    {"a12", 0},
    {" \t\n\v\f\r42", 42},
    {" ", 0},
    {"+5", 5},
    {"-5", -5},
    {"--5", 0},
    {"+-5", 0},
    {"- 5", 0},
    {"-", 0},
    {"010", 10},
    {"0x10", 0},
    {"1e3", 1},
    {"3.9", 3},
    {"1,000", 1},
    {"00000000000000000000012", 12},
    // Beyond 32 bits the nearest number there is, however wide the machine's own numbers are.
    {"2147483647", kHighest},
    {"2147483648", kHighest},
    {"4294967295", kHighest},
    {"4294967296", kHighest},
    {"4294967297", kHighest},
    {"9223372036854775808", kHighest},
    {"99999999999999999999999999", kHighest},
    {"-2147483648", kLowest},
    {"-2147483649", kLowest},
    {"-4294967295", kLowest},
    {"-9223372036854775809", kLowest},
    {"-99999999999999999999999999", kLowest},
};

TEST_F(FieldConversion, AnIntegerIsReadUpToTheFirstOtherCharacterAndSaturates) {
    for (const IntegerCase& integer : kIntegers) {
        update(5, 7, integer.text);
        EXPECT_EQ(platformsOf(store).at(0).getStationId(), integer.number) << integer.text;
    }
}

TEST_F(FieldConversion, AnIntegerInAnUnsignedMemberIsItsTwosComplement) {
    for (const IntegerCase& integer : kIntegers) {
        update(7, 7, null, null, null, integer.text);
        EXPECT_EQ(tripStopsOf(store).at(0).getSchArvOffset(), static_cast<std::uint32_t>(integer.number))
            << integer.text;
    }
}

TEST_F(FieldConversion, AnIntegerInAnEnumeratedMemberIsNotChecked) {
    for (const IntegerCase& integer : kIntegers) {
        update(11, 7, integer.text);
        EXPECT_EQ(static_cast<int>(platformsOf(store).at(0).getState()), integer.number) << integer.text;
    }
}

TEST_F(FieldConversion, AFlagIsTrueForAnUpperCaseYInFrontAlone) {
    for (const char* text : {"Y", "YES", "Yes", "Y ", "Y(null)"}) {
        update(4, 7, null, null, text);
        EXPECT_TRUE(stationsOf(store).at(0).isMajor()) << text;
    }
    for (const char* text : {"y", "yes", "N", "1", "TRUE", "true", " Y", "\xC3\x9D"}) {
        update(4, 8, null, null, text);
        EXPECT_FALSE(stationsOf(store).at(1).isMajor()) << text;
    }
}

// --- The merge, for every handler ---------------------------------------------------------------

struct TableAccess {
    std::string (*text)(PassengerInformationServer&);
    const void* (*element)(PassengerInformationServer&, std::size_t position);
    std::vector<int> (*ids)(PassengerInformationServer&);
    void (*repeatFirst)(PassengerInformationServer&);
};

template <typename Record, std::vector<Record>& (*tableOf)(PassengerInformationServer&)>
TableAccess accessTo() {
    return {[](PassengerInformationServer& store) { return describe(tableOf(store)); },
            [](PassengerInformationServer& store, std::size_t position) -> const void* {
                return &tableOf(store).at(position);
            },
            [](PassengerInformationServer& store) {
                std::vector<int> ids;
                for (const Record& record : tableOf(store)) ids.push_back(record.getId());
                return ids;
            },
            [](PassengerInformationServer& store) {
                const Record first = tableOf(store).at(0);
                tableOf(store).push_back(first);
            }};
}

/// One handler, and two complete lists for element 7 that differ in every field.
struct Handler {
    const char* name;
    int code;
    TableAccess table;
    std::vector<FieldText> one;
    std::vector<FieldText> other;
    std::string oneRecord;
    std::string otherRecord;
    std::string bareRecord;
    std::string updated;      // log texts
    std::string added;        // without the total
    std::string observation;  // empty where there is none, as for the event
    std::string event;
    bool opensGap;

    friend std::ostream& operator<<(std::ostream& to, const Handler& handler) { return to << handler.name; }
};

const std::vector<Handler>& handlers() {
    static const std::vector<Handler> all{
        {"Line",
         2,
         accessTo<Line, linesOf>(),
         {"North", "N"},
         {"South", "S"},
         R"(line 7 "North" "N")",
         R"(line 7 "South" "S")",
         R"(line 7 "Unknown Line" "UNK")",
         "updateLine: lineId >7< updated",
         "updateLine: lineId >7< added to list. Total Lines",
         "onLineUpdated",
         "event 26 7\n",
         false},
        {"Vehicle",
         3,
         accessTo<Vehicle, vehiclesOf>(),
         {"V1", "V", "4", "1!2"},
         {"V2", "W", "6", "3"},
         R"(vehicle 7 "V1" "V" cars=4 location="" direction=1 state=0 stateText="OUT_OF_SERVICE" service=0 )"
         R"(opening=3 openingText="BOTH" opened=0 openedText="NONE" services="1!2")",
         R"(vehicle 7 "V2" "W" cars=6 location="" direction=1 state=0 stateText="OUT_OF_SERVICE" service=0 )"
         R"(opening=3 openingText="BOTH" opened=0 openedText="NONE" services="3")",
         R"(vehicle 7 "Unknown Vehicle" "" cars=0 location="" direction=1 state=0 stateText="OUT_OF_SERVICE" )"
         R"(service=0 opening=3 openingText="BOTH" opened=0 openedText="NONE" services="")",
         "updateVehicle: vehicleId >7< updated",
         "updateVehicle: vehicleId >7< added to list. Total Vehicles",
         "onVehicleUpdated",
         "event 28 7\n",
         false},
        {"Station",
         4,
         accessTo<Station, stationsOf>(),
         {"Central", "C", "Y", "1!2"},
         {"Harbour", "H", "N", "3"},
         R"(station 7 "Central" "C" major=1 closed=0 platforms="1!2")",
         R"(station 7 "Harbour" "H" major=0 closed=0 platforms="3")",
         R"(station 7 "Unknown Station" "" major=0 closed=0 platforms="")",
         "updateStation: stationId >7< updated",
         "updateStation: stationId >7< added to list. Total Stations",
         "onStationUpdated",
         "event 30 7\n",
         false},
        {"Platform",
         5,
         accessTo<PlatformInfo, platformsOf>(),
         {"1", "unused", "Track 1", "L1"},
         {"2", "unread", "Track 2", "L2"},
         R"(platform 7 "Track 1" "" station=1 location="L1" state=0 stateText="NO_VEHICLE_SCHEDULED" passers="")",
         R"(platform 7 "Track 2" "" station=2 location="L2" state=0 stateText="NO_VEHICLE_SCHEDULED" passers="")",
         R"(platform 7 "Unknown Platform" "" station=0 location="" state=0 stateText="NO_VEHICLE_SCHEDULED" )"
         R"(passers="")",
         "PassengerInformationServer::updatePlatform(): platformId >7< updated",
         "updatePlatform: platformId >7< added to list. Total Platforms",
         "onPlatformInfoUpdated",
         "event 32 7\n",
         false},
        {"Trip",
         6,
         accessTo<Trip, tripsOf>(),
         {"Early", "1", "0", "2", "Express", "1!2"},
         {"Late", "2", "1", "1", "Limited", "3"},
         R"(trip 7 "Early" "" line=1 direction=0 priority=2 priorityText="Express" stops="1!2")",
         R"(trip 7 "Late" "" line=2 direction=1 priority=1 priorityText="Limited" stops="3")",
         R"(trip 7 "Unknown Trip" "" line=0 direction=1 priority=0 priorityText="ALL_STOPS" stops="")",
         "updateTrip: tripId >7< updated",
         "updateTrip: tripId >7< added to list. Total Trips",
         "onTripUpdated",
         "event 36 7\n",
         true},
        {"TripStop",
         7,
         accessTo<TripStop, tripStopsOf>(),
         {"1", "2", "Y", "10", "20"},
         {"3", "4", "N", "30", "40"},
         R"(tripStop 7 "" "" trip=1 platform=2 stopping=1 arv=10 dep=20)",
         R"(tripStop 7 "" "" trip=3 platform=4 stopping=0 arv=30 dep=40)",
         R"(tripStop 7 "" "" trip=0 platform=0 stopping=0 arv=0 dep=0)",
         "updateTripStop: tripStopId >7< updated",
         "updateTripStop: tripStopId >7< added to list. Total TripStops",
         "",
         "",
         false},
        {"Service",
         8,
         accessTo<Service, servicesOf>(),
         {"1", "100", "2", "1!2", "1", "3", "1", "4"},
         {"5", "200", "6", "3", "0", "7", "0", "8"},
         R"(service 7 "Unknown Service" "" trip=1 start=100 vehicle=2 following="" state=0 stateText="NOT_STARTED" )"
         R"(loading=1 destination=3 last=1 line=4 lineOfTripPart=0 serviceStops=0 direction=1 priority=0 )"
         R"(priorityText="ALL_STOPS" stops="1!2")",
         R"(service 7 "Unknown Service" "" trip=5 start=200 vehicle=6 following="" state=0 stateText="NOT_STARTED" )"
         R"(loading=0 destination=7 last=0 line=8 lineOfTripPart=0 serviceStops=0 direction=1 priority=0 )"
         R"(priorityText="ALL_STOPS" stops="3")",
         R"(service 7 "Unknown Service" "" trip=0 start=0 vehicle=0 following="" state=0 stateText="NOT_STARTED" )"
         R"(loading=0 destination=0 last=0 line=0 lineOfTripPart=0 serviceStops=0 direction=1 priority=0 )"
         R"(priorityText="ALL_STOPS" stops="")",
         "updateService: serviceId >7< updated",
         "updateService: serviceId >7< added to list. Total Services",
         "onServiceUpdated",
         "event 34 7\n",
         true},
        {"ServiceStop",
         9,
         accessTo<ServiceStop, serviceStopsOf>(),
         {"1", "2", "100", "10", "20"},
         {"3", "4", "200", "30", "40"},
         R"(serviceStop 7 "" "" trip=0 platform=0 stopping=0 arv=0 dep=0 service=1 tripStop=2 start=100 )"
         R"(arvDelay=10 depDelay=20)",
         R"(serviceStop 7 "" "" trip=0 platform=0 stopping=0 arv=0 dep=0 service=3 tripStop=4 start=200 )"
         R"(arvDelay=30 depDelay=40)",
         R"(serviceStop 7 "" "" trip=0 platform=0 stopping=0 arv=0 dep=0 service=0 tripStop=0 start=0 )"
         R"(arvDelay=0 depDelay=0)",
         "updateServiceStop: tripStopId >7< updated",
         "updateServiceStop: tripStopId >7< added to list. Total TripStops",
         "",
         "",
         true},
        {"VehicleState",
         10,
         accessTo<Vehicle, vehiclesOf>(),
         {"N", "L1", "1", "Running", "5", "1", "Left", "2", "Right"},
         {"Y", "L2", "2", "Switching", "6", "2", "Right", "1", "Left"},
         R"(vehicle 7 "Unknown Vehicle" "" cars=0 location="L1" direction=0 state=1 stateText="Running" service=5 )"
         R"(opening=1 openingText="Left" opened=2 openedText="Right" services="")",
         R"(vehicle 7 "Unknown Vehicle" "" cars=0 location="L2" direction=1 state=2 stateText="Switching" )"
         R"(service=6 opening=2 openingText="Right" opened=1 openedText="Left" services="")",
         R"(vehicle 7 "Unknown Vehicle" "" cars=0 location="" direction=1 state=0 stateText="OUT_OF_SERVICE" )"
         R"(service=0 opening=3 openingText="BOTH" opened=0 openedText="NONE" services="")",
         "updateVehicleState: vehicleId >7< updated",
         "updateVehicleState: vehicleId >7< added to list. Total Vehicles",
         "onVehicleUpdated",
         "event 28 7\n",
         false},
        {"PlatformState",
         11,
         accessTo<PlatformInfo, platformsOf>(),
         {"2", "Here", "1!2"},
         {"6", "Leaving", "3"},
         R"(platform 7 "Unknown Platform" "" station=0 location="" state=2 stateText="Here" passers="1!2")",
         R"(platform 7 "Unknown Platform" "" station=0 location="" state=6 stateText="Leaving" passers="3")",
         R"(platform 7 "Unknown Platform" "" station=0 location="" state=0 stateText="NO_VEHICLE_SCHEDULED" )"
         R"(passers="")",
         "updatePlatformState: platformId >7< updated",
         "updatePlatformState: platformId >7< added to list. Total Platforms",
         "onPlatformInfoUpdated",
         "event 32 7\n",
         false},
        {"ServiceState",
         12,
         accessTo<Service, servicesOf>(),
         {"1!2", "1", "Running"},
         {"2", "3", "In station"},
         R"(service 7 "Unknown Service" "" trip=0 start=0 vehicle=0 following="1!2" state=1 stateText="Running" )"
         R"(loading=0 destination=0 last=0 line=0 lineOfTripPart=0 serviceStops=0 direction=1 priority=0 )"
         R"(priorityText="ALL_STOPS" stops="")",
         R"(service 7 "Unknown Service" "" trip=0 start=0 vehicle=0 following="2" state=3 stateText="In station" )"
         R"(loading=0 destination=0 last=0 line=0 lineOfTripPart=0 serviceStops=0 direction=1 priority=0 )"
         R"(priorityText="ALL_STOPS" stops="")",
         R"(service 7 "Unknown Service" "" trip=0 start=0 vehicle=0 following="" state=0 stateText="NOT_STARTED" )"
         R"(loading=0 destination=0 last=0 line=0 lineOfTripPart=0 serviceStops=0 direction=1 priority=0 )"
         R"(priorityText="ALL_STOPS" stops="")",
         "updateServiceState: serviceId >7< updated",
         "updateServiceState: serviceId >7< added to list. Total Services",
         "onServiceUpdated",
         "event 34 7\n",
         false},
    };
    return all;
}

class EveryHandler : public ListTest, public ::testing::WithParamInterface<Handler> {
protected:
    std::string transcriptOf(int id, const std::vector<FieldText>& texts) {
        return transcriptOfList(handler.code, id, texts);
    }

    /// What the host and one observer see of an update of element 7: `log` and `told` are empty where
    /// nothing is logged and nobody is told.
    std::string seen(const std::string& log, const std::string& told) const {
        const bool observed = !told.empty() && !handler.observation.empty();
        return "enter\n" + (log.empty() ? "" : "debug 2 " + log + "\n") +
               (handler.opensGap ? "leave\nenter\nleave\nenter\n" : "") +
               (observed ? "observer " + handler.observation + " " + told + "\n" : "") + handler.event + "leave\n";
    }
    std::string added(int total) const { return handler.added + " >" + std::to_string(total) + "<"; }

    /// The same of a list of which nothing is left once the lock is taken.
    std::string transcriptOfVanishing(std::vector<std::string> texts) {
        FieldList list(std::vector<FieldText>(texts.begin(), texts.end()));
        for (std::size_t i = 0; i < texts.size(); ++i) *textOf(list, i + 1) = texts[i].c_str();
        host.at("enter", [&] {
            for (std::string& text : texts) text.assign(text.size(), '#');
            for (std::size_t position = 1; position <= texts.size(); ++position) {
                *textOf(list, position) = "gone";
                list.node(position).nextNode = nullptr;
            }
            static_cast<KEBlist*>(list)->listTop = nullptr;
        });
        return host.during([&] { store.updatePassengerInformation(1, handler.code, 7, list); });
    }

    /// The texts of a handler's list, each repeated until it is so long.
    static std::vector<std::string> stretched(const std::vector<FieldText>& texts, std::size_t length) {
        std::vector<std::string> longer;
        for (const FieldText& text : texts) {
            longer.emplace_back(text.get());
            while (longer.back().size() < length) longer.back() += text.get();
        }
        return longer;
    }

    std::string table() { return handler.table.text(store); }
    void registerObserver() { store.registerObserver(&observer); }

    const Handler& handler = GetParam();
    RecordingObserver observer;

private:
    static const char** textOf(FieldList& list, std::size_t position) {
        return static_cast<const char**>(list.node(position).dataPtr);
    }
};

std::string nameOf(const ::testing::TestParamInfo<Handler>& handler) {
    return handler.param.name;
}

INSTANTIATE_TEST_SUITE_P(Handlers, EveryHandler, ::testing::ValuesIn(handlers()), nameOf);

TEST_P(EveryHandler, IgnoresIdZeroWithoutATrace) {
    registerObserver();
    EXPECT_EQ(transcriptOf(0, handler.one), "");
    EXPECT_EQ(describe(store), "");
}

TEST_P(EveryHandler, IgnoresAMissingListWithoutATrace) {
    registerObserver();
    EXPECT_EQ(host.during([&] { store.updatePassengerInformation(1, handler.code, 7, nullptr); }), "");
    EXPECT_EQ(describe(store), "");
    transcriptOf(7, handler.one);
    EXPECT_EQ(host.during([&] { store.updatePassengerInformation(1, handler.code, 7, nullptr); }), "");
    EXPECT_EQ(table(), handler.oneRecord + "\n");
}

TEST_P(EveryHandler, AppendsDefaultsFromAnEmptyListAndLogsThem) {
    registerObserver();
    EXPECT_EQ(transcriptOf(7, {}), seen(added(1), handler.bareRecord));
    EXPECT_EQ(describe(store), handler.bareRecord + "\n");
}

TEST_P(EveryHandler, AppendsANewElementAtTheEnd) {
    registerObserver();
    transcriptOf(9, handler.other);
    transcriptOf(3, handler.other);
    EXPECT_EQ(transcriptOf(7, handler.one), seen(added(3), handler.oneRecord));
    EXPECT_EQ(handler.table.ids(store), (std::vector<int>{9, 3, 7}));
}

TEST_P(EveryHandler, UpdatesAKnownElementInItsPlace) {
    registerObserver();
    for (const int id : {9, 7, 3}) transcriptOf(id, handler.one);
    EXPECT_EQ(transcriptOf(7, handler.other), seen(handler.updated, handler.otherRecord));
    EXPECT_EQ(handler.table.ids(store), (std::vector<int>{9, 7, 3}));
    EXPECT_NE(table().find("\n" + handler.otherRecord + "\n"), std::string::npos) << table();
}

TEST_P(EveryHandler, ARepeatedUpdateOnlyPostsTheEvent) {
    registerObserver();
    transcriptOf(7, handler.one);
    EXPECT_EQ(transcriptOf(7, handler.one), seen("", ""));
    EXPECT_EQ(describe(store), handler.oneRecord + "\n");
}

TEST_P(EveryHandler, NeverAppendsASecondElementWithAStoredId) {
    for (const auto& texts : {handler.one, handler.other, {}, handler.one}) transcriptOf(7, texts);
    EXPECT_EQ(handler.table.ids(store), std::vector<int>{7});
}

TEST_P(EveryHandler, TheFirstElementWithTheIdIsTheOneUpdated) {
    transcriptOf(7, handler.one);
    handler.table.repeatFirst(store);
    EXPECT_EQ(transcriptOf(7, handler.other), seen(handler.updated, ""));
    EXPECT_EQ(table(), handler.otherRecord + "\n" + handler.oneRecord + "\n");
}

TEST_P(EveryHandler, TakesNegativeIds) {
    const std::string transcript = transcriptOf(-7, handler.one);
    EXPECT_NE(transcript.find(" >-7< added to list."), std::string::npos) << transcript;
    EXPECT_EQ(handler.table.ids(store), std::vector<int>{-7});
}

TEST_P(EveryHandler, AnUpdateWithoutUsableFieldsBringsBackTheDefaults) {
    registerObserver();
    for (const FieldText& unusable : {FieldText(null), FieldText(""), FieldText("(null)")}) {
        transcriptOf(7, handler.one);
        EXPECT_EQ(transcriptOf(7, std::vector<FieldText>(handler.one.size(), unusable)),
                  seen(handler.updated, handler.bareRecord));
    }
}

TEST_P(EveryHandler, AShortListMeansTheSameAsUnusableFieldsToItsEnd) {
    for (std::size_t length = 0; length < handler.one.size(); ++length) {
        std::vector<FieldText> texts(handler.one.begin(), handler.one.begin() + static_cast<std::ptrdiff_t>(length));
        transcriptOf(7, texts);
        const std::string shortened = table();
        transcriptOf(7, handler.one);
        EXPECT_EQ(describe(store), handler.oneRecord + "\n");
        texts.resize(handler.one.size(), FieldText(null));
        transcriptOf(7, texts);
        EXPECT_EQ(table(), shortened) << length;
    }
}

TEST_P(EveryHandler, NeverLooksIntoSurplusNodes) {
    std::vector<FieldText> texts = handler.one;
    texts.insert(texts.end(), {"surplus", "1", "Y"});
    FieldList list(texts);
    for (std::size_t position = handler.one.size() + 1; position <= texts.size(); ++position) {
        list.node(position).dataPtr = nullptr;
    }
    store.updatePassengerInformation(1, handler.code, 7, list);
    EXPECT_EQ(describe(store), handler.oneRecord + "\n");
}

TEST_P(EveryHandler, LeavesTheListAsItIs) {
    FieldList built(handler.one);
    KEBlist* list = built;
    const auto bytes = [&] {
        std::string all(reinterpret_cast<const char*>(list), sizeof *list);
        for (std::size_t position = 1; position <= handler.one.size(); ++position) {
            const KEBnode& node = built.node(position);
            all.append(reinterpret_cast<const char*>(&node), sizeof node);
            all.append(static_cast<const char*>(node.dataPtr), sizeof(const char*));
            all += *static_cast<const char* const*>(node.dataPtr);
        }
        return all;
    };
    const std::string before = bytes();
    store.updatePassengerInformation(1, handler.code, 7, list);
    EXPECT_EQ(bytes(), before);
}

TEST_P(EveryHandler, ReadsTheWholeListBeforeItTakesTheLock) {
    registerObserver();
    for (const std::size_t length : {1U, 300U, 5000U}) {
        SCOPED_TRACE(length);
        const std::vector<std::string> one = stretched(handler.one, length);
        const std::vector<std::string> other = stretched(handler.other, length);
        const auto texts = [](const std::vector<std::string>& of) {
            return std::vector<FieldText>(of.begin(), of.end());
        };
        transcriptOf(7, texts(one));
        const std::string oneTable = table();
        transcriptOf(7, texts(other));
        const std::string otherTable = table();
        store.deletePassengerInformation(0, 0);

        transcriptOfVanishing(one);
        EXPECT_EQ(table(), oneTable) << "appended";
        EXPECT_EQ(transcriptOfVanishing(one), seen("", "")) << "unchanged";
        transcriptOfVanishing(other);
        EXPECT_EQ(table(), otherTable) << "changed";
        store.deletePassengerInformation(0, 0);
    }
}

TEST_P(EveryHandler, LogsOnlyWhenTheDebugLevelIsAboveOne) {
    registerObserver();
    for (const long level : {-1L, 0L, 1L, 2L, 3L}) {
        SCOPED_TRACE(level);
        host.setDebugLevel(level);
        const bool logs = level > 1;
        EXPECT_EQ(transcriptOf(7, handler.one), seen(logs ? added(1) : "", handler.oneRecord));
        EXPECT_EQ(transcriptOf(7, handler.other), seen(logs ? handler.updated : "", handler.otherRecord));
        store.deletePassengerInformation(0, 0);
    }
}

TEST_P(EveryHandler, WorksWithoutObservers) {
    EXPECT_EQ(transcriptOf(7, handler.one), seen(added(1), ""));
    EXPECT_EQ(transcriptOf(7, handler.other), seen(handler.updated, ""));
    EXPECT_EQ(table(), handler.otherRecord + "\n");
}

using ToldHandler = EveryHandler;    // observers and the host's event queue hear of the element
using SilentHandler = EveryHandler;  // nobody does

std::vector<Handler> handlersThat(bool tell) {
    std::vector<Handler> some;
    for (const Handler& handler : handlers()) {
        if (handler.event.empty() != tell) some.push_back(handler);
    }
    return some;
}

INSTANTIATE_TEST_SUITE_P(Handlers, ToldHandler, ::testing::ValuesIn(handlersThat(true)), nameOf);
INSTANTIATE_TEST_SUITE_P(Handlers, SilentHandler, ::testing::ValuesIn(handlersThat(false)), nameOf);

TEST_P(ToldHandler, TellsTheObserversInTheOrderOfTheirRegistration) {
    RecordingObserver first("first"), second("second"), third("third");
    for (RecordingObserver* each : {&second, &first, &third}) store.registerObserver(each);
    const std::string told = " " + handler.observation + " " + handler.oneRecord + "\n";
    transcriptOf(7, handler.one);
    const std::string transcript = host.transcriptWithoutLock();
    EXPECT_EQ(transcript, "debug 2 " + added(1) + "\nsecond" + told + "first" + told + "third" + told + handler.event);
}

TEST_P(ToldHandler, TellsAndPostsUnderTheLock) {
    registerObserver();
    int asked = 0;
    const auto expectHeld = [&] {
        ++asked;
        EXPECT_FALSE(host.allLocksFree());
    };
    for (const char* call : {"debug 2", "observer", "event"}) host.at(call, expectHeld);
    transcriptOf(7, handler.one);
    EXPECT_EQ(asked, 3);
    EXPECT_TRUE(host.allLocksFree());
}

TEST_P(ToldHandler, TheEventPointsAtTheStoredElement) {
    for (const int id : {5, 7, 9}) transcriptOf(id, handler.one);
    EXPECT_EQ(host.events().back().record, handler.table.element(store, 2)) << "appended";
    for (const auto& texts : {handler.other, handler.other}) {
        transcriptOf(7, texts);
        ASSERT_EQ(host.events().size(), 1U);
        EXPECT_EQ(host.events().back().record, handler.table.element(store, 1)) << "changed, then unchanged";
    }
}

TEST_P(SilentHandler, TellsNobodyAndPostsNothing) {
    registerObserver();
    for (const auto& texts : {handler.one, handler.other, handler.other}) {
        transcriptOf(7, texts);
        EXPECT_TRUE(host.events().empty());
        EXPECT_EQ(host.transcript().find("observer"), std::string::npos) << host.transcript();
    }
    EXPECT_EQ(table(), handler.otherRecord + "\n");
}

}  // namespace
