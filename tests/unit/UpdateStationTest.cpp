// Station elements (type 4): name, abbreviation, major flag and platforms; the closed flag is not theirs.
#include "StoreTest.h"

namespace {

class UpdateStation : public StoreTest {
protected:
    UpdateStation() { store.registerObserver(&observer); }

    static std::string changed(const std::string& station) {
        return "enter\ndebug 2 updateStation: stationId >7< updated\nobserver onStationUpdated " + station +
               "\nevent 30 7\nleave\n";
    }

    RecordingObserver observer;
};

TEST_F(UpdateStation, AppendsANewStation) {
    update(4, 5, "Harbour");
    EXPECT_EQ(transcriptOfUpdate(4, 7, "Central", "C", "Y", "1!2"),
              "enter\n"
              "debug 2 updateStation: stationId >7< added to list. Total Stations >2<\n"
              "observer onStationUpdated station 7 \"Central\" \"C\" major=1 closed=0 platforms=\"1!2\"\n"
              "event 30 7\n"
              "leave\n");
    EXPECT_EQ(describe(store),
              "station 5 \"Harbour\" \"\" major=0 closed=0 platforms=\"\"\n"
              "station 7 \"Central\" \"C\" major=1 closed=0 platforms=\"1!2\"\n");
}

TEST_F(UpdateStation, AnEmptyListGivesTheDefaults) {
    update(4, 7);
    EXPECT_EQ(describe(store), "station 7 \"Unknown Station\" \"\" major=0 closed=0 platforms=\"\"\n");
}

TEST_F(UpdateStation, EachFieldAloneIsAChange) {
    update(4, 7, "Central", "C", "Y", "1!2");
    EXPECT_EQ(transcriptOfUpdate(4, 7, "Centre", "C", "Y", "1!2"),
              changed("station 7 \"Centre\" \"C\" major=1 closed=0 platforms=\"1!2\""));
    EXPECT_EQ(transcriptOfUpdate(4, 7, "Centre", "CE", "Y", "1!2"),
              changed("station 7 \"Centre\" \"CE\" major=1 closed=0 platforms=\"1!2\""));
    EXPECT_EQ(transcriptOfUpdate(4, 7, "Centre", "CE", "N", "1!2"),
              changed("station 7 \"Centre\" \"CE\" major=0 closed=0 platforms=\"1!2\""));
    EXPECT_EQ(transcriptOfUpdate(4, 7, "Centre", "CE", "N", "1"),
              changed("station 7 \"Centre\" \"CE\" major=0 closed=0 platforms=\"1\""));
    EXPECT_EQ(describe(store), "station 7 \"Centre\" \"CE\" major=0 closed=0 platforms=\"1\"\n");
}

TEST_F(UpdateStation, AnUnusableFieldFallsBackToItsDefault) {
    update(4, 7, "Central", "C", "Y", "1!2");
    EXPECT_EQ(transcriptOfUpdate(4, 7, "(null)", "C", "Y", "1!2"),
              changed("station 7 \"Unknown Station\" \"C\" major=1 closed=0 platforms=\"1!2\""));
    EXPECT_EQ(transcriptOfUpdate(4, 7, "Central", "", "Y", "1!2"),
              changed("station 7 \"Central\" \"\" major=1 closed=0 platforms=\"1!2\""));
    EXPECT_EQ(transcriptOfUpdate(4, 7, "Central", "C", null, "1!2"),
              changed("station 7 \"Central\" \"C\" major=0 closed=0 platforms=\"1!2\""));
    EXPECT_EQ(transcriptOfUpdate(4, 7, "Central", "C", "Y", "(null)"),
              changed("station 7 \"Central\" \"C\" major=1 closed=0 platforms=\"\""));
}

TEST_F(UpdateStation, OnlyAnUpperCaseYMakesAMajorStation) {
    for (const char* text : {"Y", "Yes"}) {
        update(4, 7, "Central", "C", text);
        EXPECT_TRUE(stationsOf(store)[0].isMajor()) << text;
        store.deletePassengerInformation(4, 7);
    }
    for (const char* text : {"y", "N", "1", "TRUE"}) {
        update(4, 7, "Central", "C", "Y");
        update(4, 7, "Central", "C", text);
        EXPECT_FALSE(stationsOf(store)[0].isMajor()) << text;
    }
}

TEST_F(UpdateStation, AnUnusableMajorFieldKeepsTheDefault) {
    for (const char* text : {"", "(null)"}) {
        update(4, 7, "Central", "C", "Y");
        update(4, 7, "Central", "C", text);
        EXPECT_FALSE(stationsOf(store)[0].isMajor()) << text;
    }
}

TEST_F(UpdateStation, APlatformsListThatDiffersInBlanksOrOrderIsAChange) {
    update(4, 7, "Central", "C", "Y", "1!2");
    EXPECT_EQ(transcriptOfUpdate(4, 7, "Central", "C", "Y", "2!1"),
              changed("station 7 \"Central\" \"C\" major=1 closed=0 platforms=\"2!1\""));
    EXPECT_EQ(transcriptOfUpdate(4, 7, "Central", "C", "Y", "2! 1"),
              changed("station 7 \"Central\" \"C\" major=1 closed=0 platforms=\"2! 1\""));
}

TEST_F(UpdateStation, AChangeOfTheMajorFlagAloneIsLoggedToldAndPosted) {
    update(4, 7, "Central", "C", "N", "1!2");
    EXPECT_EQ(transcriptOfUpdate(4, 7, "Central", "C", "Y", "1!2"),
              changed("station 7 \"Central\" \"C\" major=1 closed=0 platforms=\"1!2\""));
}

TEST_F(UpdateStation, KeepsTheClosedFlagAndShowsItToTheObservers) {
    update(4, 7, "Central", "C", "Y", "1!2");
    stationsOf(store)[0].setIsClosed(true);
    EXPECT_EQ(transcriptOfUpdate(4, 7, "Centre", "C", "Y", "1!2"),
              changed("station 7 \"Centre\" \"C\" major=1 closed=1 platforms=\"1!2\""));
    EXPECT_EQ(describe(store), "station 7 \"Centre\" \"C\" major=1 closed=1 platforms=\"1!2\"\n");
}

TEST_F(UpdateStation, TheClosedFlagIsNotCompared) {
    update(4, 7, "Central", "C", "Y", "1!2");
    stationsOf(store)[0].setIsClosed(true);
    EXPECT_EQ(transcriptOfUpdate(4, 7, "Central", "C", "Y", "1!2"), "enter\nevent 30 7\nleave\n");
}

TEST_F(UpdateStation, TheEventPointsAtTheStationInTheTable) {
    update(4, 5, "Harbour");
    update(4, 7, "Central");
    EXPECT_EQ(host.events().back().record, &stationsOf(store)[1]);
}

}  // namespace
