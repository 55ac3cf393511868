// Service stop elements (type 9): service, trip stop, start time and delays, completed from the trip stop
// that the service stop realises. Nobody is told of them.
#include "StoreTest.h"

namespace {

class UpdateServiceStop : public StoreTest {
protected:
    UpdateServiceStop() { store.registerObserver(&observer); }

    /// Service stop 7 without a trip stop in the store.
    static std::string stop7(const std::string& live) {
        return "serviceStop 7 \"\" \"\" trip=0 platform=0 stopping=0 arv=0 dep=0 " + live + "\n";
    }

    RecordingObserver observer;
};

// The texts say trip stop and mean service stop. The lock is free while the trip stop is looked up.
const char* const kUpdated =
    "enter\ndebug 2 updateServiceStop: tripStopId >7< updated\nleave\nenter\nleave\nenter\nleave\n";
const char* const kUnchanged = "enter\nleave\nenter\nleave\nenter\nleave\n";

TEST_F(UpdateServiceStop, AppendsANewServiceStopAndTellsNobody) {
    update(9, 5);
    EXPECT_EQ(transcriptOfUpdate(9, 7, "1", "2", "100", "10", "20"),
              "enter\n"
              "debug 2 updateServiceStop: tripStopId >7< added to list. Total TripStops >2<\n"
              "leave\n"
              "enter\n"
              "leave\n"
              "enter\n"
              "leave\n");
    EXPECT_EQ(describe(serviceStopsOf(store)[1]) + "\n",
              stop7("service=1 tripStop=2 start=100 arvDelay=10 depDelay=20"));
}

TEST_F(UpdateServiceStop, TheLoggedTotalCountsServiceStops) {
    update(7, 1);
    update(7, 2);
    update(9, 7);
    const std::string transcript = host.transcript();
    EXPECT_NE(transcript.find("tripStopId >7< added to list. Total TripStops >1<"), std::string::npos) << transcript;
}

TEST_F(UpdateServiceStop, AnEmptyListGivesTheDefaults) {
    update(9, 7);
    EXPECT_EQ(describe(store), stop7("service=0 tripStop=0 start=0 arvDelay=0 depDelay=0"));
}

TEST_F(UpdateServiceStop, EachFieldAloneIsAChangeThatIsLoggedAndNothingMore) {
    update(9, 7, "1", "2", "100", "10", "20");
    EXPECT_EQ(transcriptOfUpdate(9, 7, "3", "2", "100", "10", "20"), kUpdated);
    EXPECT_EQ(describe(store), stop7("service=3 tripStop=2 start=100 arvDelay=10 depDelay=20"));
    EXPECT_EQ(transcriptOfUpdate(9, 7, "3", "4", "100", "10", "20"), kUpdated);
    EXPECT_EQ(describe(store), stop7("service=3 tripStop=4 start=100 arvDelay=10 depDelay=20"));
    EXPECT_EQ(transcriptOfUpdate(9, 7, "3", "4", "200", "10", "20"), kUpdated);
    EXPECT_EQ(describe(store), stop7("service=3 tripStop=4 start=200 arvDelay=10 depDelay=20"));
    EXPECT_EQ(transcriptOfUpdate(9, 7, "3", "4", "200", "30", "20"), kUpdated);
    EXPECT_EQ(describe(store), stop7("service=3 tripStop=4 start=200 arvDelay=30 depDelay=20"));
    EXPECT_EQ(transcriptOfUpdate(9, 7, "3", "4", "200", "30", "40"), kUpdated);
    EXPECT_EQ(describe(store), stop7("service=3 tripStop=4 start=200 arvDelay=30 depDelay=40"));
}

TEST_F(UpdateServiceStop, AChangeOfTheDelaysAloneIsLoggedAndPostsNoEvent) {
    update(9, 7, "1", "2", "100", "10", "20");
    EXPECT_EQ(transcriptOfUpdate(9, 7, "1", "2", "100", "60", "70"), kUpdated);
    EXPECT_TRUE(host.events().empty());
}

TEST_F(UpdateServiceStop, AnUnusableFieldFallsBackToItsDefault) {
    update(9, 7, "1", "2", "100", "10", "20");
    EXPECT_EQ(transcriptOfUpdate(9, 7, null, "2", "100", "", "20"), kUpdated);
    EXPECT_EQ(describe(store), stop7("service=0 tripStop=2 start=100 arvDelay=0 depDelay=20"));
    EXPECT_EQ(transcriptOfUpdate(9, 7, "1", "(null)", "100", "10"), kUpdated);
    EXPECT_EQ(describe(store), stop7("service=1 tripStop=0 start=100 arvDelay=10 depDelay=0"));
}

TEST_F(UpdateServiceStop, AnUnusableStartTimeIsComparedAsItsDefault) {
    update(9, 7, "1", "2", "100", "10", "20");
    EXPECT_EQ(transcriptOfUpdate(9, 7, "1", "2", "(null)", "10", "20"), kUpdated);
    EXPECT_EQ(describe(store), stop7("service=1 tripStop=2 start=0 arvDelay=10 depDelay=20"));
    EXPECT_EQ(transcriptOfUpdate(9, 7, "1", "2", "(null)", "10", "20"), kUnchanged);
}

TEST_F(UpdateServiceStop, StartTimeAndDelaysAreUnsigned) {
    update(9, 7, "1", "2", "-1", "-60", "-2147483648");
    EXPECT_EQ(describe(store), stop7("service=1 tripStop=2 start=4294967295 arvDelay=4294967236 depDelay=2147483648"));
}

TEST_F(UpdateServiceStop, ARepeatedRecordLeavesNoTraceButTheLock) {
    update(9, 7, "1", "2", "100", "-60", "20");
    EXPECT_EQ(transcriptOfUpdate(9, 7, "1", "2", "100", "-60", "20"), kUnchanged);
}

TEST_F(UpdateServiceStop, KeepsNameAndAbbreviationAndDoesNotCompareThem) {
    update(9, 7, "1", "2", "100", "10", "20");
    serviceStopsOf(store)[0].setName("Bridge");
    serviceStopsOf(store)[0].setAbrv("B");
    EXPECT_EQ(transcriptOfUpdate(9, 7, "1", "2", "100", "10", "20"), kUnchanged);
    EXPECT_EQ(transcriptOfUpdate(9, 7, "1", "2", "100", "10", "21"), kUpdated);
    EXPECT_EQ(describe(store),
              "serviceStop 7 \"Bridge\" \"B\" trip=0 platform=0 stopping=0 arv=0 dep=0 service=1 tripStop=2 start=100 "
              "arvDelay=10 depDelay=21\n");
}

TEST_F(UpdateServiceStop, TheServicesOwnListOfStopsIsNotTouched) {
    update(8, 1, "4", "100");
    const std::string services = describe(servicesOf(store));
    update(9, 7, "1", "2", "100", "10", "20");
    update(9, 7, "1", "2", "100", "30", "40");
    EXPECT_EQ(describe(servicesOf(store)), services);
    EXPECT_TRUE(servicesOf(store)[0].getServiceStops().empty());
}

// --- Completion from the trip stop --------------------------------------------------------------

class CompletedServiceStop : public UpdateServiceStop {
protected:
    CompletedServiceStop() { update(7, 2, "40", "50", "Y", "600", "660"); }

