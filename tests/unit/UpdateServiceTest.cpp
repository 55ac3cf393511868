// Service elements (type 8): trip, start time, vehicle, stops, loading, destination, last train and line,
// completed from the trip that the service runs.
#include "StoreTest.h"

namespace {

/// Reaches the stops held by a service, which no setter fills.
struct OpenService : Service {
    static std::vector<ServiceStop>& stopsOf(Service& service) { return service.*(&OpenService::_serviceStops); }
};

class UpdateService : public StoreTest {
protected:
    UpdateService() { store.registerObserver(&observer); }

    /// The lock is free while the trip is looked up.
    static std::string changed(const std::string& service) {
        return "enter\ndebug 2 updateService: serviceId >7< updated\nleave\nenter\nleave\nenter\n"
               "observer onServiceUpdated " +
               service + "\nevent 34 7\nleave\n";
    }

    /// Service 7 without a trip in the store.
    static std::string service7(const std::string& run, const std::string& flags, const std::string& stops) {
        return "service 7 \"Unknown Service\" \"\" " + run + " following=\"\" state=0 stateText=\"NOT_STARTED\" " +
               flags + " lineOfTripPart=0 serviceStops=0 direction=1 priority=0 priorityText=\"ALL_STOPS\" stops=\"" +
               stops + "\"";
    }

    const Service& stored() { return servicesOf(store).at(0); }

