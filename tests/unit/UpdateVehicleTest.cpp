// Vehicle elements (type 3): name, abbreviation, cars and services. Vehicle state elements (type 10):
// direction, location, state, current service and doors of the same vehicles.
#include "StoreTest.h"

namespace {

class VehicleTest : public StoreTest {
protected:
    VehicleTest() { store.registerObserver(&observer); }

    static std::string changedBy(const char* handler, const std::string& vehicle) {
        return std::string("enter\ndebug 2 ") + handler + ": vehicleId >7< updated\nobserver onVehicleUpdated " +
               vehicle + "\nevent 28 7\nleave\n";
    }

    RecordingObserver observer;
};

// --- Vehicle records ----------------------------------------------------------------------------

class UpdateVehicle : public VehicleTest {
protected:
    static std::string changed(const std::string& vehicle) { return changedBy("updateVehicle", vehicle); }

    /// Vehicle 7 with the defaults of what its state record brings.
    static std::string vehicle7(const std::string& names, int cars, const std::string& services) {
        return "vehicle 7 " + names + " cars=" + std::to_string(cars) +
               " location=\"\" direction=1 state=0 stateText=\"OUT_OF_SERVICE\" service=0 opening=3 "
               "openingText=\"BOTH\" opened=0 openedText=\"NONE\" services=\"" +
               services + "\"";
    }
};

TEST_F(UpdateVehicle, AppendsANewVehicleWithTheDefaultsOfItsLiveState) {
    update(3, 5);
    EXPECT_EQ(transcriptOfUpdate(3, 7, "V1", "V", "4", "1!2"),
              "enter\n"
              "debug 2 updateVehicle: vehicleId >7< added to list. Total Vehicles >2<\n"
              "observer onVehicleUpdated " +
                  vehicle7(R"("V1" "V")", 4, "1!2") +
                  "\n"
                  "event 28 7\n"
                  "leave\n");
    EXPECT_EQ(describe(vehiclesOf(store)[1]), vehicle7(R"("V1" "V")", 4, "1!2"));
}

TEST_F(UpdateVehicle, AnEmptyListGivesTheDefaults) {
    update(3, 7);
    EXPECT_EQ(describe(store), vehicle7(R"("Unknown Vehicle" "")", 0, "") + "\n");
}

TEST_F(UpdateVehicle, EachFieldAloneIsAChange) {
    update(3, 7, "V1", "V", "4", "1!2");
    EXPECT_EQ(transcriptOfUpdate(3, 7, "V2", "V", "4", "1!2"), changed(vehicle7(R"("V2" "V")", 4, "1!2")));
    EXPECT_EQ(transcriptOfUpdate(3, 7, "V2", "W", "4", "1!2"), changed(vehicle7(R"("V2" "W")", 4, "1!2")));
    EXPECT_EQ(transcriptOfUpdate(3, 7, "V2", "W", "6", "1!2"), changed(vehicle7(R"("V2" "W")", 6, "1!2")));
    EXPECT_EQ(transcriptOfUpdate(3, 7, "V2", "W", "6", "2!1"), changed(vehicle7(R"("V2" "W")", 6, "2!1")));
    EXPECT_EQ(describe(store), vehicle7(R"("V2" "W")", 6, "2!1") + "\n");
}

TEST_F(UpdateVehicle, AnUnusableFieldFallsBackToItsDefault) {
    update(3, 7, "V1", "V", "4", "1!2");
    EXPECT_EQ(transcriptOfUpdate(3, 7, null, "V", "4", "1!2"), changed(vehicle7(R"("Unknown Vehicle" "V")", 4, "1!2")));
    EXPECT_EQ(transcriptOfUpdate(3, 7, "V1", "", "4", "1!2"), changed(vehicle7(R"("V1" "")", 4, "1!2")));
    EXPECT_EQ(transcriptOfUpdate(3, 7, "V1", "V", "(null)", "1!2"), changed(vehicle7(R"("V1" "V")", 0, "1!2")));
    EXPECT_EQ(transcriptOfUpdate(3, 7, "V1", "V", "4", null), changed(vehicle7(R"("V1" "V")", 4, "")));
}

TEST_F(UpdateVehicle, ACarsFieldWithoutALeadingDigitGivesNoCarsAndMayBeAChange) {
    update(3, 7, "V1", "V", "4", "1!2");
    EXPECT_EQ(transcriptOfUpdate(3, 7, "V1", "V", "four", "1!2"), changed(vehicle7(R"("V1" "V")", 0, "1!2")));
    EXPECT_EQ(transcriptOfUpdate(3, 7, "V1", "V", "x4", "1!2"), "enter\nevent 28 7\nleave\n");
}

TEST_F(UpdateVehicle, ARepeatedRecordOnlyPostsEvent28) {
    update(3, 7, "V1", "V", "4", "1!2");
    EXPECT_EQ(transcriptOfUpdate(3, 7, "V1", "V", "4", "1!2"), "enter\nevent 28 7\nleave\n");
}

TEST_F(UpdateVehicle, KeepsTheLiveStateAndShowsItToTheObservers) {
    update(10, 7, "N", "L1", "1", "Running", "5", "1", "Left", "2", "Right");
    const std::string kept =
        R"(vehicle 7 "V1" "V" cars=4 location="L1" direction=0 state=1 stateText="Running" service=5 )"
        R"(opening=1 openingText="Left" opened=2 openedText="Right" services="1!2")";
    EXPECT_EQ(transcriptOfUpdate(3, 7, "V1", "V", "4", "1!2"), changed(kept));
    EXPECT_EQ(describe(store), kept + "\n");
}

TEST_F(UpdateVehicle, TheLiveStateIsNotCompared) {
    update(3, 7, "V1", "V", "4", "1!2");
    update(10, 7, "N", "L1", "1", "Running", "5", "1", "Left", "2", "Right");
    EXPECT_EQ(transcriptOfUpdate(3, 7, "V1", "V", "4", "1!2"), "enter\nevent 28 7\nleave\n");
}

TEST_F(UpdateVehicle, KeepsTheServicesHeldAsRecords) {
    update(3, 7, "V1");
    servicesOf(vehiclesOf(store)[0]).emplace_back(9);
    update(3, 7, "V2", "V", "4", "1!2");
    ASSERT_EQ(vehiclesOf(store)[0].getServices().size(), 1U);
    EXPECT_EQ(vehiclesOf(store)[0].getServices()[0].getId(), 9);
}

TEST_F(UpdateVehicle, TheEventPointsAtTheVehicleInTheTable) {
    update(3, 5);
    update(3, 7);
    EXPECT_EQ(host.events().back().record, &vehiclesOf(store)[1]);
}

// --- Vehicle state records ----------------------------------------------------------------------

class UpdateVehicleState : public VehicleTest {
protected:
    static std::string changed(const std::string& live) { return changedBy("updateVehicleState", vehicle7(live)); }

