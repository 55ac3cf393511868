// Deletion of elements: one, all of a type, or everything; who is told, in which order, and what stays.
#include <ostream>
#include <stdexcept>

#include "StoreTest.h"

namespace {

/// One element type: what its deletion says, and its table.
struct ElementType {
    const char* name;
    int code;
    std::string log;          // up to the id
    std::string observation;  // empty where there is none, as for the event
    std::string event;
    std::string (*text)(PassengerInformationServer&);
    std::size_t (*size)(PassengerInformationServer&);
    NamedId& (*element)(PassengerInformationServer&, std::size_t position);
    void (*append)(PassengerInformationServer&, int id);

    friend std::ostream& operator<<(std::ostream& to, const ElementType& type) { return to << type.name; }
};

template <typename Record, std::vector<Record>& (*tableOf)(PassengerInformationServer&)>
ElementType elementType(const char* name, int code, const char* log, const char* observation, const char* event) {
    return {
        name,
        code,
        log,
        observation,
        event,
        [](PassengerInformationServer& store) { return describe(tableOf(store)); },
        [](PassengerInformationServer& store) { return tableOf(store).size(); },
        [](PassengerInformationServer& store, std::size_t position) -> NamedId& { return tableOf(store).at(position); },
        [](PassengerInformationServer& store, int id) { tableOf(store).emplace_back(id); }};
}

/// In the order in which the tables are visited.
const std::vector<ElementType>& elementTypes() {
    static const std::vector<ElementType> all{
        elementType<Line, linesOf>("Line", 2, "PI_STORAGE_ELEM_LINE lineId", "onLineRemoved", "event 27 "),
        elementType<Vehicle, vehiclesOf>("Vehicle", 3, "PI_STORAGE_ELEM_VEHICLE vehicleId", "onVehicleRemoved",
                                         "event 29 "),
        elementType<Station, stationsOf>("Station", 4, "PI_STORAGE_ELEM_STATION stationId", "onStationRemoved",
                                         "event 31 "),
        elementType<PlatformInfo, platformsOf>("Platform", 5, "PI_STORAGE_ELEM_PLATFORM platformId",
                                               "onPlatformInfoRemoved", "event 33 "),
        elementType<Trip, tripsOf>("Trip", 6, "PI_STORAGE_ELEM_TRIP tripId", "onTripRemoved", "event 37 "),
        elementType<TripStop, tripStopsOf>("TripStop", 7, "PI_STORAGE_ELEM_TRIP_STOP tripStopId", "", ""),
        elementType<Service, servicesOf>("Service", 8, "PI_STORAGE_ELEM_SERVICE serviceId", "onServiceRemoved",
                                         "event 35 "),
        elementType<ServiceStop, serviceStopsOf>("ServiceStop", 9, "PI_STORAGE_ELEM_SERVICE_STOP serviceStopId", "",
                                                 ""),
    };
    return all;
}

class Deletion : public StoreTest {
protected:
    Deletion() { store.registerObserver(&observer); }

    /// Elements with these ids in the type's table, each with a name of its own.
    void fill(const ElementType& type, const std::vector<int>& ids) {
        for (const int id : ids) {
            type.append(store, id);
            const std::size_t position = type.size(store) - 1;
            type.element(store, position).setName("a name longer than others, number " + std::to_string(position));
        }
    }

    void fillAllTables(const std::vector<int>& ids) {
        for (const ElementType& type : elementTypes()) fill(type, ids);
    }

    std::vector<int> idsOf(const ElementType& type) {
        std::vector<int> ids;
        for (std::size_t i = 0; i < type.size(store); ++i) ids.push_back(type.element(store, i).getId());
        return ids;
    }

    /// The lines of the type's table, one for each element.
    std::vector<std::string> linesOfTable(const ElementType& type) {
        std::vector<std::string> lines;
        std::string text = type.text(store);
        for (std::size_t end; (end = text.find('\n')) != std::string::npos; text.erase(0, end + 1)) {
            lines.push_back(text.substr(0, end));
        }
        return lines;
    }

    static std::string logged(const ElementType& type, int id) {
        return "debug 1 deletePassengerInformation: " + type.log + " >" + std::to_string(id) + "< deleted\n";
    }

