// Trip elements (type 6): name, line, direction, priority and stops, and the pass over a copy of the
// services that run the trip.
#include "StoreTest.h"

namespace {

class UpdateTrip : public StoreTest {
protected:
    UpdateTrip() { store.registerObserver(&observer); }

    /// The lock is free while the services are copied.
    static std::string changed(const std::string& trip) {
        return "enter\ndebug 2 updateTrip: tripId >7< updated\nleave\nenter\nleave\nenter\nobserver onTripUpdated " +
               trip + "\nevent 36 7\nleave\n";
    }

    RecordingObserver observer;
};

TEST_F(UpdateTrip, AppendsANewTrip) {
    update(6, 5);
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Early", "3", "0", "2", "Express", "1!2"),
              "enter\n"
              "debug 2 updateTrip: tripId >7< added to list. Total Trips >2<\n"
              "leave\n"
              "enter\n"
              "leave\n"
              "enter\n"
              "observer onTripUpdated "
              "trip 7 \"Early\" \"\" line=3 direction=0 priority=2 priorityText=\"Express\" stops=\"1!2\"\n"
              "event 36 7\n"
              "leave\n");
    EXPECT_EQ(describe(tripsOf(store)[1]),
              R"(trip 7 "Early" "" line=3 direction=0 priority=2 priorityText="Express" stops="1!2")");
}

TEST_F(UpdateTrip, AnEmptyListGivesTheDefaults) {
    update(6, 7);
    EXPECT_EQ(describe(store),
              "trip 7 \"Unknown Trip\" \"\" line=0 direction=1 priority=0 "
              "priorityText=\"ALL_STOPS\" stops=\"\"\n");
}

TEST_F(UpdateTrip, EachFieldAloneIsAChange) {
    update(6, 7, "Early", "3", "0", "2", "Express", "1!2");
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Late", "3", "0", "2", "Express", "1!2"),
              changed(R"(trip 7 "Late" "" line=3 direction=0 priority=2 priorityText="Express" stops="1!2")"));
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Late", "4", "0", "2", "Express", "1!2"),
              changed(R"(trip 7 "Late" "" line=4 direction=0 priority=2 priorityText="Express" stops="1!2")"));
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Late", "4", "1", "2", "Express", "1!2"),
              changed(R"(trip 7 "Late" "" line=4 direction=1 priority=2 priorityText="Express" stops="1!2")"));
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Late", "4", "1", "1", "Express", "1!2"),
              changed(R"(trip 7 "Late" "" line=4 direction=1 priority=1 priorityText="Express" stops="1!2")"));
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Late", "4", "1", "1", "Limited", "1!2"),
              changed(R"(trip 7 "Late" "" line=4 direction=1 priority=1 priorityText="Limited" stops="1!2")"));
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Late", "4", "1", "1", "Limited", "2!1"),
              changed(R"(trip 7 "Late" "" line=4 direction=1 priority=1 priorityText="Limited" stops="2!1")"));
    EXPECT_EQ(describe(store),
              "trip 7 \"Late\" \"\" line=4 direction=1 priority=1 priorityText=\"Limited\" stops=\"2!1\"\n");
}

TEST_F(UpdateTrip, AnUnusableFieldFallsBackToItsDefault) {
    update(6, 7, "Early", "3", "0", "2", "Express", "1!2");
    EXPECT_EQ(transcriptOfUpdate(6, 7, null, "3", "0", "2", "Express", "1!2"),
              changed(R"(trip 7 "Unknown Trip" "" line=3 direction=0 priority=2 priorityText="Express" stops="1!2")"));
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Early", "", "0", "2", "Express", "1!2"),
              changed(R"(trip 7 "Early" "" line=0 direction=0 priority=2 priorityText="Express" stops="1!2")"));
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Early", "3", "(null)", "2", "Express", "1!2"),
              changed(R"(trip 7 "Early" "" line=3 direction=1 priority=2 priorityText="Express" stops="1!2")"));
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Early", "3", "0", null, "Express", "1!2"),
              changed(R"(trip 7 "Early" "" line=3 direction=0 priority=0 priorityText="Express" stops="1!2")"));
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Early", "3", "0", "2", "", "1!2"),
              changed(R"(trip 7 "Early" "" line=3 direction=0 priority=2 priorityText="ALL_STOPS" stops="1!2")"));
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Early", "3", "0", "2", "Express", "(null)"),
              changed(R"(trip 7 "Early" "" line=3 direction=0 priority=2 priorityText="Express" stops="")"));
}

