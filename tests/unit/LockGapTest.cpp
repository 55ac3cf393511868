// The lock under pressure: the gaps that three handlers open in it, what others may do meanwhile, and calls
// that throw or register observers while it is held.
#include <algorithm>
#include <deque>
#include <iterator>
#include <ostream>
#include <stdexcept>
#include <utility>

#include "StoreTest.h"

namespace {

/// The gap of the trip, service and service stop handlers: the lock is given back, taken and given back
/// for the look-up, and taken again. `meanwhile` happens when the lock was left for the nth time.
std::string gap(const std::string& meanwhile = "", int afterLeave = 1) {
    return "leave\n" + (afterLeave == 1 ? meanwhile : "") + "enter\nleave\n" + (afterLeave == 2 ? meanwhile : "") +
           "enter\n";
}

const char* const kNoTrip =
    R"( vehicle=0 following="" state=0 stateText="NOT_STARTED" loading=0 destination=0 last=0 line=0 )"
    R"(lineOfTripPart=0 serviceStops=0 direction=1 priority=0 priorityText="ALL_STOPS" stops="")";

std::string trip(int id, const std::string& name) {
    return "trip " + std::to_string(id) + " \"" + name +
           "\" \"\" line=0 direction=1 priority=0 priorityText=\"ALL_STOPS\" stops=\"\"";
}

std::string service(int id, const std::string& name, int tripId, int start) {
    return "service " + std::to_string(id) + " \"" + name + "\" \"\" trip=" + std::to_string(tripId) +
           " start=" + std::to_string(start) + kNoTrip;
}

std::string serviceStop(int id, int tripId, int platform, int tripStop) {
    return "serviceStop " + std::to_string(id) + " \"\" \"\" trip=" + std::to_string(tripId) +
           " platform=" + std::to_string(platform) +
           " stopping=0 arv=0 dep=0 service=1 tripStop=" + std::to_string(tripStop) + " start=0 arvDelay=0 depDelay=0";
}

class LockGap : public StoreTest {
protected:
    LockGap() { store.registerObserver(&observer); }

    RecordingObserver observer;
};

// --- The sequences ------------------------------------------------------------------------------

TEST_F(LockGap, OfTheTripHandlerStandsBetweenTheLogAndTheObservers) {
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Early"),
              "enter\ndebug 2 updateTrip: tripId >7< added to list. Total Trips >1<\n" + gap() +
                  "observer onTripUpdated " + trip(7, "Early") + "\nevent 36 7\nleave\n");
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Late"), "enter\ndebug 2 updateTrip: tripId >7< updated\n" + gap() +
                                                    "observer onTripUpdated " + trip(7, "Late") +
                                                    "\nevent 36 7\nleave\n");
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Late"), "enter\n" + gap() + "event 36 7\nleave\n");
}

TEST_F(LockGap, OfTheServiceHandlerStandsBetweenTheLogAndTheObservers) {
    EXPECT_EQ(transcriptOfUpdate(8, 7, "1", "100"),
              "enter\ndebug 2 updateService: serviceId >7< added to list. Total Services >1<\n" + gap() +
                  "observer onServiceUpdated " + service(7, "Unknown Service", 1, 100) + "\nevent 34 7\nleave\n");
    EXPECT_EQ(transcriptOfUpdate(8, 7, "1", "200"),
              "enter\ndebug 2 updateService: serviceId >7< updated\n" + gap() + "observer onServiceUpdated " +
                  service(7, "Unknown Service", 1, 200) + "\nevent 34 7\nleave\n");
    EXPECT_EQ(transcriptOfUpdate(8, 7, "1", "200"), "enter\n" + gap() + "event 34 7\nleave\n");
}

TEST_F(LockGap, OfTheServiceStopHandlerStandsAfterTheLog) {
    EXPECT_EQ(
        transcriptOfUpdate(9, 7, "1", "2"),
        "enter\ndebug 2 updateServiceStop: tripStopId >7< added to list. Total TripStops >1<\n" + gap() + "leave\n");
    EXPECT_EQ(transcriptOfUpdate(9, 7, "1", "3"),
              "enter\ndebug 2 updateServiceStop: tripStopId >7< updated\n" + gap() + "leave\n");
    EXPECT_EQ(transcriptOfUpdate(9, 7, "1", "3"), "enter\n" + gap() + "leave\n");
}

