// The store itself: how it is built and destroyed, which handler each element type reaches, and how
// observers are registered and called.
#include <climits>
#include <cstring>
#include <new>
#include <stdexcept>
#include <type_traits>

#include "StoreTest.h"

namespace {

// --- Construction and destruction -----------------------------------------------------------------

class ServerConstruction : public StoreTest {};

TEST_F(ServerConstruction, LeavesEverythingEmptyAndOff) {
    EXPECT_EQ(describe(store), "");
    EXPECT_TRUE(observersOf(store).empty());
    EXPECT_FALSE(store.getServerStatus());
    EXPECT_FALSE(store.isAutomaticMessageGenerationEnabled());
}

TEST_F(ServerConstruction, ClearsBothFlagsWhateverTheMemoryHeld) {
    alignas(PassengerInformationServer) unsigned char memory[sizeof(PassengerInformationServer)];
    std::memset(memory, 0xff, sizeof memory);
    auto* other = new (memory) PassengerInformationServer();
    EXPECT_FALSE(other->getServerStatus());
    EXPECT_FALSE(other->isAutomaticMessageGenerationEnabled());
    other->~PassengerInformationServer();
}

TEST_F(ServerConstruction, DeletesEverythingUnderTheLockAndTellsNobody) {
    EXPECT_EQ(host.during([] { PassengerInformationServer other; }), "enter 2\nleave 2\n");
}

TEST_F(ServerConstruction, PreparesItsLockExactlyOnce) {
    // The host counts the locks that are prepared.
    EXPECT_EQ(host.during([] { PassengerInformationServer other; }), "enter 2\nleave 2\n");
    EXPECT_EQ(host.during([] { PassengerInformationServer other; }), "enter 3\nleave 3\n");
}

TEST_F(ServerConstruction, AsksForALockThatMayBeEnteredAgain) {
    unsigned char flag = 0;
    std::memcpy(&flag, reinterpret_cast<const unsigned char*>(&lockOf(store)) + 3 * sizeof(void*), 1);
    EXPECT_EQ(flag, 1);
}

TEST_F(ServerConstruction, IsThatOfTheHostsGlobal) {
    EXPECT_TRUE((std::is_same<decltype(gPassengerInformationServer), PassengerInformationServer>::value));
    EXPECT_EQ(&store, &gPassengerInformationServer);
}

TEST_F(ServerConstruction, GivesEveryStoreItsOwnTables) {
    PassengerInformationServer other;
    update(2, 7, "North", "N");
    EXPECT_EQ(describe(store), "line 7 \"North\" \"N\"\n");
    EXPECT_EQ(describe(other), "");
}

TEST_F(ServerConstruction, IsUndoneWithoutASound) {
    RecordingObserver observer;
    auto* other = new PassengerInformationServer();
    other->registerObserver(&observer);
    for (int code = 2; code <= 12; ++code) {
        FieldList list = fields("1", "1", "1");
        other->updatePassengerInformation(1, code, 7, list);
    }
    EXPECT_NE(describe(*other), "");
    EXPECT_EQ(host.during([&] { delete other; }), "");
}

TEST_F(ServerConstruction, IsUndoneWithoutTouchingTheObservers) {
    auto* other = new PassengerInformationServer();
    {
        RecordingObserver observer;
        other->registerObserver(&observer);
    }
    EXPECT_EQ(host.during([&] { delete other; }), "");
}

// --- Dispatch -------------------------------------------------------------------------------------

class ServerDispatch : public StoreTest {
protected:
    /// What one update of element 7 does, the lock left out, in a store that was empty before.
    std::string updateAlone(int dstNo, int code, int elemNo = 7) {
        renewGlobalStore();
        host.clear();
        FieldList list = fields("Y", "1", "1", "1", "1", "1", "1", "1", "1");
        store.updatePassengerInformation(dstNo, code, elemNo, list);
        return host.transcriptWithoutLock();
    }
};

struct Dispatch {
    int code;
    const char* transcript;
};

const Dispatch kDispatches[] = {
    {2, "debug 2 updateLine: lineId >7< added to list. Total Lines >1<\nevent 26 7\n"},
    {3, "debug 2 updateVehicle: vehicleId >7< added to list. Total Vehicles >1<\nevent 28 7\n"},
    {4, "debug 2 updateStation: stationId >7< added to list. Total Stations >1<\nevent 30 7\n"},
    {5, "debug 2 updatePlatform: platformId >7< added to list. Total Platforms >1<\nevent 32 7\n"},
    {6, "debug 2 updateTrip: tripId >7< added to list. Total Trips >1<\nevent 36 7\n"},
    {7, "debug 2 updateTripStop: tripStopId >7< added to list. Total TripStops >1<\n"},
    {8, "debug 2 updateService: serviceId >7< added to list. Total Services >1<\nevent 34 7\n"},
    {9, "debug 2 updateServiceStop: tripStopId >7< added to list. Total TripStops >1<\n"},
    {10, "debug 2 updateVehicleState: vehicleId >7< added to list. Total Vehicles >1<\nevent 28 7\n"},
    {11, "debug 2 updatePlatformState: platformId >7< added to list. Total Platforms >1<\nevent 32 7\n"},
    {12, "debug 2 updateServiceState: serviceId >7< added to list. Total Services >1<\nevent 34 7\n"},
};

TEST_F(ServerDispatch, EveryElementTypeReachesItsHandler) {
    for (const Dispatch& dispatch : kDispatches) {
        EXPECT_EQ(updateAlone(1, dispatch.code), dispatch.transcript) << dispatch.code;
    }
}

TEST_F(ServerDispatch, EveryElementTypeReachesItsTable) {
    const char* const kinds[] = {"line",    "vehicle",     "station", "platform", "trip",   "tripStop",
                                 "service", "serviceStop", "vehicle", "platform", "service"};
    for (int code = 2; code <= 12; ++code) {
        updateAlone(1, code);
        const std::string stored = describe(store);
        EXPECT_EQ(stored.substr(0, stored.find('"')), std::string(kinds[code - 2]) + " 7 ") << code;
    }
}

TEST_F(ServerDispatch, ThirteenReachesTheMessageStateWithItsNumberUnchanged) {
    EXPECT_EQ(updateAlone(1, 13, 1), "");
    EXPECT_TRUE(store.isAutomaticMessageGenerationEnabled());
    updateAlone(1, 13, 2);
    EXPECT_FALSE(store.isAutomaticMessageGenerationEnabled());
}

TEST_F(ServerDispatch, NinetyEightReachesTheServerStatusWithItsNumberUnchanged) {
    EXPECT_EQ(updateAlone(1, 98, 1), "event 24 0 null\n");
    EXPECT_TRUE(store.getServerStatus());
    EXPECT_EQ(updateAlone(1, 98, 98), "");
    EXPECT_FALSE(store.getServerStatus());
}

TEST_F(ServerDispatch, OtherCodesDoNothing) {
    std::vector<int> codes = {0, 1, 99, 100, 1000, 258, 65538, 0x01000002, -1, -2, -98, -158, -254, INT_MAX, INT_MIN};
    for (int code = 14; code <= 97; ++code) codes.push_back(code);
    RecordingObserver observer;
    store.registerObserver(&observer);
    for (const int code : codes) {
        for (const int elemNo : {1, 7}) {
            EXPECT_EQ(transcriptOfUpdate(code, elemNo, "Y", "1", "1", "1"), "") << code;
        }
    }
    EXPECT_EQ(describe(store), "");
    EXPECT_FALSE(store.getServerStatus());
    EXPECT_FALSE(store.isAutomaticMessageGenerationEnabled());
}

TEST_F(ServerDispatch, FirstArgumentHasNoEffect) {
    for (const int dstNo : {0, 2, -1, 98, INT_MAX, INT_MIN}) {
        for (const Dispatch& dispatch : kDispatches) {
            EXPECT_EQ(updateAlone(dstNo, dispatch.code), dispatch.transcript) << dstNo << ' ' << dispatch.code;
        }
        EXPECT_EQ(updateAlone(dstNo, 98, 1), "event 24 0 null\n") << dstNo;
        EXPECT_EQ(updateAlone(dstNo, 13, 1), "") << dstNo;
        EXPECT_TRUE(store.isAutomaticMessageGenerationEnabled()) << dstNo;
        EXPECT_EQ(updateAlone(dstNo, 14), "") << dstNo;
    }
}

TEST_F(ServerDispatch, MissingListIsLeftToTheHandlersWhichIgnoreIt) {
    for (int code = -1; code <= 99; ++code) {
        EXPECT_EQ(host.during([&] {
            store.updatePassengerInformation(1, code, 1, nullptr);
            store.updatePassengerInformation(1, code, 7, nullptr);
        }),
                  "")
            << code;
    }
    EXPECT_EQ(describe(store), "");
}

TEST_F(ServerDispatch, DeletionsDoNotComeThisWay) {
    update(2, 7, "North", "N");
    EXPECT_EQ(transcriptOfUpdate(0, 0), "");
    EXPECT_EQ(describe(store), "line 7 \"North\" \"N\"\n");
}

// --- Observers ------------------------------------------------------------------------------------

class ServerObservers : public StoreTest {
protected:
    std::string registering(PassengerInformationObserver* observer) {
        return host.during([&] { store.registerObserver(observer); });
    }