TEST_F(UpdateTrip, OnlyTheNumberOneAscends) {
    for (const char* text : {"1", "01", "+1", " 1", "1x"}) {
        update(6, 7, null, null, "0");
        update(6, 7, null, null, text);
        EXPECT_EQ(tripsOf(store)[0].getDirection(), 1) << text;
    }
    for (const char* text : {"0", "2", "-1", "up", "Y", "11"}) {
        update(6, 7, null, null, "1");
        update(6, 7, null, null, text);
        EXPECT_EQ(tripsOf(store)[0].getDirection(), 0) << text;
    }
}

TEST_F(UpdateTrip, AnUnusableDirectionKeepsTheDefault) {
    for (const char* text : {"", "(null)"}) {
        update(6, 7, null, null, "0");
        update(6, 7, null, null, text);
        EXPECT_EQ(tripsOf(store)[0].getDirection(), 1) << text;
    }
}

TEST_F(UpdateTrip, StoresAPriorityWithoutAnEnumeratorAsItComes) {
    update(6, 7, null, null, null, "7");
    EXPECT_EQ(static_cast<int>(tripsOf(store)[0].getPriority()), 7);
    update(6, 7, null, null, null, "-3");
    EXPECT_EQ(static_cast<int>(tripsOf(store)[0].getPriority()), -3);
}

TEST_F(UpdateTrip, NeverDerivesThePriorityTextFromThePriority) {
    update(6, 7, null, null, null, "2");
    EXPECT_EQ(tripsOf(store)[0].getPriorityText(), "ALL_STOPS");
}

TEST_F(UpdateTrip, KeepsTheAbbreviationAndDoesNotCompareIt) {
    update(6, 7, "Early");
    tripsOf(store)[0].setAbrv("E");
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Early"), "enter\nleave\nenter\nleave\nenter\nevent 36 7\nleave\n");
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Late"),
              changed(R"(trip 7 "Late" "E" line=0 direction=1 priority=0 priorityText="ALL_STOPS" stops="")"));
    EXPECT_EQ(tripsOf(store)[0].getAbrv(), "E");
}

TEST_F(UpdateTrip, TheServicesInTheTableThatRunTheTripKeepTheirFormerValues) {
    update(6, 7, "Early", "3", "0", "2", "Express", "1!2");
    update(8, 20, "7", "100");
    update(8, 21, "8", "200");
    const std::string services = describe(servicesOf(store));
    ASSERT_NE(services.find("service 20 \"Early\""), std::string::npos);
    update(6, 7, "Late", "4", "1", "1", "Limited", "3");
    EXPECT_EQ(describe(servicesOf(store)), services);
}

TEST_F(UpdateTrip, NobodyIsToldOfTheServicesThatRunTheTrip) {
    update(6, 7, "Early");
    update(8, 20, "7", "100");
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Late"),
              changed(R"(trip 7 "Late" "" line=0 direction=1 priority=0 priorityText="ALL_STOPS" stops="")"));
    ASSERT_EQ(host.events().size(), 1U);
}

TEST_F(UpdateTrip, OpensTheLockBrieflyAlsoWhenNothingChangedAndNoServiceRunsTheTrip) {
    update(6, 7, "Early");
    EXPECT_EQ(transcriptOfUpdate(6, 7, "Early"), "enter\nleave\nenter\nleave\nenter\nevent 36 7\nleave\n");
}

TEST_F(UpdateTrip, TheEventPointsAtTheTripInTheTable) {
    update(6, 5);
    update(6, 7);
    EXPECT_EQ(host.events().back().record, &tripsOf(store)[1]);
}

}  // namespace