TEST_F(LockGap, NoOtherHandlerOpensOne) {
    for (const int code : {2, 3, 4, 5, 7, 10, 11, 12}) {
        const std::string transcript = transcriptOfUpdate(code, 7, "1");
        EXPECT_EQ(transcript.find("leave\n"), transcript.size() - 6) << transcript;
    }
}

// --- A second store: the look-up goes to the global one -----------------------------------------

class SecondStore : public LockGap {
protected:
    std::string transcriptOfSecond(int code, int id, const std::vector<FieldText>& texts) {
        FieldList list(texts);
        return host.during([&] { second.updatePassengerInformation(1, code, id, list); });
    }

    PassengerInformationServer second;
};

TEST_F(SecondStore, CompletesAServiceFromTheTripsOfTheGlobalStore) {
    update(6, 1, "Global");
    transcriptOfSecond(6, 1, {"Second"});
    EXPECT_EQ(transcriptOfSecond(8, 7, {"1", "100"}),
              "enter 2\ndebug 2 updateService: serviceId >7< added to list. Total Services >1<\nleave 2\n"
              "enter\nleave\n"
              "enter 2\nevent 34 7\nleave 2\n");
    EXPECT_EQ(describe(servicesOf(second)), service(7, "Global", 1, 100) + "\n");
    EXPECT_EQ(describe(servicesOf(store)), "");
}

TEST_F(SecondStore, DoesNotCompleteAServiceFromItsOwnTrips) {
    transcriptOfSecond(6, 1, {"Second"});
    transcriptOfSecond(8, 7, {"1", "100"});
    EXPECT_EQ(describe(servicesOf(second)), service(7, "Unknown Service", 1, 100) + "\n");
}

TEST_F(SecondStore, CompletesAServiceStopFromTheTripStopsOfTheGlobalStore) {
    update(7, 2, "40", "50");
    transcriptOfSecond(7, 2, {"41", "51"});
    EXPECT_EQ(transcriptOfSecond(9, 7, {"1", "2"}),
              "enter 2\ndebug 2 updateServiceStop: tripStopId >7< added to list. Total TripStops >1<\nleave 2\n"
              "enter\nleave\n"
              "enter 2\nleave 2\n");
    EXPECT_EQ(describe(serviceStopsOf(second)), serviceStop(7, 40, 50, 2) + "\n");
}

TEST_F(SecondStore, DoesNotCompleteAServiceStopFromItsOwnTripStops) {
    transcriptOfSecond(7, 2, {"41", "51"});
    transcriptOfSecond(9, 7, {"1", "2"});
    EXPECT_EQ(describe(serviceStopsOf(second)), serviceStop(7, 0, 0, 2) + "\n");
}

TEST_F(SecondStore, CopiesTheServicesOfTheGlobalStoreForATrip) {
    EXPECT_EQ(transcriptOfSecond(6, 7, {"Early"}),
              "enter 2\ndebug 2 updateTrip: tripId >7< added to list. Total Trips >1<\nleave 2\n"
              "enter\nleave\n"
              "enter 2\nevent 36 7\nleave 2\n");
    EXPECT_EQ(describe(store), "");
}

// --- What others do while the lock is left for the first or the second time ----------------------