    RecordingObserver first{"first"};
    RecordingObserver second{"second"};
    RecordingObserver third{"third"};
};

TEST_F(ServerObservers, NullIsIgnoredSilently) {
    EXPECT_EQ(registering(nullptr), "");
    EXPECT_TRUE(observersOf(store).empty());
}

TEST_F(ServerObservers, AreCountedInTheLogWithoutTheLock) {
    EXPECT_EQ(registering(&first), "debug 0 registerObserver: Adding observer to list. Total Observers >1<\n");
    EXPECT_EQ(registering(&second), "debug 0 registerObserver: Adding observer to list. Total Observers >2<\n");
    EXPECT_EQ(registering(&third), "debug 0 registerObserver: Adding observer to list. Total Observers >3<\n");
}

TEST_F(ServerObservers, AreLoggedFromLevelZero) {
    host.setDebugLevel(0);
    EXPECT_EQ(registering(&first), "debug 0 registerObserver: Adding observer to list. Total Observers >1<\n");
    host.setDebugLevel(-1);
    EXPECT_EQ(registering(&second), "");
    EXPECT_EQ(observersOf(store).size(), 2U);
}

TEST_F(ServerObservers, RegisteredTwiceAreReportedAndKeptOnce) {
    store.registerObserver(&first);
    EXPECT_EQ(registering(&first), "error 3 registerObserver: Observer already part of list. Not adding to list\n");
    EXPECT_EQ(observersOf(store), (std::vector<PassengerInformationObserver*>{&first}));
}

TEST_F(ServerObservers, RegisteredTwiceAreReportedWhateverTheDebugLevelAndThePlace) {
    store.registerObserver(&first);
    store.registerObserver(&second);
    store.registerObserver(&third);
    host.setDebugLevel(-1);
    for (RecordingObserver* observer : {&third, &second, &first}) {
        EXPECT_EQ(registering(observer),
                  "error 3 registerObserver: Observer already part of list. Not adding to list\n");
    }
    EXPECT_EQ(observersOf(store), (std::vector<PassengerInformationObserver*>{&first, &second, &third}));
}

TEST_F(ServerObservers, AreToldApartByTheirAddress) {
    RecordingObserver twin("first");
    store.registerObserver(&first);
    store.registerObserver(&twin);
    EXPECT_EQ(observersOf(store).size(), 2U);
}

TEST_F(ServerObservers, HearInTheOrderOfTheirRegistrationUnderTheLock) {
    store.registerObserver(&second);
    store.registerObserver(&first);
    store.registerObserver(&third);
    EXPECT_EQ(transcriptOfUpdate(2, 7, "North", "N"),
              "enter\n"
              "debug 2 updateLine: lineId >7< added to list. Total Lines >1<\n"
              "second onLineUpdated line 7 \"North\" \"N\"\n"
              "first onLineUpdated line 7 \"North\" \"N\"\n"
              "third onLineUpdated line 7 \"North\" \"N\"\n"
              "event 26 7\n"
              "leave\n");
}

TEST_F(ServerObservers, HearThroughTheOperationOfEachElement) {
    host.setDebugLevel(-1);
    store.registerObserver(&first);
    const auto operation = [](const std::string& line) {
        const std::size_t begin = line.find(' ') + 1;
        return line.substr(begin, line.find(' ', begin) - begin);
    };
    const char* const updated[] = {"onLineUpdated",    "onVehicleUpdated",
                                   "onStationUpdated", "onPlatformInfoUpdated",
                                   "onTripUpdated",    "",
                                   "onServiceUpdated", "",
                                   "onVehicleUpdated", "onPlatformInfoUpdated",
                                   "onServiceUpdated"};
    const char* const removed[] = {"onLineRemoved",
                                   "onVehicleRemoved",
                                   "onStationRemoved",
                                   "onPlatformInfoRemoved",
                                   "onTripRemoved",
                                   "",
                                   "onServiceRemoved",
                                   "",
                                   ""};
    for (int code = 2; code <= 12; ++code) {
        host.clear();
        update(code, 7, "2", "2", "2");
        const std::string heard = host.transcriptWithoutLock();
        EXPECT_EQ(heard.empty() ? "" : operation(heard), updated[code - 2]) << code;
    }
    for (int code = 2; code <= 10; ++code) {
        host.clear();
        store.deletePassengerInformation(code, 7);
        const std::string heard = host.transcriptWithoutLock();
        EXPECT_EQ(heard.empty() ? "" : operation(heard), removed[code - 2]) << code;
    }
    EXPECT_EQ(transcriptOfUpdate(98, 1, "", "", "1"), "event 24 0 null\nfirst onServerStatusUpdated true\n");
}

TEST_F(ServerObservers, RegisteredDuringANotificationHearOfItToo) {
    store.registerObserver(&first);
    store.registerObserver(&second);
    host.at("first onLineUpdated", [this] { store.registerObserver(&third); });
    EXPECT_EQ(transcriptOfUpdate(2, 7, "North", "N"),
              "enter\n"
              "debug 2 updateLine: lineId >7< added to list. Total Lines >1<\n"
              "first onLineUpdated line 7 \"North\" \"N\"\n"
              "debug 0 registerObserver: Adding observer to list. Total Observers >3<\n"
              "second onLineUpdated line 7 \"North\" \"N\"\n"
              "third onLineUpdated line 7 \"North\" \"N\"\n"
              "event 26 7\n"
              "leave\n");
}

TEST_F(ServerObservers, RegisteredDuringADeletionHearOfItToo) {
    update(2, 7, "North", "N");
    update(2, 8, "South", "S");
    host.setDebugLevel(-1);
    store.registerObserver(&first);
    host.at("first onLineRemoved", [this] { store.registerObserver(&second); });
    EXPECT_EQ(transcriptOfDeletion(2, 0),
              "enter\n"
              "first onLineRemoved line 7 \"North\" \"N\"\n"
              "second onLineRemoved line 7 \"North\" \"N\"\n"
              "event 27 7\n"
              "first onLineRemoved line 8 \"South\" \"S\"\n"
              "second onLineRemoved line 8 \"South\" \"S\"\n"
              "event 27 8\n"
              "leave\n");
}

TEST_F(ServerObservers, MayRegisterManyOthersDuringANotification) {
    // More than any list takes without moving.
    std::vector<RecordingObserver> others(100, RecordingObserver("other"));
    host.setDebugLevel(-1);
    store.registerObserver(&first);
    host.at("first onLineUpdated", [&] {
        for (RecordingObserver& other : others) store.registerObserver(&other);
    });
    std::string expected = "enter\nfirst onLineUpdated line 7 \"North\" \"N\"\n";
    for (std::size_t i = 0; i < others.size(); ++i) expected += "other onLineUpdated line 7 \"North\" \"N\"\n";
    EXPECT_EQ(transcriptOfUpdate(2, 7, "North", "N"), expected + "event 26 7\nleave\n");
}

TEST_F(ServerObservers, ReceiveACopyOfTheirOwn) {
    class Renaming : public RecordingObserver {
    public:
        void onLineUpdated(Line line) override { line.setName("renamed"); }
    } renaming;
    store.registerObserver(&renaming);
    store.registerObserver(&second);
    EXPECT_EQ(transcriptOfUpdate(2, 7, "North", "N"),
              "enter\n"
              "debug 2 updateLine: lineId >7< added to list. Total Lines >1<\n"
              "second onLineUpdated line 7 \"North\" \"N\"\n"
              "event 26 7\n"
              "leave\n");
    EXPECT_EQ(describe(store), "line 7 \"North\" \"N\"\n");
}

TEST_F(ServerObservers, FaultPassesThroughWithTheLockFree) {
    store.registerObserver(&first);
    store.registerObserver(&second);
    host.at("first onLineUpdated", [] { throw std::runtime_error("observer"); });
    host.clear();
    EXPECT_THROW(update(2, 7, "North", "N"), std::runtime_error);
    EXPECT_EQ(host.transcript(),
              "enter\n"
              "debug 2 updateLine: lineId >7< added to list. Total Lines >1<\n"
              "first onLineUpdated line 7 \"North\" \"N\"\n"
              "leave\n");
    EXPECT_TRUE(host.allLocksFree());
    EXPECT_EQ(describe(store), "line 7 \"North\" \"N\"\n");
}

TEST_F(ServerObservers, FaultOfTheHostPassesThroughWithTheLockFree) {
    for (const char* call : {"debug 2 updateLine", "event 26"}) {
        renewGlobalStore();
        host.at(call, [] { throw std::runtime_error("host"); });
        EXPECT_THROW(update(2, 7, "North", "N"), std::runtime_error) << call;
        EXPECT_TRUE(host.allLocksFree()) << call;
        EXPECT_EQ(describe(store), "line 7 \"North\" \"N\"\n") << call;
    }
}

TEST_F(ServerObservers, OutliveDeletionsOfElements) {
    store.registerObserver(&first);
    store.deletePassengerInformation(0, 0);
    EXPECT_EQ(observersOf(store), (std::vector<PassengerInformationObserver*>{&first}));
}

TEST_F(ServerObservers, OfAnotherStoreHearNothing) {
    PassengerInformationServer other;
    other.registerObserver(&first);
    EXPECT_EQ(transcriptOfUpdate(2, 7, "North", "N"),
              "enter\n"
              "debug 2 updateLine: lineId >7< added to list. Total Lines >1<\n"
              "event 26 7\n"
              "leave\n");
}

}  // namespace
