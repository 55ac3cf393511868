// Service state elements (type 12): following stops, state and its text of a service.
#include "StoreTest.h"

namespace {

class UpdateServiceState : public StoreTest {
protected:
    UpdateServiceState() { store.registerObserver(&observer); }

    static std::string changed(const std::string& service) {
        return "enter\ndebug 2 updateServiceState: serviceId >7< updated\nobserver onServiceUpdated " + service +
               "\nevent 34 7\nleave\n";
    }

    /// Service 7 with the defaults of what its own record brings.
    static std::string service7(const std::string& following, int state, const std::string& stateText) {
        return "service 7 \"Unknown Service\" \"\" trip=0 start=0 vehicle=0 following=\"" + following +
               "\" state=" + std::to_string(state) + " stateText=\"" + stateText +
               "\" loading=0 destination=0 last=0 line=0 lineOfTripPart=0 serviceStops=0 direction=1 priority=0 "
               "priorityText=\"ALL_STOPS\" stops=\"\"";
    }

    RecordingObserver observer;
};

TEST_F(UpdateServiceState, CreatesAnUnknownServiceWithDefaultsForAllElse) {
    update(12, 5);
    EXPECT_EQ(transcriptOfUpdate(12, 7, "8!9", "1", "Running"),
              "enter\n"
              "debug 2 updateServiceState: serviceId >7< added to list. Total Services >2<\n"
              "observer onServiceUpdated " +
                  service7("8!9", 1, "Running") +
                  "\n"
                  "event 34 7\n"
                  "leave\n");
    EXPECT_EQ(describe(servicesOf(store)[1]), service7("8!9", 1, "Running"));
}

TEST_F(UpdateServiceState, AnEmptyListGivesTheDefaults) {
    update(12, 7);
    EXPECT_EQ(describe(store), service7("", 0, "NOT_STARTED") + "\n");
}

TEST_F(UpdateServiceState, EachFieldAloneIsAChange) {
    update(12, 7, "8!9", "1", "Running");
    EXPECT_EQ(transcriptOfUpdate(12, 7, "9", "1", "Running"), changed(service7("9", 1, "Running")));
    EXPECT_EQ(transcriptOfUpdate(12, 7, "9", "3", "Running"), changed(service7("9", 3, "Running")));
    EXPECT_EQ(transcriptOfUpdate(12, 7, "9", "3", "In station"), changed(service7("9", 3, "In station")));
    EXPECT_EQ(describe(store), service7("9", 3, "In station") + "\n");
}

TEST_F(UpdateServiceState, AnUnusableFieldFallsBackToItsDefault) {
    update(12, 7, "8!9", "1", "Running");
    EXPECT_EQ(transcriptOfUpdate(12, 7, "8!9", "", "Running"), changed(service7("8!9", 0, "Running")));
    EXPECT_EQ(transcriptOfUpdate(12, 7, "8!9", "1", null), changed(service7("8!9", 1, "NOT_STARTED")));
}

TEST_F(UpdateServiceState, StoresACodeWithoutAnEnumeratorAsItComes) {
    update(12, 7, "8!9", "99");
    EXPECT_EQ(static_cast<int>(servicesOf(store)[0].getState()), 99);
}

TEST_F(UpdateServiceState, ANullListOfFollowingStopsSetsTheStateOnly) {
    update(12, 7, "(null)", "4");
    EXPECT_EQ(describe(store), service7("", 4, "NOT_STARTED") + "\n");
}

TEST_F(UpdateServiceState, ANullListOfFollowingStopsOverwritesTheStoredOneWithTheDefault) {
    update(12, 7, "8!9", "4");
    EXPECT_EQ(transcriptOfUpdate(12, 7, "(null)", "4"), changed(service7("", 4, "NOT_STARTED")));
    EXPECT_EQ(describe(store), service7("", 4, "NOT_STARTED") + "\n");
}

TEST_F(UpdateServiceState, NeverDerivesTheTextFromTheCode) {
    update(12, 7, "8!9", "8");
    EXPECT_EQ(describe(store), service7("8!9", 8, "NOT_STARTED") + "\n");
    update(12, 7, "8!9", "8", "RUNNING");
    EXPECT_EQ(describe(store), service7("8!9", 8, "RUNNING") + "\n");
}

TEST_F(UpdateServiceState, RequestsNothingOfTheSignallingServer) {
    EXPECT_EQ(transcriptOfUpdate(12, 7, "8!9", "1", "Running").find("operation"), std::string::npos);
}

TEST_F(UpdateServiceState, ARepeatedRecordOnlyPostsEvent34) {
    update(12, 7, "8!9", "1", "Running");
    EXPECT_EQ(transcriptOfUpdate(12, 7, "8!9", "1", "Running"), "enter\nevent 34 7\nleave\n");
}

TEST_F(UpdateServiceState, KeepsAllElseOfTheServiceAndShowsItToTheObservers) {
    update(6, 1, "Early", "9", "0", "2", "Express", "5!6");
    update(8, 7, "1", "100", "2", "5!6", "1", "3", "1", "9");
    const std::string kept =
        R"(service 7 "Early" "" trip=1 start=100 vehicle=2 following="8!9" state=1 stateText="Running" loading=1 )"
        R"(destination=3 last=1 line=9 lineOfTripPart=0 serviceStops=0 direction=0 priority=2 )"
        R"(priorityText="Express" stops="5!6")";
    EXPECT_EQ(transcriptOfUpdate(12, 7, "8!9", "1", "Running"), changed(kept));
    EXPECT_EQ(describe(servicesOf(store)), kept + "\n");
}

TEST_F(UpdateServiceState, AllElseOfTheServiceIsNotCompared) {
    update(12, 7, "8!9", "1", "Running");
    update(8, 7, "1", "100", "2", "5!6", "1", "3", "1", "9");
    EXPECT_EQ(transcriptOfUpdate(12, 7, "8!9", "1", "Running"), "enter\nevent 34 7\nleave\n");
}

TEST_F(UpdateServiceState, CompletesNothingFromTheTrip) {
    update(6, 1, "Early", "9");
    update(8, 7, "1", "100");
    update(6, 1, "Late", "10");
    update(12, 7, "8!9", "1", "Running");
    EXPECT_EQ(servicesOf(store)[0].getName(), "Early");
    EXPECT_EQ(servicesOf(store)[0].getLineId(), 9);
}

TEST_F(UpdateServiceState, TheEventPointsAtTheServiceInTheTable) {
    update(12, 5);
    update(12, 7);
    EXPECT_EQ(host.events().back().record, &servicesOf(store)[1]);
}

}  // namespace