class Meanwhile : public LockGap, public ::testing::WithParamInterface<int> {
protected:
    template <typename Action>
    void inTheGap(Action action) {
        host.at("leave", action, GetParam());
    }
    void deleteInTheGap(int code, int id) {
        inTheGap([this, code, id] { store.deletePassengerInformation(code, id); });
    }
    static std::string gapWith(const std::string& meanwhile) { return gap(meanwhile, GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(Leave, Meanwhile, ::testing::Values(1, 2));

TEST_P(Meanwhile, TheLockIsFreeForOthers) {
    for (const int code : {6, 8, 9}) {
        bool looked = false;
        inTheGap([&] {
            looked = true;
            EXPECT_TRUE(host.allLocksFree()) << code;
        });
        update(code, 7, "1");
        EXPECT_TRUE(looked) << code;
    }
}

TEST_P(Meanwhile, ATripDeletedFromTheEndOfTheTableEndsTheUpdate) {
    update(6, 5, "Other");
    update(6, 7, "Early");
    deleteInTheGap(6, 7);
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Late"),
              "enter\ndebug 2 updateTrip: tripId >7< updated\n" +
                  gapWith("enter\nobserver onTripRemoved " + trip(7, "Late") +
                          "\nevent 37 7\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_TRIP tripId >7< deleted\n"
                          "leave\n") +
                  "leave\n");
    EXPECT_EQ(describe(store), trip(5, "Other") + "\n");
}

TEST_P(Meanwhile, ATripWhosePlaceAnotherTookIsNotSearchedAgain) {
    update(6, 7, "Early");
    update(6, 8, "Other");
    deleteInTheGap(6, 7);
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Late"),
              "enter\ndebug 2 updateTrip: tripId >7< updated\n" +
                  gapWith("enter\nobserver onTripRemoved " + trip(7, "Late") +
                          "\nevent 37 7\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_TRIP tripId >7< deleted\n"
                          "leave\n") +
                  "observer onTripUpdated " + trip(8, "Other") + "\nevent 36 8\nleave\n");
    EXPECT_EQ(host.events().back().record, &tripsOf(store)[0]);
    EXPECT_EQ(describe(store), trip(8, "Other") + "\n");
}

TEST_P(Meanwhile, AServiceDeletedFromTheEndOfTheTableEndsTheUpdate) {
    update(6, 1, "Early");
    update(8, 5, "2", "100");
    update(8, 7, "1", "100");
    deleteInTheGap(8, 7);
    const std::string other = describe(servicesOf(store)[0]);
    EXPECT_EQ(
        transcriptOfUpdate(8, 7, "1", "200"),
        "enter\ndebug 2 updateService: serviceId >7< updated\n" +
            gapWith("enter\nobserver onServiceRemoved " + service(7, "Early", 1, 200) +
                    "\nevent 35 7\n"
                    "debug 1 deletePassengerInformation: PI_STORAGE_ELEM_SERVICE serviceId >7< deleted\nleave\n") +
            "leave\n");
    EXPECT_EQ(describe(servicesOf(store)), other + "\n");
}

TEST_P(Meanwhile, AServiceOnAnUnknownTripThatTookThePlaceIsLookedUpAndTold) {
    update(6, 1, "Early");
    update(8, 7, "1", "100");
    update(8, 8, "2", "300");
    deleteInTheGap(8, 7);
    const std::string other = service(8, "Unknown Service", 2, 300);
    EXPECT_EQ(
        transcriptOfUpdate(8, 7, "1", "200"),
        "enter\ndebug 2 updateService: serviceId >7< updated\n" +
            gapWith("enter\nobserver onServiceRemoved " + service(7, "Early", 1, 200) +
                    "\nevent 35 7\n"
                    "debug 1 deletePassengerInformation: PI_STORAGE_ELEM_SERVICE serviceId >7< deleted\nleave\n") +
            gap() + "observer onServiceUpdated " + other + "\nevent 34 8\nleave\n");
    EXPECT_EQ(host.events().back().record, &servicesOf(store)[0]);
    EXPECT_EQ(describe(servicesOf(store)), other + "\n");
}

TEST_P(Meanwhile, AServiceOnAnotherTripThatTookThePlaceIsCompletedFromItsOwn) {
    update(8, 7, "1", "100");
    update(8, 8, "2", "300");
    update(6, 1, "Early");
    update(6, 2, "Late");
    deleteInTheGap(8, 7);
    const std::string completed = service(8, "Late", 2, 300);
    const std::string last = gap() + "observer onServiceUpdated " + completed + "\nevent 34 8\nleave\n";
    const std::string transcript = transcriptOfUpdate(8, 7, "1", "200");
    EXPECT_EQ(transcript.substr(transcript.size() - last.size()), last) << transcript;
    EXPECT_EQ(describe(servicesOf(store)), completed + "\n");
}

TEST_P(Meanwhile, AServiceThatTurnsAgainWhileItsNewTripIsLookedUpTakesTheLastOne) {
    for (const auto& [tripId, name] : {std::pair(1, "Early"), std::pair(2, "Late"), std::pair(3, "Night")}) {
        update(6, tripId, name);
    }
    update(8, 7, "1", "100");
    inTheGap([this] {
        Service& turning = servicesOf(store)[0];
        turning.setTripId(2);
        host.at(
            "leave", [&turning] { turning.setTripId(3); }, 2);  // in the second gap, at the same place
    });
    EXPECT_EQ(transcriptOfUpdate(8, 7, "1", "100"), "enter\n" + gap() + gap() + gap() + "event 34 7\nleave\n");
    EXPECT_EQ(describe(servicesOf(store)), service(7, "Night", 3, 100) + "\n");
}

TEST_P(Meanwhile, AServiceDeletedWhileItsNewTripIsLookedUpEndsTheUpdate) {
    update(6, 2, "Late");
    update(8, 7, "1", "100");
    inTheGap([this] {
        servicesOf(store)[0].setTripId(2);
        deleteInTheGap(8, 7);
    });
    update(8, 7, "1", "100");
    EXPECT_EQ(describe(servicesOf(store)), "");
    EXPECT_TRUE(host.allLocksFree());
}

TEST_P(Meanwhile, AServiceOnTheSameTripThatTookThePlaceIsCompleted) {
    update(8, 7, "1", "100");
    update(8, 8, "1", "300");
    update(6, 1, "Early");
    deleteInTheGap(8, 7);
    update(8, 7, "1", "200");
    EXPECT_EQ(describe(servicesOf(store)), service(8, "Early", 1, 300) + "\n");
}

TEST_P(Meanwhile, AServiceThatTurnedToAnotherTripKeepsThatTripsName) {
    update(6, 1, "Early");
    update(6, 2, "Late");
    update(8, 7, "1", "100");
    inTheGap([this] { update(8, 7, "2", "300"); });
    update(8, 7, "1", "200");
    EXPECT_EQ(describe(servicesOf(store)), service(7, "Late", 2, 300) + "\n");
    const std::string last = "observer onServiceUpdated " + service(7, "Late", 2, 300) + "\nevent 34 7\nleave\n";
    const std::string transcript = host.transcript();
    EXPECT_EQ(transcript.substr(transcript.size() - last.size()), last);
}

TEST_P(Meanwhile, ATripThatChangesIsSeenUntilTheTripsWereLookedUp) {
    update(6, 1, "Early");
    inTheGap([this] { update(6, 1, "Late"); });
    update(8, 7, "1", "100");
    EXPECT_EQ(describe(servicesOf(store)), service(7, GetParam() == 1 ? "Late" : "Early", 1, 100) + "\n");
}

TEST_P(Meanwhile, AServiceStopDeletedFromTheEndOfTheTableEndsTheUpdate) {
    update(7, 2, "40", "50");
    update(9, 5, "1", "3");
    update(9, 7, "1", "2");
    deleteInTheGap(9, 7);
    EXPECT_EQ(transcriptOfUpdate(9, 7, "1", "2"),
              "enter\n" +
                  gapWith("enter\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_SERVICE_STOP serviceStopId >7< "
                          "deleted\nleave\n") +
                  "leave\n");
    EXPECT_EQ(describe(serviceStopsOf(store)), serviceStop(5, 0, 0, 3) + "\n");
}

TEST_P(Meanwhile, AServiceStopThatTookThePlaceIsCompletedFromTheTripStopOfTheRecord) {
    update(9, 7, "1", "2");
    update(9, 8, "1", "3");
    update(7, 2, "40", "50");
    update(7, 3, "41", "51");
    deleteInTheGap(9, 7);
    update(9, 7, "1", "2");
    EXPECT_EQ(describe(serviceStopsOf(store)), serviceStop(8, 40, 50, 3) + "\n");
}

TEST_P(Meanwhile, ATripStopThatChangesIsSeenUntilTheTripStopsWereLookedUp) {
    update(7, 2, "40", "50");
    inTheGap([this] { update(7, 2, "41", "51"); });
    update(9, 7, "1", "2");
    EXPECT_EQ(describe(serviceStopsOf(store)),
              (GetParam() == 1 ? serviceStop(7, 41, 51, 2) : serviceStop(7, 40, 50, 2)) + "\n");
}

TEST_P(Meanwhile, APositionOutlivesATableThatMovedInMemory) {
    for (const int code : {6, 8, 9}) {
        inTheGap([this, code] {
            for (int id = 100; id < 200; ++id) update(code, id);
        });
        update(code, 7, "1");
    }
    EXPECT_EQ(tripsOf(store)[0].getId(), 7);
    EXPECT_EQ(serviceStopsOf(store)[0].getId(), 7);

    inTheGap([this] {
        for (int id = 200; id < 500; ++id) update(8, id);
    });
    update(8, 7, "1", "100");
    EXPECT_EQ(host.events().back().id, 7);
    EXPECT_EQ(host.events().back().record, &servicesOf(store)[0]);
}

TEST_P(Meanwhile, EmptyTablesEndEveryUpdate) {
    for (const int code : {6, 8, 9}) {
        deleteInTheGap(0, 0);
        update(code, 7, "1");
        EXPECT_EQ(describe(store), "") << code;
        EXPECT_TRUE(host.allLocksFree()) << code;
    }
}

// --- Calls that throw, and observers that register another one -----------------------------------

/// An update or a deletion of element 7, of which observers may hear.
struct Call {
    const char* name;
    int code;
    bool told;
    bool deletion;

