// The status of the signalling server, the switch for automatic messages, and the small requests
// beside them.
#include <climits>
#include <stdexcept>
#include <typeinfo>

#include "StoreTest.h"

namespace {

// --- Server status --------------------------------------------------------------------------------

class ServerStatus : public StoreTest {
protected:
    template <typename... Text>
    std::string status(const Text&... texts) {
        return transcriptOfUpdate(98, 1, texts...);
    }

    RecordingObserver first{"first"};
    RecordingObserver second{"second"};
};

TEST_F(ServerStatus, IsOfflineFromTheStart) {
    EXPECT_FALSE(store.getServerStatus());
}

TEST_F(ServerStatus, ThirdFieldOneMeansOnline) {
    store.registerObserver(&first);
    store.registerObserver(&second);
    EXPECT_EQ(status("A", "B", "1"),
              "event 24 0 null\n"
              "first onServerStatusUpdated true\n"
              "second onServerStatusUpdated true\n");
    EXPECT_TRUE(store.getServerStatus());
}

TEST_F(ServerStatus, ThirdFieldOtherThanOneMeansOffline) {
    store.registerObserver(&first);
    for (const char* text : {"0", "2", "abc", "yes", "Y", "-1", "11", "10", "x1", "0x1", "(null) ", "(nul", " ", "."}) {
        status("A", "B", "1");
        EXPECT_EQ(status("A", "B", text), "event 25 0 null\nfirst onServerStatusUpdated false\n") << text;
        EXPECT_FALSE(store.getServerStatus()) << text;
    }
}

TEST_F(ServerStatus, ThirdFieldIsReadUpToTheFirstOtherCharacter) {
    for (const char* text : {" 1", "\t\n1", "+1", "01", "1abc", "1.9", "1 2", "1,0"}) {
        status("A", "B", "0");
        EXPECT_EQ(status("A", "B", text), "event 24 0 null\n") << text;
        EXPECT_TRUE(store.getServerStatus()) << text;
    }
}

TEST_F(ServerStatus, ThirdFieldBeyondThirtyTwoBitsIsNotOne) {
    EXPECT_EQ(status("A", "B", "4294967297"), "event 25 0 null\n");
    EXPECT_EQ(status("A", "B", "-4294967295"), "event 25 0 null\n");
    EXPECT_EQ(status("A", "B", "18446744073709551617"), "event 25 0 null\n");
}

TEST_F(ServerStatus, RepeatedReportIsToldAgain) {
    store.registerObserver(&first);
    store.registerObserver(&second);
    const std::string online =
        "event 24 0 null\n"
        "first onServerStatusUpdated true\n"
        "second onServerStatusUpdated true\n";
    EXPECT_EQ(status("A", "B", "1"), online);
    EXPECT_EQ(status("A", "B", "1"), online);
    status("A", "B", "0");
    EXPECT_EQ(status("A", "B", "0"),
              "event 25 0 null\n"
              "first onServerStatusUpdated false\n"
              "second onServerStatusUpdated false\n");
}

TEST_F(ServerStatus, RecordNumberOtherThanOneIsIgnored) {
    store.registerObserver(&first);
    for (const int elemNo : {2, 0, -1, 98, INT_MAX, INT_MIN}) {
        EXPECT_EQ(transcriptOfUpdate(98, elemNo, "A", "B", "1"), "") << elemNo;
        EXPECT_FALSE(store.getServerStatus()) << elemNo;
    }
}

TEST_F(ServerStatus, TooFewFieldsAreIgnored) {
    status("A", "B", "1");
    EXPECT_EQ(status("0", "0"), "");
    EXPECT_EQ(status("0"), "");
    EXPECT_EQ(status(), "");
    EXPECT_TRUE(store.getServerStatus());
}

TEST_F(ServerStatus, MissingListIsIgnored) {
    status("A", "B", "1");
    EXPECT_EQ(host.during([&] { store.updatePassengerInformation(1, 98, 1, nullptr); }), "");
    EXPECT_TRUE(store.getServerStatus());
}

TEST_F(ServerStatus, UnusableThirdFieldChangesNothing) {
    for (const char* before : {"1", "0"}) {
        status("A", "B", before);
        EXPECT_EQ(status("A", "B", ""), "");
        EXPECT_EQ(status("A", "B", "(null)"), "");
        EXPECT_EQ(status("A", "B", null), "");
        EXPECT_EQ(store.getServerStatus(), before[0] == '1');
    }
}

TEST_F(ServerStatus, FirstTwoFieldsAreNotUsed) {
    EXPECT_EQ(status(null, "(null)", "1"), "event 24 0 null\n");
    EXPECT_EQ(status("", "1", "0"), "event 25 0 null\n");
}

TEST_F(ServerStatus, FirstTwoFieldsAreNotEvenLookedAt) {
    FieldList list = fields("A", "B", "1");
    list.node(1).dataPtr = nullptr;
    list.node(2).dataPtr = nullptr;
    EXPECT_EQ(host.during([&] { store.updatePassengerInformation(1, 98, 1, list); }), "event 24 0 null\n");
}

TEST_F(ServerStatus, FieldsAfterTheThirdAreNotUsed) {
    EXPECT_EQ(status("A", "B", "1", "0", "0"), "event 24 0 null\n");
    EXPECT_TRUE(store.getServerStatus());
}

TEST_F(ServerStatus, IsStoredBeforeTheEventAndTheEventIsPostedBeforeTheObservers) {
    store.registerObserver(&first);
    bool seenAtTheEvent = false;
    host.at("event 24", [&] { seenAtTheEvent = store.getServerStatus(); });
    EXPECT_EQ(status("A", "B", "1"), "event 24 0 null\nfirst onServerStatusUpdated true\n");
    EXPECT_TRUE(seenAtTheEvent);
}

TEST_F(ServerStatus, IsToldWithTheLockFreeSoThatAnObserverMayRead) {
    update(2, 7, "North", "N");
    store.registerObserver(&first);
    std::string seen;
    host.at("first onServerStatusUpdated", [&] { seen = describe(store.getLines()); });
    EXPECT_EQ(status("A", "B", "1"), "event 24 0 null\nfirst onServerStatusUpdated true\nenter\nleave\n");
    EXPECT_EQ(seen, "line 7 \"North\" \"N\"\n");
}

TEST_F(ServerStatus, IsTakenInAndReadWhileTheLockIsTaken) {
    lockOf(store).enter();
    EXPECT_EQ(status("A", "B", "1"), "event 24 0 null\n");
    host.clear();
    EXPECT_TRUE(store.getServerStatus());
    EXPECT_EQ(host.transcript(), "");
    lockOf(store).leave();
}

TEST_F(ServerStatus, ObserverRegisteredMeanwhileHearsOfItToo) {
    host.setDebugLevel(-1);
    store.registerObserver(&first);
    host.at("first onServerStatusUpdated", [&] { store.registerObserver(&second); });
    EXPECT_EQ(status("A", "B", "1"),
              "event 24 0 null\n"
              "first onServerStatusUpdated true\n"
              "second onServerStatusUpdated true\n");
}

TEST_F(ServerStatus, FaultOfAnObserverPassesThroughAndTheStatusStays) {
    store.registerObserver(&first);
    host.at("first onServerStatusUpdated", [] { throw std::runtime_error("observer"); });
    EXPECT_THROW(update(98, 1, "A", "B", "1"), std::runtime_error);
    EXPECT_TRUE(store.getServerStatus());
    EXPECT_TRUE(host.allLocksFree());
}

TEST_F(ServerStatus, IsNotTouchedByDeletions) {
    status("A", "B", "1");
    store.deletePassengerInformation(98, 1);
    store.deletePassengerInformation(0, 0);
    EXPECT_TRUE(store.getServerStatus());
}

TEST_F(ServerStatus, ReachesNoTable) {
    status("A", "B", "1");
    EXPECT_EQ(describe(store), "");
}

// --- Automatic messages ---------------------------------------------------------------------------

class AutomaticMessages : public StoreTest {
protected:
    /// Delivers a state record, which tells nobody, and reads the switch.
    template <typename... Text>
    bool enabledAfter(const Text&... texts) {
        EXPECT_EQ(transcriptOfUpdate(13, 1, texts...), "");
        return store.isAutomaticMessageGenerationEnabled();
    }

