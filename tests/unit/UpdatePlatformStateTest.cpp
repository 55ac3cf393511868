// Platform state elements (type 11): state, its text and the passers of a platform.
#include "StoreTest.h"

namespace {

class UpdatePlatformState : public StoreTest {
protected:
    UpdatePlatformState() { store.registerObserver(&observer); }

    static std::string changed(const std::string& platform) {
        return "enter\ndebug 2 updatePlatformState: platformId >7< updated\nobserver onPlatformInfoUpdated " +
               platform + "\nevent 32 7\nleave\n";
    }

    /// Platform 7 with the defaults of what its own record brings.
    static std::string platform7(int state, const std::string& stateText, const std::string& passers) {
        return "platform 7 \"Unknown Platform\" \"\" station=0 location=\"\" state=" + std::to_string(state) +
               " stateText=\"" + stateText + "\" passers=\"" + passers + "\"";
    }

    RecordingObserver observer;
};

TEST_F(UpdatePlatformState, CreatesAnUnknownPlatformWithTheDefaultsOfItsDescription) {
    update(11, 5, "1");
    EXPECT_EQ(transcriptOfUpdate(11, 7, "2", "Here", "8!9"),
              "enter\n"
              "debug 2 updatePlatformState: platformId >7< added to list. Total Platforms >2<\n"
              "observer onPlatformInfoUpdated " +
                  platform7(2, "Here", "8!9") +
                  "\n"
                  "event 32 7\n"
                  "leave\n");
    EXPECT_EQ(describe(platformsOf(store)[1]), platform7(2, "Here", "8!9"));
}

TEST_F(UpdatePlatformState, AnEmptyListGivesTheDefaults) {
    update(11, 7);
    EXPECT_EQ(describe(store), platform7(0, "NO_VEHICLE_SCHEDULED", "") + "\n");
}

TEST_F(UpdatePlatformState, EachFieldAloneIsAChange) {
    update(11, 7, "2", "Here", "8!9");
    EXPECT_EQ(transcriptOfUpdate(11, 7, "6", "Here", "8!9"), changed(platform7(6, "Here", "8!9")));
    EXPECT_EQ(transcriptOfUpdate(11, 7, "6", "Leaving", "8!9"), changed(platform7(6, "Leaving", "8!9")));
    EXPECT_EQ(transcriptOfUpdate(11, 7, "6", "Leaving", "9"), changed(platform7(6, "Leaving", "9")));
    EXPECT_EQ(describe(store), platform7(6, "Leaving", "9") + "\n");
}

TEST_F(UpdatePlatformState, AnUnusableFieldFallsBackToItsDefault) {
    update(11, 7, "2", "Here", "8!9");
    EXPECT_EQ(transcriptOfUpdate(11, 7, "(null)", "Here", "8!9"), changed(platform7(0, "Here", "8!9")));
    EXPECT_EQ(transcriptOfUpdate(11, 7, "2", "", "8!9"), changed(platform7(2, "NO_VEHICLE_SCHEDULED", "8!9")));
}

TEST_F(UpdatePlatformState, AnUnusablePassersListReplacesTheStoredOneWithTheDefault) {
    update(11, 7, "2", "Here", "8!9");
    EXPECT_EQ(transcriptOfUpdate(11, 7, "2", "Here", "(null)"), changed(platform7(2, "Here", "")));
    EXPECT_EQ(describe(store), platform7(2, "Here", "") + "\n");
}

TEST_F(UpdatePlatformState, StoresACodeWithoutAnEnumeratorAsItComes) {
    update(11, 7, "9");
    EXPECT_EQ(static_cast<int>(platformsOf(store)[0].getState()), 9);
}

TEST_F(UpdatePlatformState, NeverDerivesTheTextFromTheCode) {
    update(11, 7, "2");
    EXPECT_EQ(describe(store), platform7(2, "NO_VEHICLE_SCHEDULED", "") + "\n");
    update(11, 7, "2", "Departed");
    EXPECT_EQ(describe(store), platform7(2, "Departed", "") + "\n");
}

TEST_F(UpdatePlatformState, ARepeatedRecordOnlyPostsEvent32) {
    update(11, 7, "2", "Here", "8!9");
    EXPECT_EQ(transcriptOfUpdate(11, 7, "2", "Here", "8!9"), "enter\nevent 32 7\nleave\n");
}

TEST_F(UpdatePlatformState, KeepsTheDescriptionAndShowsItToTheObservers) {
    update(5, 7, "3", "x", "Track 1", "L1");
    platformsOf(store)[0].setAbrv("T1");
    const std::string kept =
        R"(platform 7 "Track 1" "T1" station=3 location="L1" state=2 stateText="Here" passers="8!9")";
    EXPECT_EQ(transcriptOfUpdate(11, 7, "2", "Here", "8!9"), changed(kept));
    EXPECT_EQ(describe(store), kept + "\n");
}

TEST_F(UpdatePlatformState, TheDescriptionIsNotCompared) {
    update(11, 7, "2", "Here", "8!9");
    update(5, 7, "3", "x", "Track 1", "L1");
    EXPECT_EQ(transcriptOfUpdate(11, 7, "2", "Here", "8!9"), "enter\nevent 32 7\nleave\n");
}

TEST_F(UpdatePlatformState, TouchesNoOtherTable) {
    update(4, 3, "Central", "C", "Y", "1!2");
    const std::string station = describe(stationsOf(store));
    update(11, 7, "2", "Here", "8!9");
    EXPECT_EQ(describe(store), station + platform7(2, "Here", "8!9") + "\n");
}

TEST_F(UpdatePlatformState, TheEventPointsAtThePlatformInTheTable) {
    update(11, 5);
    update(11, 7);
    EXPECT_EQ(host.events().back().record, &platformsOf(store)[1]);
}

}  // namespace