    friend std::ostream& operator<<(std::ostream& to, const Call& call) { return to << call.name; }
};

constexpr Call kCalls[] = {
    {"UpdateLine", 2, true, false},          {"UpdateVehicle", 3, true, false},
    {"UpdateStation", 4, true, false},       {"UpdatePlatform", 5, true, false},
    {"UpdateTrip", 6, true, false},          {"UpdateTripStop", 7, false, false},
    {"UpdateService", 8, true, false},       {"UpdateServiceStop", 9, false, false},
    {"UpdateVehicleState", 10, true, false}, {"UpdatePlatformState", 11, true, false},
    {"UpdateServiceState", 12, true, false}, {"DeleteLine", 2, true, true},
    {"DeleteVehicle", 3, true, true},        {"DeleteStation", 4, true, true},
    {"DeletePlatform", 5, true, true},       {"DeleteTrip", 6, true, true},
    {"DeleteTripStop", 7, false, true},      {"DeleteService", 8, true, true},
    {"DeleteServiceStop", 9, false, true},
};

template <typename Choice>
std::vector<Call> callsThat(Choice are) {
    std::vector<Call> some;
    std::copy_if(std::begin(kCalls), std::end(kCalls), std::back_inserter(some), are);
    return some;
}

std::string nameOf(const ::testing::TestParamInfo<Call>& call) {
    return call.param.name;
}

class CallUnderLock : public LockGap, public ::testing::WithParamInterface<Call> {
protected:
    /// Text by which a second update differs from the first in every handler.
    void call(const char* text = "1") {
        if (GetParam().deletion) {
            store.deletePassengerInformation(GetParam().code, 7);
        } else {
            update(GetParam().code, 7, text, text);
        }
    }