    /// What one observer and the host see of the deletion of one element.
    static std::string told(const ElementType& type, int id, const std::string& record) {
        return (type.observation.empty() ? "" : "observer " + type.observation + " " + record + "\n") +
               (type.event.empty() ? "" : type.event + std::to_string(id) + "\n");
    }

    RecordingObserver observer;
};

// --- Every type alike ---------------------------------------------------------------------------

class DeletionOf : public Deletion, public ::testing::WithParamInterface<ElementType> {
protected:
    std::vector<int> ids() { return idsOf(type); }

    const ElementType& type = GetParam();
};

std::string nameOf(const ::testing::TestParamInfo<ElementType>& type) {
    return type.param.name;
}

INSTANTIATE_TEST_SUITE_P(Types, DeletionOf, ::testing::ValuesIn(elementTypes()), nameOf);

TEST_P(DeletionOf, OneElementIsToldThenPostedThenLogged) {
    fillAllTables({5, 7, 9});
    const std::string before = describe(store);
    const std::string table = type.text(store);
    const std::string record = linesOfTable(type)[1];
    EXPECT_EQ(transcriptOfDeletion(type.code, 7), "enter\n" + told(type, 7, record) + logged(type, 7) + "leave\n");
    EXPECT_EQ(ids(), (std::vector<int>{5, 9}));

    // Nothing else went.
    std::string after = before;
    after.erase(after.find(table) + table.find(record), record.size() + 1);
    EXPECT_EQ(describe(store), after);
}

TEST_P(DeletionOf, IdZeroMeansEveryElementOfTheType) {
    fillAllTables({5, 7, 9});
    const std::vector<std::string> records = linesOfTable(type);
    const std::size_t before = linesOfTable(elementTypes()[0]).size();
    EXPECT_EQ(transcriptOfDeletion(type.code, 0), "enter\n" + told(type, 5, records[0]) + logged(type, 5) +
                                                      told(type, 7, records[1]) + logged(type, 7) +
                                                      told(type, 9, records[2]) + logged(type, 9) + "leave\n");
    for (const ElementType& other : elementTypes()) {
        EXPECT_EQ(other.size(store), other.code == type.code ? 0U : before) << other;
    }
}

TEST_P(DeletionOf, AnUnknownIdChangesNothingLogsNothingAndPostsNothing) {
    fillAllTables({5, 7, 9});
    const std::string before = describe(store);
    EXPECT_EQ(transcriptOfDeletion(type.code, 99), "enter\nleave\n");
    EXPECT_EQ(describe(store), before);
}

TEST_P(DeletionOf, EveryElementWithTheIdGoesAlsoConsecutiveOnes) {
    fill(type, {7, 7, 5, 7, -7, 7, 7});
    const std::vector<std::string> records = linesOfTable(type);
    std::string expected = "enter\n";
    for (const std::size_t position : {0U, 1U, 3U, 5U, 6U}) {
        expected += told(type, 7, records[position]) + logged(type, 7);
    }
    EXPECT_EQ(transcriptOfDeletion(type.code, 7), expected + "leave\n");
    EXPECT_EQ(linesOfTable(type), (std::vector<std::string>{records[2], records[4]}));
}

TEST_P(DeletionOf, LogsOnlyWhenTheDebugLevelIsAboveZero) {
    for (const long level : {-1L, 0L, 1L, 2L}) {
        fill(type, {7});
        const std::string record = linesOfTable(type)[0];
        host.setDebugLevel(level);
        EXPECT_EQ(transcriptOfDeletion(type.code, 7),
                  "enter\n" + told(type, 7, record) + (level > 0 ? logged(type, 7) : "") + "leave\n")
            << level;
        EXPECT_EQ(type.size(store), 0U) << level;
    }
}

TEST_P(DeletionOf, ALaterUpdateAppendsTheElementAgain) {
    for (const int id : {5, 7, 9}) update(type.code, id);
    store.deletePassengerInformation(type.code, 7);
    const std::string transcript = transcriptOfUpdate(type.code, 7);
    EXPECT_NE(transcript.find(" >7< added to list."), std::string::npos) << transcript;
    EXPECT_EQ(ids(), (std::vector<int>{5, 9, 7}));
}

TEST_P(DeletionOf, ALogCallThatThrowsLeavesTheTableWholeAndTheLockFree) {
    fill(type, {5, 7, 6, 7, 9, 7, 8});
    std::vector<std::string> expected = linesOfTable(type);
    expected.erase(expected.begin() + 1);  // the one that was logged in full
    host.at(
        "debug 1", [] { throw std::runtime_error("no log"); }, 2);
    EXPECT_THROW(store.deletePassengerInformation(type.code, 7), std::runtime_error);
    EXPECT_EQ(linesOfTable(type), expected);
    EXPECT_TRUE(host.allLocksFree());

    store.deletePassengerInformation(type.code, 7);
    EXPECT_EQ(ids(), (std::vector<int>{5, 6, 9, 8}));
}

TEST_P(DeletionOf, ALogCallThatThrowsInADeletionOfAllLeavesWhatWasNotLogged) {
    fill(type, {5, 7, 9});
    host.at(
        "debug 1", [] { throw std::runtime_error("no log"); }, 3);
    EXPECT_THROW(store.deletePassengerInformation(type.code, 0), std::runtime_error);
    EXPECT_EQ(ids(), (std::vector<int>{9}));
    EXPECT_TRUE(host.allLocksFree());
}

TEST_P(DeletionOf, ThoseThatStayKeepTheirOrderAndTheirMembers) {
    std::vector<int> ids;
    for (int i = 1; i <= 300; ++i) ids.push_back(i % 3 == 0 ? 1000 : i);
    fill(type, ids);
    std::vector<std::string> expected;
    for (const std::string& record : linesOfTable(type)) {
        if (record.find(" 1000 ") == std::string::npos) expected.push_back(record);
    }
    ASSERT_EQ(expected.size(), 200U);
    store.deletePassengerInformation(type.code, 1000);
    EXPECT_EQ(linesOfTable(type), expected);
}

// --- Types of which somebody is told ------------------------------------------------------------

using ToldDeletionOf = DeletionOf;
using SilentDeletionOf = DeletionOf;

std::vector<ElementType> typesThat(bool tell) {
    std::vector<ElementType> some;
    for (const ElementType& type : elementTypes()) {
        if (type.event.empty() != tell) some.push_back(type);
    }
    return some;
}

INSTANTIATE_TEST_SUITE_P(Types, ToldDeletionOf, ::testing::ValuesIn(typesThat(true)), nameOf);
INSTANTIATE_TEST_SUITE_P(Types, SilentDeletionOf, ::testing::ValuesIn(typesThat(false)), nameOf);

TEST_P(ToldDeletionOf, WhileOneIsToldItAndThoseAfterItAreStillInTheTable) {
    fill(type, {5, 7, 9});
    int looked = 0;
    for (const char* call : {"observer", "event", "debug 1"}) {
        host.at(
            call,
            [&, call] {
                ++looked;
                EXPECT_EQ(ids(), (std::vector<int>{7, 9})) << call;
                EXPECT_FALSE(host.allLocksFree()) << call;
            },
            2);
    }
    store.deletePassengerInformation(type.code, 0);
    EXPECT_EQ(looked, 3);
}

TEST_P(ToldDeletionOf, TheEventPointsAtTheElementInTheTable) {
    fill(type, {5, 7, 9});
    int looked = 0;
    host.at("event", [&] {
        ++looked;
        EXPECT_EQ(host.events().back().record, &type.element(store, 1));
    });
    store.deletePassengerInformation(type.code, 7);
    EXPECT_EQ(looked, 1);
}

TEST_P(ToldDeletionOf, TheObserversAreToldInTheOrderOfTheirRegistration) {
    RecordingObserver second("second"), third("third");
    store.registerObserver(&third);
    store.registerObserver(&second);
    fill(type, {7});
    const std::string what = " " + type.observation + " " + linesOfTable(type)[0] + "\n";
    store.deletePassengerInformation(type.code, 7);
    const std::string transcript = host.transcript();
    EXPECT_NE(transcript.find("enter\nobserver" + what + "third" + what + "second" + what + type.event + "7\n"),
              std::string::npos)
        << transcript;
}

TEST_P(ToldDeletionOf, PostsTheEventAlsoWithoutObservers) {
    observersOf(store).clear();
    fill(type, {7});
    EXPECT_EQ(transcriptOfDeletion(type.code, 7), "enter\n" + type.event + "7\n" + logged(type, 7) + "leave\n");
}

TEST_P(SilentDeletionOf, LeavesALogLineAndNothingElse) {
    fill(type, {7});
    EXPECT_EQ(transcriptOfDeletion(type.code, 7), "enter\n" + logged(type, 7) + "leave\n");
    EXPECT_TRUE(host.events().empty());
}

// --- Several types ------------------------------------------------------------------------------

TEST_F(Deletion, TypeZeroAndIdZeroEmptyEveryTableInTableOrderUnderOneLock) {
    fillAllTables({5, 7});
    std::string expected = "enter\n";
    for (const ElementType& type : elementTypes()) {
        const std::vector<std::string> records = linesOfTable(type);
        expected += told(type, 5, records[0]) + logged(type, 5) + told(type, 7, records[1]) + logged(type, 7);
    }
    EXPECT_EQ(transcriptOfDeletion(0, 0), expected + "leave\n");
    EXPECT_EQ(describe(store), "");
}

TEST_F(Deletion, TypeZeroRemovesTheIdFromEveryTableInWhichItExists) {
    fillAllTables({5, 12});
    store.deletePassengerInformation(4, 12);
    store.deletePassengerInformation(7, 12);
    std::string expected = "enter\n";
    for (const ElementType& type : elementTypes()) {
        if (type.code != 4 && type.code != 7) expected += told(type, 12, linesOfTable(type)[1]) + logged(type, 12);
    }
    EXPECT_EQ(transcriptOfDeletion(0, 12), expected + "leave\n");
    for (const ElementType& type : elementTypes()) EXPECT_EQ(idsOf(type), std::vector<int>{5}) << type;
}

TEST_F(Deletion, OfALineThatIsNotThereLeavesNoTraceButTheLock) {
    fillAllTables({5});
    EXPECT_EQ(transcriptOfDeletion(2, 99), "enter\nleave\n");
    EXPECT_EQ(linesOf(store).size(), 1U);
}

TEST_F(Deletion, TypesWithoutATableRemoveNothingButTakeTheLock) {
    fillAllTables({5});
    const std::string before = describe(store);
    for (const int code : {1, 10, 11, 12, 13, 14, 98, 99, 1000, -1, -2}) {
        EXPECT_EQ(transcriptOfDeletion(code, 0), "enter\nleave\n") << code;
        EXPECT_EQ(transcriptOfDeletion(code, 5), "enter\nleave\n") << code;
    }
    EXPECT_EQ(describe(store), before);
}

TEST_F(Deletion, OfATripLeavesItsStopsAndServices) {
    update(6, 1, "Early", "9", "1", "0", "All", "2");
    update(7, 2, "1", "3");
    update(8, 4, "1", "100");
    const std::string others = describe(tripStopsOf(store)) + describe(servicesOf(store));
    store.deletePassengerInformation(6, 1);
    EXPECT_EQ(describe(store), others);
}

TEST_F(Deletion, OfAStationLeavesItsPlatforms) {
    update(4, 1, "Central", "C", "Y", "2");
    update(5, 2, "1", "x", "Track 1", "L1");
    const std::string platforms = describe(platformsOf(store));
    store.deletePassengerInformation(4, 1);
    EXPECT_EQ(describe(store), platforms);
}

TEST_F(Deletion, EditsNoListInsideOtherRecords) {
    update(3, 1, "V1", "V", "4", "5");
    update(4, 2, "Central", "C", "Y", "3");
    update(5, 3, "2", "x", "Track 1", "L1");
    update(6, 4, "Early", "9", "1", "0", "All", "6");
    update(7, 6, "4", "3");
    update(8, 5, "4", "100");
    const std::string holders = describe(vehiclesOf(store)) + describe(stationsOf(store)) + describe(tripsOf(store));
    store.deletePassengerInformation(5, 3);
    store.deletePassengerInformation(7, 6);
    store.deletePassengerInformation(8, 5);
    EXPECT_EQ(describe(store), holders);
}

TEST_F(Deletion, OfEverythingOnEmptyTablesIsTheLastStepOfConstruction) {
    host.clear();
    const PassengerInformationServer another;
    EXPECT_EQ(host.transcript(), "enter 2\nleave 2\n");
}

}  // namespace