    /// Vehicle 7 with the defaults of what its own record brings.
    static std::string vehicle7(const std::string& live) {
        return "vehicle 7 \"Unknown Vehicle\" \"\" cars=0 " + live + " services=\"\"";
    }
};

TEST_F(UpdateVehicleState, CreatesAnUnknownVehicle) {
    update(10, 5);
    const std::string created = vehicle7(R"(location="L1" direction=0 state=1 stateText="Running" service=5 )"
                                         R"(opening=1 openingText="Left" opened=2 openedText="Right")");
    EXPECT_EQ(transcriptOfUpdate(10, 7, "N", "L1", "1", "Running", "5", "1", "Left", "2", "Right"),
              "enter\n"
              "debug 2 updateVehicleState: vehicleId >7< added to list. Total Vehicles >2<\n"
              "observer onVehicleUpdated " +
                  created +
                  "\n"
                  "event 28 7\n"
                  "leave\n");
    EXPECT_EQ(describe(vehiclesOf(store)[1]), created);
}

TEST_F(UpdateVehicleState, AVehicleCreatedByTwoUsableFieldsCarriesTheLiveDefaults) {
    update(10, 7, "N", "L1");
    EXPECT_EQ(describe(store), vehicle7(R"(location="L1" direction=0 state=0 stateText="OUT_OF_SERVICE" service=0 )"
                                        R"(opening=3 openingText="BOTH" opened=0 openedText="NONE")") +
                                   "\n");
}

TEST_F(UpdateVehicleState, AVehicleRecordFillsTheNameLater) {
    update(10, 7, "N", "L1");
    update(3, 7, "V1", "V", "4", "1!2");
    EXPECT_EQ(describe(store),
              "vehicle 7 \"V1\" \"V\" cars=4 location=\"L1\" direction=0 state=0 stateText=\"OUT_OF_SERVICE\" "
              "service=0 opening=3 openingText=\"BOTH\" opened=0 openedText=\"NONE\" services=\"1!2\"\n");
}

TEST_F(UpdateVehicleState, EachFieldAloneIsAChange) {
    update(10, 7, "N", "L1", "1", "Running", "5", "1", "Left", "2", "Right");
    EXPECT_EQ(transcriptOfUpdate(10, 7, "Y", "L1", "1", "Running", "5", "1", "Left", "2", "Right"),
              changed(R"(location="L1" direction=1 state=1 stateText="Running" service=5 )"
                      R"(opening=1 openingText="Left" opened=2 openedText="Right")"));
    EXPECT_EQ(transcriptOfUpdate(10, 7, "Y", "L2", "1", "Running", "5", "1", "Left", "2", "Right"),
              changed(R"(location="L2" direction=1 state=1 stateText="Running" service=5 )"
                      R"(opening=1 openingText="Left" opened=2 openedText="Right")"));
    EXPECT_EQ(transcriptOfUpdate(10, 7, "Y", "L2", "2", "Running", "5", "1", "Left", "2", "Right"),
              changed(R"(location="L2" direction=1 state=2 stateText="Running" service=5 )"
                      R"(opening=1 openingText="Left" opened=2 openedText="Right")"));
    EXPECT_EQ(transcriptOfUpdate(10, 7, "Y", "L2", "2", "Switching", "5", "1", "Left", "2", "Right"),
              changed(R"(location="L2" direction=1 state=2 stateText="Switching" service=5 )"
                      R"(opening=1 openingText="Left" opened=2 openedText="Right")"));
    EXPECT_EQ(transcriptOfUpdate(10, 7, "Y", "L2", "2", "Switching", "6", "1", "Left", "2", "Right"),
              changed(R"(location="L2" direction=1 state=2 stateText="Switching" service=6 )"
                      R"(opening=1 openingText="Left" opened=2 openedText="Right")"));
    EXPECT_EQ(transcriptOfUpdate(10, 7, "Y", "L2", "2", "Switching", "6", "2", "Left", "2", "Right"),
              changed(R"(location="L2" direction=1 state=2 stateText="Switching" service=6 )"
                      R"(opening=2 openingText="Left" opened=2 openedText="Right")"));
    EXPECT_EQ(transcriptOfUpdate(10, 7, "Y", "L2", "2", "Switching", "6", "2", "Sea", "2", "Right"),
              changed(R"(location="L2" direction=1 state=2 stateText="Switching" service=6 )"
                      R"(opening=2 openingText="Sea" opened=2 openedText="Right")"));
    EXPECT_EQ(transcriptOfUpdate(10, 7, "Y", "L2", "2", "Switching", "6", "2", "Sea", "1", "Right"),
              changed(R"(location="L2" direction=1 state=2 stateText="Switching" service=6 )"
                      R"(opening=2 openingText="Sea" opened=1 openedText="Right")"));
    EXPECT_EQ(transcriptOfUpdate(10, 7, "Y", "L2", "2", "Switching", "6", "2", "Sea", "1", "Land"),
              changed(R"(location="L2" direction=1 state=2 stateText="Switching" service=6 )"
                      R"(opening=2 openingText="Sea" opened=1 openedText="Land")"));
    EXPECT_EQ(describe(store), vehicle7(R"(location="L2" direction=1 state=2 stateText="Switching" service=6 )"
                                        R"(opening=2 openingText="Sea" opened=1 openedText="Land")") +
                                   "\n");
}

TEST_F(UpdateVehicleState, AnUnusableFieldFallsBackToItsDefault) {
    update(10, 7, "N", "L1", "1", "Running", "5", "1", "Left", "2", "Right");
    EXPECT_EQ(transcriptOfUpdate(10, 7, "N", null, "1", "", "5", "(null)", "Left", null, "Right"),
              changed(R"(location="" direction=0 state=1 stateText="OUT_OF_SERVICE" service=5 )"
                      R"(opening=3 openingText="Left" opened=0 openedText="Right")"));
    EXPECT_EQ(transcriptOfUpdate(10, 7, "N", "L1", "", "Running", "(null)", "1", null, "2", ""),
              changed(R"(location="L1" direction=0 state=0 stateText="Running" service=0 )"
                      R"(opening=1 openingText="BOTH" opened=2 openedText="NONE")"));
}

TEST_F(UpdateVehicleState, OnlyAnUpperCaseYInFrontAscends) {
    for (const char* text : {"Y", "Yes", "Y1", "Yno"}) {
        update(10, 7, "N");
        update(10, 7, text);
        EXPECT_EQ(vehiclesOf(store)[0].getDirection(), 1) << text;
    }
    for (const char* text : {"y", "yes", "N", "1", "ASCENDING", " Y"}) {
        update(10, 7, "Y");
        update(10, 7, text);
        EXPECT_EQ(vehiclesOf(store)[0].getDirection(), 0) << text;
    }
}

TEST_F(UpdateVehicleState, AnUnusableDirectionIsComparedAsAscending) {
    for (const char* text : {"", "(null)"}) {
        update(10, 7, "N", "L1");
        EXPECT_EQ(transcriptOfUpdate(10, 7, text, "L1"),
                  changed(R"(location="L1" direction=1 state=0 stateText="OUT_OF_SERVICE" service=0 )"
                          R"(opening=3 openingText="BOTH" opened=0 openedText="NONE")"))
            << text;
        EXPECT_EQ(transcriptOfUpdate(10, 7, text, "L1"), "enter\nevent 28 7\nleave\n") << text;
    }
}

TEST_F(UpdateVehicleState, StoresCodesWithoutAnEnumeratorAsTheyCome) {
    update(10, 7, null, null, "9", null, null, "7", null, "-7");
    EXPECT_EQ(describe(store), vehicle7(R"(location="" direction=1 state=9 stateText="OUT_OF_SERVICE" service=0 )"
                                        R"(opening=7 openingText="BOTH" opened=-7 openedText="NONE")") +
                                   "\n");
}

TEST_F(UpdateVehicleState, ACodeAndItsTextMayDisagree) {
    update(10, 7, null, null, "1", "OUT_OF_SERVICE", null, "1", "SIDE_2", "3", "NONE");
    EXPECT_EQ(describe(store), vehicle7(R"(location="" direction=1 state=1 stateText="OUT_OF_SERVICE" service=0 )"
                                        R"(opening=1 openingText="SIDE_2" opened=3 openedText="NONE")") +
                                   "\n");
}

TEST_F(UpdateVehicleState, ARepeatedRecordOnlyPostsEvent28) {
    update(10, 7, "N", "L1", "1", "Running", "5", "1", "Left", "2", "Right");
    EXPECT_EQ(transcriptOfUpdate(10, 7, "N", "L1", "1", "Running", "5", "1", "Left", "2", "Right"),
              "enter\nevent 28 7\nleave\n");
}

TEST_F(UpdateVehicleState, KeepsNameCarsAndServicesAndShowsThemToTheObservers) {
    update(3, 7, "V1", "V", "4", "1!2");
    servicesOf(vehiclesOf(store)[0]).emplace_back(9);
    const std::string kept =
        R"(vehicle 7 "V1" "V" cars=4 location="L1" direction=0 state=1 stateText="Running" service=5 )"
        R"(opening=1 openingText="Left" opened=2 openedText="Right" services="1!2")";
    EXPECT_EQ(transcriptOfUpdate(10, 7, "N", "L1", "1", "Running", "5", "1", "Left", "2", "Right"),
              changedBy("updateVehicleState", kept));
    EXPECT_EQ(describe(store), kept + "\n");
    EXPECT_EQ(vehiclesOf(store)[0].getServices().size(), 1U);
}

TEST_F(UpdateVehicleState, NameCarsAndServicesAreNotCompared) {
    update(10, 7, "N", "L1");
    update(3, 7, "V1", "V", "4", "1!2");
    EXPECT_EQ(transcriptOfUpdate(10, 7, "N", "L1"), "enter\nevent 28 7\nleave\n");
}

TEST_F(UpdateVehicleState, TouchesNoOtherTable) {
    update(5, 7, "3", "x", "Track 1", "L1");
    update(8, 5, "1", "100", "7");
    update(4, 3, "Central");
    const std::string before = describe(stationsOf(store)) + describe(platformsOf(store)) + describe(servicesOf(store));
    update(10, 7, "N", "L1", "1", "Running", "5");
    EXPECT_EQ(describe(stationsOf(store)) + describe(platformsOf(store)) + describe(servicesOf(store)), before);
}

TEST_F(UpdateVehicleState, TheEventPointsAtTheVehicleInTheTable) {
    update(10, 5);
    update(10, 7);
    EXPECT_EQ(host.events().back().record, &vehiclesOf(store)[1]);
}

}  // namespace