    void prepare() {
        if (GetParam().deletion) update(GetParam().code, 7, "1");
        host.clear();
    }

    /// Expects that what a host or observer call throws passes through, the lock free behind it.
    void expectPassesThrough(const std::string& thrower, const char* text = "1") {
        host.at(thrower, [] { throw std::runtime_error("thrown by the host"); });
        try {
            call(text);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "thrown by the host");
        }
        EXPECT_TRUE(host.allLocksFree());
        const std::string transcript = host.transcript();
        const std::size_t last = transcript.rfind('\n', transcript.size() - 2);
        EXPECT_EQ(transcript.substr(last + 1), "leave\n") << transcript;
        EXPECT_EQ(transcript.compare(transcript.rfind('\n', last - 1) + 1, thrower.size(), thrower), 0)
            << "it went on: " << transcript;
    }

    /// An element that is not told in full is neither lost nor removed: the table holds element 7.
    void expectOneElementLeft() {
        const std::string tables = describe(store);
        EXPECT_NE(tables.find(" 7 \""), std::string::npos) << tables;
        EXPECT_EQ(tables.find('\n'), tables.size() - 1) << tables;
    }
};

using UpdateUnderLock = CallUnderLock;
using ToldCallUnderLock = CallUnderLock;

INSTANTIATE_TEST_SUITE_P(Calls, CallUnderLock, ::testing::ValuesIn(kCalls), nameOf);
INSTANTIATE_TEST_SUITE_P(Calls, UpdateUnderLock,
                         ::testing::ValuesIn(callsThat([](const Call& call) { return !call.deletion; })), nameOf);