    /// Service stop 7 on trip stop 2.
    static std::string completed(const std::string& scheduled) {
        return "serviceStop 7 \"\" \"\" " + scheduled + " service=1 tripStop=2 start=100 arvDelay=10 depDelay=20\n";
    }
};

TEST_F(CompletedServiceStop, BearsTheTripStopsTripPlatformStoppingFlagAndOffsets) {
    update(9, 7, "1", "2", "100", "10", "20");
    EXPECT_EQ(describe(serviceStopsOf(store)), completed("trip=40 platform=50 stopping=1 arv=600 dep=660"));
}

TEST_F(CompletedServiceStop, TakesNeitherNameNorAbbreviation) {
    tripStopsOf(store)[0].setName("Bridge");
    tripStopsOf(store)[0].setAbrv("B");
    update(9, 7, "1", "2", "100", "10", "20");
    EXPECT_EQ(describe(serviceStopsOf(store)), completed("trip=40 platform=50 stopping=1 arv=600 dep=660"));
}

TEST_F(CompletedServiceStop, CompletionIsNotPartOfTheChangeTestButDoneEveryTime) {
    update(9, 7, "1", "2", "100", "10", "20");
    update(7, 2, "41", "51", "N", "-1", "720");
    EXPECT_EQ(describe(serviceStopsOf(store)), completed("trip=40 platform=50 stopping=1 arv=600 dep=660"));
    EXPECT_EQ(transcriptOfUpdate(9, 7, "1", "2", "100", "10", "20"), kUnchanged);
    EXPECT_EQ(describe(serviceStopsOf(store)), completed("trip=41 platform=51 stopping=0 arv=4294967295 dep=720"));
}

TEST_F(CompletedServiceStop, TheLastOfSeveralTripStopsWithTheIdWins) {
    TripStop last(2, 52, false, 1, 2);
    last.setTripId(42);
    tripStopsOf(store).emplace_back(3);
    tripStopsOf(store).push_back(last);
    tripStopsOf(store).emplace_back(4);
    update(9, 7, "1", "2", "100", "10", "20");
    EXPECT_EQ(describe(serviceStopsOf(store)), completed("trip=42 platform=52 stopping=0 arv=1 dep=2"));
}

TEST_F(CompletedServiceStop, AnUnknownTripStopLeavesTheFormerValues) {
    update(9, 7, "1", "2", "100", "10", "20");
    EXPECT_EQ(transcriptOfUpdate(9, 7, "1", "3", "100", "10", "20"), kUpdated);
    EXPECT_EQ(describe(serviceStopsOf(store)),
              "serviceStop 7 \"\" \"\" trip=40 platform=50 stopping=1 arv=600 dep=660 service=1 tripStop=3 start=100 "
              "arvDelay=10 depDelay=20\n");
}

TEST_F(CompletedServiceStop, LeavesTheTripStopAsItIs) {
    const std::string tripStops = describe(tripStopsOf(store));
    update(9, 7, "1", "2", "100", "10", "20");
    EXPECT_EQ(describe(tripStopsOf(store)), tripStops);
}

}  // namespace