    RecordingObserver observer;
};

TEST_F(AutomaticMessages, AreOffFromTheStart) {
    EXPECT_FALSE(store.isAutomaticMessageGenerationEnabled());
}

TEST_F(AutomaticMessages, FirstLetterUpperCaseYEnables) {
    store.registerObserver(&observer);
    for (const char* text : {"Y", "Yes", "YES", "Yellow", "Y ", "Y(null)"}) {
        enabledAfter("N");
        EXPECT_TRUE(enabledAfter(text)) << text;
    }
}

TEST_F(AutomaticMessages, AnyOtherFirstLetterDisables) {
    store.registerObserver(&observer);
    for (const char* text : {"N", "y", "1", "yes", " Y", "No", "nY", "(null)x", "(nul", "\xd9"}) {
        enabledAfter("Y");
        EXPECT_FALSE(enabledAfter(text)) << text;
    }
}

TEST_F(AutomaticMessages, UnusableFieldChangesNothing) {
    for (const char* before : {"Y", "N"}) {
        const bool enabled = enabledAfter(before);
        EXPECT_EQ(enabledAfter("(null)", "Y"), enabled);
        EXPECT_EQ(enabledAfter("", "Y"), enabled);
        EXPECT_EQ(enabledAfter(null, "Y"), enabled);
        EXPECT_EQ(enabledAfter(), enabled);
        EXPECT_EQ(enabled, before[0] == 'Y');
    }
}

TEST_F(AutomaticMessages, FieldsAfterTheFirstAreNotUsed) {
    EXPECT_TRUE(enabledAfter("Y", "N", "N"));
    EXPECT_FALSE(enabledAfter("N", "Y", "Y"));
}

TEST_F(AutomaticMessages, RecordNumberOtherThanOneIsIgnored) {
    for (const int elemNo : {2, 0, -1, 13, INT_MAX, INT_MIN}) {
        EXPECT_EQ(transcriptOfUpdate(13, elemNo, "Y"), "") << elemNo;
        EXPECT_FALSE(store.isAutomaticMessageGenerationEnabled()) << elemNo;
    }
}

TEST_F(AutomaticMessages, MissingListIsIgnored) {
    enabledAfter("Y");
    EXPECT_EQ(host.during([&] { store.updatePassengerInformation(1, 13, 1, nullptr); }), "");
    EXPECT_TRUE(store.isAutomaticMessageGenerationEnabled());
}

TEST_F(AutomaticMessages, KeepTheirStateWhenTheServerGoesOffline) {
    update(98, 1, "", "", "1");
    enabledAfter("Y");
    update(98, 1, "", "", "0");
    EXPECT_TRUE(store.isAutomaticMessageGenerationEnabled());
    EXPECT_FALSE(store.getServerStatus());
}

TEST_F(AutomaticMessages, AreIndependentOfTheServerStatus) {
    enabledAfter("Y");
    EXPECT_FALSE(store.getServerStatus());
    enabledAfter("N");
    update(98, 1, "", "", "1");
    EXPECT_FALSE(store.isAutomaticMessageGenerationEnabled());
}

TEST_F(AutomaticMessages, AreNotTouchedByDeletions) {
    enabledAfter("Y");
    store.deletePassengerInformation(13, 1);
    store.deletePassengerInformation(0, 0);
    EXPECT_TRUE(store.isAutomaticMessageGenerationEnabled());
}

TEST_F(AutomaticMessages, AreTakenInAndReadWhileTheLockIsTaken) {
    lockOf(store).enter();
    EXPECT_TRUE(enabledAfter("Y"));
    lockOf(store).leave();
}

TEST_F(AutomaticMessages, RequestsGoOutWithAnEmptyText) {
    EXPECT_EQ(host.during([&] { store.enableAutomaticMessageGeneration(); }), "operation 11\n");
    EXPECT_EQ(host.during([&] { store.disableAutomaticMessageGeneration(); }), "operation 12\n");
}

TEST_F(AutomaticMessages, RequestsLeaveTheSwitchToTheSignallingSide) {
    store.enableAutomaticMessageGeneration();
    EXPECT_FALSE(store.isAutomaticMessageGenerationEnabled());
    enabledAfter("Y");
    store.disableAutomaticMessageGeneration();
    EXPECT_TRUE(store.isAutomaticMessageGenerationEnabled());
}

// --- Small requests and the location retrieval method ---------------------------------------------

class SmallRequests : public StoreTest {};

TEST_F(SmallRequests, PlatformInformationGoesOutUnchanged) {
    host.marksPreparedFields = true;
    EXPECT_EQ(host.during([&] { store.updatePlatformInfo("6,\"Mind the gap\", please \\ "); }),
              "operation 66 6,\"Mind the gap\", please \\ \n");
    EXPECT_EQ(host.during([&] { store.updatePlatformInfo(""); }), "operation 66\n");
}

TEST_F(SmallRequests, TrainStateGoesOutAsTwoNumbers) {
    int trainId = 5;
    int state = 2;
    EXPECT_EQ(host.during([&] { store.updateTrainState(trainId, state); }), "operation 67 5,2\n");
    trainId = INT_MIN;
    state = -1;
    EXPECT_EQ(host.during([&] { store.updateTrainState(trainId, state); }), "operation 67 -2147483648,-1\n");
}

TEST_F(SmallRequests, TrainStateIsOnlyRead) {
    int trainId = 5;
    int state = 2;
    store.updateTrainState(trainId, state);
    EXPECT_EQ(trainId, 5);
    EXPECT_EQ(state, 2);
    EXPECT_EQ(describe(store), "");
}

TEST_F(SmallRequests, GoOutWhileTheLockIsTaken) {
    int trainId = 5;
    int state = 2;
    lockOf(store).enter();
    EXPECT_EQ(host.during([&] {
        store.enableAutomaticMessageGeneration();
        store.disableAutomaticMessageGeneration();
        store.updatePlatformInfo("text");
        store.updateTrainState(trainId, state);
    }),
              "operation 11\noperation 12\noperation 66 text\noperation 67 5,2\n");
    lockOf(store).leave();
}

class LocationRetrieval : public StoreTest {
protected:
    using Store = PassengerInformationServer;

    /// Text of the fault that setting a method throws.
    std::string faultOf(Store::LocationRetrievalMethod method) {
        try {
            store.setLocationRetrievalMethod(method);
        } catch (const std::runtime_error& fault) {
            EXPECT_TRUE(typeid(fault) == typeid(std::runtime_error));
            return fault.what();
        }
        return "nothing thrown";
    }
};

TEST_F(LocationRetrieval, IsBySignalling) {
    EXPECT_EQ(store.getLocationRetrievalMethod(), Store::SIGNALLING);
}

TEST_F(LocationRetrieval, CannotBeSetToAnything) {
    host.clear();
    for (const int method : {0, 1, 2, 3, 42}) {
        EXPECT_EQ(faultOf(static_cast<Store::LocationRetrievalMethod>(method)),
                  "setLocationRetrievalMethod(..) to be implemented");
    }
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(LocationRetrieval, StaysBySignallingAfterAFailedChange) {
    EXPECT_THROW(store.setLocationRetrievalMethod(Store::API_GPS), std::runtime_error);
    EXPECT_EQ(store.getLocationRetrievalMethod(), Store::SIGNALLING);
}

}  // namespace