    RecordingObserver observer;
};

const char* const kUnchanged = "enter\nleave\nenter\nleave\nenter\nevent 34 7\nleave\n";

TEST_F(UpdateService, AppendsANewService) {
    update(8, 5);
    const std::string added = service7("trip=1 start=100 vehicle=2", "loading=1 destination=3 last=1 line=4", "1!2");
    EXPECT_EQ(transcriptOfUpdate(8, 7, "1", "100", "2", "1!2", "1", "3", "1", "4"),
              "enter\n"
              "debug 2 updateService: serviceId >7< added to list. Total Services >2<\n"
              "leave\n"
              "enter\n"
              "leave\n"
              "enter\n"
              "observer onServiceUpdated " +
                  added +
                  "\n"
                  "event 34 7\n"
                  "leave\n");
    EXPECT_EQ(describe(servicesOf(store)[1]), added);
}

TEST_F(UpdateService, AnEmptyListGivesTheDefaults) {
    update(8, 7);
    EXPECT_EQ(describe(store),
              service7("trip=0 start=0 vehicle=0", "loading=0 destination=0 last=0 line=0", "") + "\n");
}

TEST_F(UpdateService, TwoUsableFieldsSetTripAndStartTimeAlone) {
    update(8, 7, "1", "100");
    EXPECT_EQ(describe(store),
              service7("trip=1 start=100 vehicle=0", "loading=0 destination=0 last=0 line=0", "") + "\n");
}

TEST_F(UpdateService, EachFieldAloneIsAChange) {
    update(8, 7, "1", "100", "2", "1!2", "1", "3", "1", "4");
    EXPECT_EQ(transcriptOfUpdate(8, 7, "5", "100", "2", "1!2", "1", "3", "1", "4"),
              changed(service7("trip=5 start=100 vehicle=2", "loading=1 destination=3 last=1 line=4", "1!2")));
    EXPECT_EQ(transcriptOfUpdate(8, 7, "5", "200", "2", "1!2", "1", "3", "1", "4"),
              changed(service7("trip=5 start=200 vehicle=2", "loading=1 destination=3 last=1 line=4", "1!2")));
    EXPECT_EQ(transcriptOfUpdate(8, 7, "5", "200", "6", "1!2", "1", "3", "1", "4"),
              changed(service7("trip=5 start=200 vehicle=6", "loading=1 destination=3 last=1 line=4", "1!2")));
    EXPECT_EQ(transcriptOfUpdate(8, 7, "5", "200", "6", "2!1", "1", "3", "1", "4"),
              changed(service7("trip=5 start=200 vehicle=6", "loading=1 destination=3 last=1 line=4", "2!1")));
    EXPECT_EQ(transcriptOfUpdate(8, 7, "5", "200", "6", "2!1", "0", "3", "1", "4"),
              changed(service7("trip=5 start=200 vehicle=6", "loading=0 destination=3 last=1 line=4", "2!1")));
    EXPECT_EQ(transcriptOfUpdate(8, 7, "5", "200", "6", "2!1", "0", "7", "1", "4"),
              changed(service7("trip=5 start=200 vehicle=6", "loading=0 destination=7 last=1 line=4", "2!1")));
    EXPECT_EQ(transcriptOfUpdate(8, 7, "5", "200", "6", "2!1", "0", "7", "0", "4"),
              changed(service7("trip=5 start=200 vehicle=6", "loading=0 destination=7 last=0 line=4", "2!1")));
    EXPECT_EQ(transcriptOfUpdate(8, 7, "5", "200", "6", "2!1", "0", "7", "0", "8"),
              changed(service7("trip=5 start=200 vehicle=6", "loading=0 destination=7 last=0 line=8", "2!1")));
    EXPECT_EQ(describe(store),
              service7("trip=5 start=200 vehicle=6", "loading=0 destination=7 last=0 line=8", "2!1") + "\n");
}

TEST_F(UpdateService, AnUnusableFieldIsComparedAsItsDefault) {
    update(8, 7, "1", "100", "2", "1!2", "1", "3", "1", "4");
    EXPECT_EQ(transcriptOfUpdate(8, 7, "(null)", "100", "", "1!2", null, "3", "(null)", "4"),
              changed(service7("trip=0 start=100 vehicle=0", "loading=0 destination=3 last=0 line=4", "1!2")));
    EXPECT_EQ(transcriptOfUpdate(8, 7, "1", "", "2", "(null)", "1", null, "1", ""),
              changed(service7("trip=1 start=0 vehicle=2", "loading=1 destination=0 last=1 line=0", "")));
    EXPECT_EQ(transcriptOfUpdate(8, 7, "1", "(null)", "2", "", "1", "(null)", "1", null), kUnchanged);
}

TEST_F(UpdateService, LoadingAndLastTrainAreTrueForTheNumberOne) {
    for (const char* text : {"1", "01", "1abc", "+1", " 1", "1.5"}) {
        update(8, 7);
        update(8, 7, "1", "100", "2", "", text, "3", text);
        EXPECT_TRUE(stored().getIsLoading()) << text;
        EXPECT_TRUE(stored().getIsLastTrain()) << text;
    }
}

TEST_F(UpdateService, LoadingAndLastTrainAreFalseForEveryOtherText) {
    for (const char* text : {"2", "0", "-1", "11", "Y", "Yes", "TRUE", "a1"}) {
        update(8, 7, "1", "100", "2", "", "1", "3", "1");
        update(8, 7, "1", "100", "2", "", text, "3", text);
        EXPECT_FALSE(stored().getIsLoading()) << text;
        EXPECT_FALSE(stored().getIsLastTrain()) << text;
    }
}

TEST_F(UpdateService, TheStartTimeIsUnsigned) {
    update(8, 7, "1", "-1");
    EXPECT_EQ(stored().getStartTime(), 4294967295UL);
    update(8, 7, "1", "4294967295");
    EXPECT_EQ(stored().getStartTime(), 2147483647UL);
}

TEST_F(UpdateService, TheLineIsTheServicesOwn) {
    update(8, 7, "1", null, null, null, null, null, null, "4");
    EXPECT_EQ(stored().getLineId(), 4);
    EXPECT_EQ(stored().Trip::getLineId(), 0);
}

TEST_F(UpdateService, ARepeatedRecordOnlyPostsEvent34) {
    update(8, 7, "1", "100", "2", "1!2", "1", "3", "1", "4");
    EXPECT_EQ(transcriptOfUpdate(8, 7, "1", "100", "2", "1!2", "1", "3", "1", "4"), kUnchanged);
}

TEST_F(UpdateService, KeepsWhatTheListDoesNotCarry) {
    update(8, 7, "1", "100");
    update(12, 7, "8!9", "4", "Boarding");
    Service& service = servicesOf(store)[0];
    service.setName("Night train");
    service.setAbrv("NT");
    service.setDirection(Trip::DESCENDING);
    service.setPriority(Trip::EXPRESS);
    service.setPriorityText("Express");
    service.Trip::setLineId(11);
    OpenService::stopsOf(service).emplace_back(1);
    const std::string kept =
        R"(service 7 "Night train" "NT" trip=1 start=200 vehicle=0 following="8!9" state=4 stateText="Boarding" )"
        R"(loading=0 destination=0 last=0 line=0 lineOfTripPart=11 serviceStops=1 direction=0 priority=2 )"
        R"(priorityText="Express" stops="")";
    EXPECT_EQ(transcriptOfUpdate(8, 7, "1", "200"), changed(kept));
    EXPECT_EQ(describe(store), kept + "\n");
    EXPECT_EQ(transcriptOfUpdate(8, 7, "1", "200"), kUnchanged) << "nor is it compared";
}

TEST_F(UpdateService, TheEventPointsAtTheServiceInTheTable) {
    update(8, 5);
    update(8, 7);
    EXPECT_EQ(host.events().back().record, &servicesOf(store)[1]);
}

// --- Completion from the trip -------------------------------------------------------------------

class CompletedService : public UpdateService {
protected:
    CompletedService() { update(6, 1, "Early", "9", "0", "2", "Express", "5!6"); }