INSTANTIATE_TEST_SUITE_P(Calls, ToldCallUnderLock,
                         ::testing::ValuesIn(callsThat([](const Call& call) { return call.told; })), nameOf);

TEST_P(CallUnderLock, ALogCallThatThrowsLeavesTheLockFree) {
    prepare();
    expectPassesThrough("debug");
    expectOneElementLeft();
}

TEST_P(UpdateUnderLock, ALogCallThatThrowsForAChangeLeavesTheLockFree) {
    call("1");
    host.clear();
    expectPassesThrough("debug", "2");
    expectOneElementLeft();
}

TEST_P(CallUnderLock, TheStoreWorksOnAfterACallThatThrew) {
    prepare();
    expectPassesThrough("debug");
    call("2");
    EXPECT_EQ(describe(store).empty(), GetParam().deletion);
    EXPECT_EQ(host.during([&] { store.getLines(); }), "enter\nleave\n");
}

TEST_P(ToldCallUnderLock, AnObserverThatThrowsLeavesTheLockFreeAndEndsTheCall) {
    RecordingObserver next("next");
    store.registerObserver(&next);
    prepare();
    expectPassesThrough("observer");
    EXPECT_TRUE(host.events().empty());
    expectOneElementLeft();
}

TEST_P(ToldCallUnderLock, AnEventQueueThatThrowsLeavesTheLockFree) {
    prepare();
    expectPassesThrough("event");
    expectOneElementLeft();
}

TEST_P(ToldCallUnderLock, AnObserverRegisteredByAnotherIsCalledInTheSameNotification) {
    prepare();
    std::deque<RecordingObserver> late;
    host.at("observer", [&] {
        for (int i = 1; i <= 50; ++i) {
            late.emplace_back("late" + std::to_string(i));
            store.registerObserver(&late.back());
        }
    });
    call();

    // Each hears what the first one heard, in the order of registration and before the event.
    const std::string transcript = host.transcript();
    const std::size_t first = transcript.find("observer ");
    const std::string heard = transcript.substr(first + 8, transcript.find('\n', first) - first - 7);
    std::string expected;
    for (int i = 1; i <= 50; ++i) expected += "late" + std::to_string(i) + heard;
    EXPECT_NE(transcript.find("debug 0 registerObserver: Adding observer to list. Total Observers >51<\n" + expected +
                              "event "),
              std::string::npos)
        << transcript;
}

TEST_F(LockGap, ADeletionThatThrowsLeavesRemovedWhatWasRemovedByThen) {
    for (const int id : {5, 7, 9}) update(2, id);
    for (const int id : {5, 7}) update(4, id);
    host.at(
        "observer onStationRemoved", [] { throw std::runtime_error("thrown by an observer"); }, 2);
    EXPECT_THROW(store.deletePassengerInformation(0, 0), std::runtime_error);
    EXPECT_TRUE(host.allLocksFree());
    EXPECT_EQ(describe(store), "station 7 \"Unknown Station\" \"\" major=0 closed=0 platforms=\"\"\n");
}

}  // namespace
