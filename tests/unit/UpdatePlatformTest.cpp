// Platform elements (type 5): station, a field that is stepped over, name and location.
#include "StoreTest.h"

namespace {

class UpdatePlatform : public StoreTest {
protected:
    UpdatePlatform() { store.registerObserver(&observer); }

    static std::string changed(const std::string& platform) {
        return "enter\ndebug 2 PassengerInformationServer::updatePlatform(): platformId >7< updated\n"
               "observer onPlatformInfoUpdated " +
               platform + "\nevent 32 7\nleave\n";
    }

    /// Platform 7 with the defaults of what its state record brings.
    static std::string platform7(const std::string& name, int station, const std::string& location) {
        return "platform 7 \"" + name + "\" \"\" station=" + std::to_string(station) + " location=\"" + location +
               "\" state=0 stateText=\"NO_VEHICLE_SCHEDULED\" passers=\"\"";
    }

    RecordingObserver observer;
};

TEST_F(UpdatePlatform, AppendsANewPlatformWithAnotherFormOfLogTextThanAnUpdate) {
    update(5, 5);
    EXPECT_EQ(transcriptOfUpdate(5, 7, "3", "x", "Track 1", "L1"),
              "enter\n"
              "debug 2 updatePlatform: platformId >7< added to list. Total Platforms >2<\n"
              "observer onPlatformInfoUpdated " +
                  platform7("Track 1", 3, "L1") +
                  "\n"
                  "event 32 7\n"
                  "leave\n");
    EXPECT_EQ(describe(platformsOf(store)[1]), platform7("Track 1", 3, "L1"));
}

TEST_F(UpdatePlatform, AnEmptyListGivesTheDefaults) {
    update(5, 7);
    EXPECT_EQ(describe(store), platform7("Unknown Platform", 0, "") + "\n");
}

TEST_F(UpdatePlatform, EachFieldAloneIsAChange) {
    update(5, 7, "3", "x", "Track 1", "L1");
    EXPECT_EQ(transcriptOfUpdate(5, 7, "4", "x", "Track 1", "L1"), changed(platform7("Track 1", 4, "L1")));
    EXPECT_EQ(transcriptOfUpdate(5, 7, "4", "x", "Track 2", "L1"), changed(platform7("Track 2", 4, "L1")));
    EXPECT_EQ(transcriptOfUpdate(5, 7, "4", "x", "Track 2", "L2"), changed(platform7("Track 2", 4, "L2")));
    EXPECT_EQ(describe(store), platform7("Track 2", 4, "L2") + "\n");
}

TEST_F(UpdatePlatform, AnUnusableFieldFallsBackToItsDefault) {
    update(5, 7, "3", "x", "Track 1", "L1");
    EXPECT_EQ(transcriptOfUpdate(5, 7, "(null)", "x", "Track 1", "L1"), changed(platform7("Track 1", 0, "L1")));
    EXPECT_EQ(transcriptOfUpdate(5, 7, "3", "x", "", "L1"), changed(platform7("Unknown Platform", 3, "L1")));
    EXPECT_EQ(transcriptOfUpdate(5, 7, "3", "x", "Track 1", null), changed(platform7("Track 1", 3, "")));
}

TEST_F(UpdatePlatform, StepsOverFieldTwoWhateverItHolds) {
    update(5, 7, "3", "x", "Track 1", "L1");
    for (const FieldText& second : {FieldText("A1"), FieldText("(null)"), FieldText(""), FieldText(null)}) {
        FieldList list({"3", second, "Track 1", "L1"});
        EXPECT_EQ(host.during([&] { store.updatePassengerInformation(1, 5, 7, list); }), "enter\nevent 32 7\nleave\n");
        EXPECT_EQ(describe(store), platform7("Track 1", 3, "L1") + "\n");
    }
}

TEST_F(UpdatePlatform, TheStationIsReadUpToTheFirstOtherCharacter) {
    update(5, 7, "12abc");
    EXPECT_EQ(platformsOf(store)[0].getStationId(), 12);
    update(5, 7, "abc");
    EXPECT_EQ(platformsOf(store)[0].getStationId(), 0);
}

TEST_F(UpdatePlatform, AnUnusableStationKeepsTheDefault) {
    for (const char* text : {"", "(null)"}) {
        update(5, 7, "12");
        update(5, 7, text);
        EXPECT_EQ(platformsOf(store)[0].getStationId(), 0) << text;
    }
}

TEST_F(UpdatePlatform, AChangeOfTheStationAloneIsLoggedWithTheNameOfTheClass) {
    update(5, 7, "3", "x", "Track 1", "L1");
    EXPECT_EQ(transcriptOfUpdate(5, 7, "4", "x", "Track 1", "L1"),
              "enter\n"
              "debug 2 PassengerInformationServer::updatePlatform(): platformId >7< updated\n"
              "observer onPlatformInfoUpdated " +
                  platform7("Track 1", 4, "L1") +
                  "\n"
                  "event 32 7\n"
                  "leave\n");
}

TEST_F(UpdatePlatform, KeepsStatePassersAndAbbreviationAndShowsThemToTheObservers) {
    update(5, 7, "3", "x", "Track 1", "L1");
    update(11, 7, "5", "Boarding", "8!9");
    platformsOf(store)[0].setAbrv("T1");
    const std::string kept =
        R"(platform 7 "Track 2" "T1" station=4 location="L2" state=5 stateText="Boarding" passers="8!9")";
    EXPECT_EQ(transcriptOfUpdate(5, 7, "4", "x", "Track 2", "L2"), changed(kept));
    EXPECT_EQ(describe(store), kept + "\n");
}

TEST_F(UpdatePlatform, WhatItDoesNotDecodeIsNotCompared) {
    update(5, 7, "3", "x", "Track 1", "L1");
    update(11, 7, "5", "Boarding", "8!9");
    platformsOf(store)[0].setAbrv("T1");
    EXPECT_EQ(transcriptOfUpdate(5, 7, "3", "x", "Track 1", "L1"), "enter\nevent 32 7\nleave\n");
}

TEST_F(UpdatePlatform, TheEventPointsAtThePlatformInTheTable) {
    update(5, 5);
    update(5, 7);
    EXPECT_EQ(host.events().back().record, &platformsOf(store)[1]);
}

}  // namespace
