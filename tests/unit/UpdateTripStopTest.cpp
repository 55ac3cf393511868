// Trip stop elements (type 7): trip, platform, stopping flag and scheduled offsets. Nobody is told of them.
#include "StoreTest.h"

namespace {

class UpdateTripStop : public StoreTest {
protected:
    UpdateTripStop() { store.registerObserver(&observer); }

    RecordingObserver observer;
};

const char* const kUpdated = "enter\ndebug 2 updateTripStop: tripStopId >7< updated\nleave\n";

TEST_F(UpdateTripStop, AppendsANewTripStopAndTellsNobody) {
    update(7, 5);
    EXPECT_EQ(transcriptOfUpdate(7, 7, "1", "2", "Y", "10", "20"),
              "enter\n"
              "debug 2 updateTripStop: tripStopId >7< added to list. Total TripStops >2<\n"
              "leave\n");
    EXPECT_EQ(describe(store),
              "tripStop 5 \"\" \"\" trip=0 platform=0 stopping=0 arv=0 dep=0\n"
              "tripStop 7 \"\" \"\" trip=1 platform=2 stopping=1 arv=10 dep=20\n");
}

TEST_F(UpdateTripStop, AnEmptyListGivesTheDefaults) {
    update(7, 7);
    EXPECT_EQ(describe(store), "tripStop 7 \"\" \"\" trip=0 platform=0 stopping=0 arv=0 dep=0\n");
}

TEST_F(UpdateTripStop, EachFieldAloneIsAChangeThatIsLoggedAndNothingMore) {
    update(7, 7, "1", "2", "Y", "10", "20");
    EXPECT_EQ(transcriptOfUpdate(7, 7, "3", "2", "Y", "10", "20"), kUpdated);
    EXPECT_EQ(describe(store), "tripStop 7 \"\" \"\" trip=3 platform=2 stopping=1 arv=10 dep=20\n");
    EXPECT_EQ(transcriptOfUpdate(7, 7, "3", "4", "Y", "10", "20"), kUpdated);
    EXPECT_EQ(describe(store), "tripStop 7 \"\" \"\" trip=3 platform=4 stopping=1 arv=10 dep=20\n");
    EXPECT_EQ(transcriptOfUpdate(7, 7, "3", "4", "N", "10", "20"), kUpdated);
    EXPECT_EQ(describe(store), "tripStop 7 \"\" \"\" trip=3 platform=4 stopping=0 arv=10 dep=20\n");
    EXPECT_EQ(transcriptOfUpdate(7, 7, "3", "4", "N", "30", "20"), kUpdated);
    EXPECT_EQ(describe(store), "tripStop 7 \"\" \"\" trip=3 platform=4 stopping=0 arv=30 dep=20\n");
    EXPECT_EQ(transcriptOfUpdate(7, 7, "3", "4", "N", "30", "40"), kUpdated);
    EXPECT_EQ(describe(store), "tripStop 7 \"\" \"\" trip=3 platform=4 stopping=0 arv=30 dep=40\n");
}

TEST_F(UpdateTripStop, AnUnusableFieldFallsBackToItsDefault) {
    update(7, 7, "1", "2", "Y", "10", "20");
    EXPECT_EQ(transcriptOfUpdate(7, 7, null, "2", "Y", "10", "20"), kUpdated);
    EXPECT_EQ(describe(store), "tripStop 7 \"\" \"\" trip=0 platform=2 stopping=1 arv=10 dep=20\n");
    EXPECT_EQ(transcriptOfUpdate(7, 7, "1", "", "Y", "10", "20"), kUpdated);
    EXPECT_EQ(describe(store), "tripStop 7 \"\" \"\" trip=1 platform=0 stopping=1 arv=10 dep=20\n");
    EXPECT_EQ(transcriptOfUpdate(7, 7, "1", "2", "Y", "(null)", "20"), kUpdated);
    EXPECT_EQ(describe(store), "tripStop 7 \"\" \"\" trip=1 platform=2 stopping=1 arv=0 dep=20\n");
    EXPECT_EQ(transcriptOfUpdate(7, 7, "1", "2", "Y", "10"), kUpdated);
    EXPECT_EQ(describe(store), "tripStop 7 \"\" \"\" trip=1 platform=2 stopping=1 arv=10 dep=0\n");
}

TEST_F(UpdateTripStop, OnlyAnUpperCaseYMarksAStop) {
    for (const char* text : {"Y", "Yes"}) {
        update(7, 7, null, null, "N");
        update(7, 7, null, null, text);
        EXPECT_TRUE(tripStopsOf(store)[0].isStopping()) << text;
    }
    for (const char* text : {"N", "y", "1", "", "(null)"}) {
        update(7, 7, null, null, "Y");
        update(7, 7, null, null, text);
        EXPECT_FALSE(tripStopsOf(store)[0].isStopping()) << text;
    }
}

TEST_F(UpdateTripStop, StoresANegativeOffsetAsItsTwosComplement) {
    update(7, 7, null, null, null, "-1", "-2147483648");
    EXPECT_EQ(tripStopsOf(store)[0].getSchArvOffset(), 4294967295UL);
    EXPECT_EQ(tripStopsOf(store)[0].getSchDepOffset(), 2147483648UL);
}

TEST_F(UpdateTripStop, ARepeatedRecordLeavesNoTraceButTheLock) {
    update(7, 7, "1", "2", "Y", "-10", "20");
    EXPECT_EQ(transcriptOfUpdate(7, 7, "1", "2", "Y", "-10", "20"), "enter\nleave\n");
    EXPECT_EQ(describe(store), "tripStop 7 \"\" \"\" trip=1 platform=2 stopping=1 arv=4294967286 dep=20\n");
}

TEST_F(UpdateTripStop, KeepsNameAndAbbreviationAndDoesNotCompareThem) {
    update(7, 7, "1", "2", "Y", "10", "20");
    tripStopsOf(store)[0].setName("Bridge");
    tripStopsOf(store)[0].setAbrv("B");
    EXPECT_EQ(transcriptOfUpdate(7, 7, "1", "2", "Y", "10", "20"), "enter\nleave\n");
    EXPECT_EQ(transcriptOfUpdate(7, 7, "1", "2", "Y", "10", "21"), kUpdated);
    EXPECT_EQ(describe(store), "tripStop 7 \"Bridge\" \"B\" trip=1 platform=2 stopping=1 arv=10 dep=21\n");
}

}  // namespace