    /// Service 7 on trip 1.
    static std::string completed(int start) {
        return "service 7 \"Early\" \"\" trip=1 start=" + std::to_string(start) +
               " vehicle=2 following=\"\" state=0 stateText=\"NOT_STARTED\" loading=1 destination=3 last=0 line=9 "
               "lineOfTripPart=0 serviceStops=0 direction=0 priority=2 priorityText=\"Express\" stops=\"5!6\"";
    }
};

TEST_F(CompletedService, BearsTheTripsNameLineDirectionPriorityAndStopsWhateverTheListSaid) {
    EXPECT_EQ(transcriptOfUpdate(8, 7, "1", "100", "2", "1!2", "1", "3", "0", "4"),
              "enter\n"
              "debug 2 updateService: serviceId >7< added to list. Total Services >1<\n"
              "leave\n"
              "enter\n"
              "leave\n"
              "enter\n"
              "observer onServiceUpdated " +
                  completed(100) +
                  "\n"
                  "event 34 7\n"
                  "leave\n");
    EXPECT_EQ(describe(servicesOf(store)), completed(100) + "\n");
}

TEST_F(CompletedService, ARepeatedRecordThatAgreesWithTheTripIsUnchangedDespiteTheName) {
    update(8, 7, "1", "100", "2", "5!6", "1", "3", "0", "9");
    EXPECT_EQ(transcriptOfUpdate(8, 7, "1", "100", "2", "5!6", "1", "3", "0", "9"), kUnchanged);
    EXPECT_EQ(describe(servicesOf(store)), completed(100) + "\n");
}

TEST_F(CompletedService, EveryRepetitionIsAChangeWhenTheTripHasAnotherLine) {
    update(8, 7, "1", "100", "2", "5!6", "1", "3", "0", "4");
    for (int repetition = 0; repetition < 3; ++repetition) {
        EXPECT_EQ(transcriptOfUpdate(8, 7, "1", "100", "2", "5!6", "1", "3", "0", "4"), changed(completed(100)));
    }
}

TEST_F(CompletedService, EveryRepetitionIsAChangeWhenTheTripHasOtherStops) {
    update(8, 7, "1", "100", "2", "1!2", "1", "3", "0", "9");
    for (int repetition = 0; repetition < 3; ++repetition) {
        EXPECT_EQ(transcriptOfUpdate(8, 7, "1", "100", "2", "1!2", "1", "3", "0", "9"), changed(completed(100)));
    }
}

TEST_F(CompletedService, TakesOverAChangedTripWithItsOwnNextRecordThoughNobodyIsTold) {
    update(8, 7, "1", "100", "2", "5!6", "1", "3", "0", "9");
    update(6, 1, "Late", "10", "1", "1", "Limited", "6");
    EXPECT_EQ(describe(servicesOf(store)), completed(100) + "\n");
    EXPECT_EQ(transcriptOfUpdate(8, 7, "1", "100", "2", "5!6", "1", "3", "0", "9"), kUnchanged);
    EXPECT_EQ(describe(servicesOf(store)),
              "service 7 \"Late\" \"\" trip=1 start=100 vehicle=2 following=\"\" state=0 stateText=\"NOT_STARTED\" "
              "loading=1 destination=3 last=0 line=10 lineOfTripPart=0 serviceStops=0 direction=1 priority=1 "
              "priorityText=\"Limited\" stops=\"6\"\n");
}

TEST_F(CompletedService, TheLastOfSeveralTripsWithTheIdWins) {
    Trip last(1);
    last.setName("Last");
    tripsOf(store).emplace_back(2);
    tripsOf(store).push_back(last);
    tripsOf(store).emplace_back(3);
    update(8, 7, "1");
    EXPECT_EQ(describe(servicesOf(store)),
              "service 7 \"Last\" \"\" trip=1 start=0 vehicle=0 following=\"\" state=0 stateText=\"NOT_STARTED\" "
              "loading=0 destination=0 last=0 line=0 lineOfTripPart=0 serviceStops=0 direction=1 priority=0 "
              "priorityText=\"ALL_STOPS\" stops=\"\"\n");
}

TEST_F(CompletedService, TakesNeitherTheTripsAbbreviationNorItsIdNorTouchesTheTripPartsLine) {
    tripsOf(store)[0].setAbrv("E");
    update(8, 7, "1");
    EXPECT_EQ(stored().getAbrv(), "");
    EXPECT_EQ(stored().getId(), 7);
    EXPECT_EQ(stored().getLineId(), 9);
    EXPECT_EQ(stored().Trip::getLineId(), 0);
}

TEST_F(CompletedService, ANewServiceOnAnUnknownTripStaysUnknown) {
    update(8, 7, "2", "100", "2", "1!2", "1", "3", "0", "4");
    EXPECT_EQ(describe(servicesOf(store)),
              service7("trip=2 start=100 vehicle=2", "loading=1 destination=3 last=0 line=4", "1!2") + "\n");
}

TEST_F(CompletedService, AKnownServiceThatTurnsToAnUnknownTripKeepsItsName) {
    update(8, 7, "1", "100", "2", "5!6", "1", "3", "0", "9");
    const std::string turned =
        R"(service 7 "Early" "" trip=2 start=100 vehicle=2 following="" state=0 stateText="NOT_STARTED" loading=1 )"
        R"(destination=3 last=0 line=4 lineOfTripPart=0 serviceStops=0 direction=0 priority=2 )"
        R"(priorityText="Express" stops="1!2")";
    EXPECT_EQ(transcriptOfUpdate(8, 7, "2", "100", "2", "1!2", "1", "3", "0", "4"), changed(turned));
    EXPECT_EQ(describe(servicesOf(store)), turned + "\n");
}

TEST_F(CompletedService, KeepsStateAndFollowingStops) {
    update(12, 7, "8!9", "4", "Boarding");
    update(8, 7, "1", "100");
    EXPECT_EQ(describe(servicesOf(store)),
              "service 7 \"Early\" \"\" trip=1 start=100 vehicle=0 following=\"8!9\" state=4 stateText=\"Boarding\" "
              "loading=0 destination=0 last=0 line=9 lineOfTripPart=0 serviceStops=0 direction=0 priority=2 "
              "priorityText=\"Express\" stops=\"5!6\"\n");
}

TEST_F(CompletedService, LeavesTheTripAsItIs) {
    const std::string trips = describe(tripsOf(store));
    update(8, 7, "1", "100", "2", "1!2", "1", "3", "0", "4");
    EXPECT_EQ(describe(tripsOf(store)), trips);
}

}  // namespace
