// Operations as a signalling server answers them: what comes back as records, what is refused and changes nothing.
#include <algorithm>
#include <random>

#include "FedStore.h"
#include "RecordMirror.h"
#include "SimulationTestSupport.h"
#include "StoreTest.h"
#include "hostStrings.h"
#include "simulator/Positioning.h"

namespace pis::simulator {

namespace {

/// A shuttle whose first train stands at West 1 and boards, and a receiver that hears everything.
class OperationsTest : public ::testing::Test {
protected:
    OperationsTest() {
        simulation.reportWholeState(take);
        simulation.advanceTo(5 * 3600 - 60, take);
        lines.taken();
    }

    /// The report of an operation that must be taken; its records stand in `lines`.
    std::string taken(int operation, const std::string& text) {
        const OperationReport report = simulation.answer(operation, text, take);
        EXPECT_TRUE(report.accepted) << report.text;
        return report.text;
    }

    /// The reason of an operation that must be refused and change nothing.
    std::string refused(int operation, const std::string& text) {
        lines.taken();
        const OperationReport report = simulation.answer(operation, text, take);
        EXPECT_FALSE(report.accepted) << report.text;
        EXPECT_TRUE(lines.taken().empty());
        const std::string front = "operation " + std::to_string(operation) + ": refused: ";
        EXPECT_EQ(report.text.substr(0, front.size()), front);
        return report.text.substr(std::min(front.size(), report.text.size()));
    }

    /// Everything that was told must be everything that there is.
    void expectWholeStateIsKnown() {
        const RecordMirror::Elements before = mirror.elements();
        simulation.reportWholeState([this](const feed::FeedRecord& record) { mirror.take(record); });
        EXPECT_TRUE(before == mirror.elements());
    }

    void advance(int hour, int minute) { simulation.advanceTo((hour * 60 + minute) * 60, take); }

    Simulation simulation{shuttle(), 1};
    RecordMirror mirror;
    Lines lines;
    Simulation::Emit take = [this](const feed::FeedRecord& record) {
        mirror.take(record);
        lines.taker()(record);
    };
};

using Texts = std::vector<std::string>;

}  // namespace

TEST_F(OperationsTest, AnAddedLineComesBackAsALine) {
    EXPECT_EQ(taken(21, "3,North,N"), "operation 21: line 3 added");
    EXPECT_EQ(lines.taken(), Texts{R"({"at":17940,"update":2,"id":3,"fields":["North","N"]})"});
    taken(21, R"(4,"North, \"old\"","back\\slash")");
    EXPECT_EQ(lines.taken(), Texts{R"({"at":17940,"update":2,"id":4,"fields":["North, \"old\"","back\\slash"]})"});
    taken(21, "5,,");
    EXPECT_EQ(lines.taken(), Texts{R"({"at":17940,"update":2,"id":5,"fields":["",""]})"});
    expectWholeStateIsKnown();
}

TEST_F(OperationsTest, ADeletedElementComesBackAsADeletion) {
    EXPECT_EQ(taken(22, "1"), "operation 22: line 1 deleted");
    EXPECT_EQ(lines.taken(), Texts{R"({"at":17940,"delete":2,"id":1})"});
    EXPECT_EQ(taken(43, "2"), "operation 43: station 2 deleted");
    EXPECT_EQ(lines.taken(), Texts{R"({"at":17940,"delete":4,"id":2})"});
    expectWholeStateIsKnown();
}

TEST_F(OperationsTest, AStarOrAnIdBelowOneStandsForAll) {
    EXPECT_EQ(taken(22, "*"), "operation 22: all lines deleted");
    EXPECT_EQ(lines.taken(), Texts{R"({"at":17940,"delete":2,"id":0})"});
    EXPECT_EQ(taken(43, "-1"), "operation 43: all stations deleted");
    EXPECT_EQ(lines.taken(), Texts{R"({"at":17940,"delete":4,"id":0})"});
    EXPECT_EQ(taken(43, "0"), "operation 43: all stations deleted");
    expectWholeStateIsKnown();
}

TEST_F(OperationsTest, TrainsRunOnWithoutTheirLinesAndStations) {
    taken(22, "*");
    taken(43, "*");
    advance(12, 0);
    EXPECT_EQ(mirror.field(10, 1, 2), "1");
    expectWholeStateIsKnown();
}

TEST_F(OperationsTest, AnAddedStationHasThePlatformsThatNameIt) {
    EXPECT_EQ(taken(41, "1,West,W,1"), "operation 41: station 1 added");
    EXPECT_EQ(lines.taken(), Texts{R"({"at":17940,"update":4,"id":1,"fields":["West","W","Y","1!2"]})"});
    taken(41, "9,\"Quay, new\",Q,0");
    EXPECT_EQ(lines.taken(), Texts{R"({"at":17940,"update":4,"id":9,"fields":["Quay, new","Q","N",""]})"});
    expectWholeStateIsKnown();
}

TEST_F(OperationsTest, AnAddedVehicleComesBackWithItsState) {
    EXPECT_EQ(taken(31, "7,2,1"), "operation 31: vehicle 7 added");
    EXPECT_EQ(
        lines.taken(),
        (Texts{
            R"({"at":17940,"update":3,"id":7,"fields":["Vehicle 7","7","1",""]})",
            R"({"at":17940,"update":10,"id":7,"fields":["Y","-","2","SWITCHING_SERVICE","1","0","NONE","0","NONE"]})"}));
    expectWholeStateIsKnown();
}

TEST_F(OperationsTest, AVehicleThatIsAddedAgainKeepsRunning) {
    taken(31, "1,0,0");
    EXPECT_EQ(mirror.field(10, 1, 2), "0");
    advance(5, 2);
    EXPECT_EQ(mirror.field(12, 1, 0), "2!3");
    advance(6, 3);
    EXPECT_EQ(mirror.field(10, 1, 4), "3");
    expectWholeStateIsKnown();
}

TEST_F(OperationsTest, ADeletedVehicleLeavesAClearPlatformAndCancelledServices) {
    ASSERT_EQ(mirror.field(11, 1, 1), "VEHICLE_BOARDING");
    EXPECT_EQ(taken(32, "1"), "operation 32: vehicle 1 deleted");
    EXPECT_EQ(mirror.field(11, 1, 1), "NO_VEHICLE_SCHEDULED");
    EXPECT_EQ(mirror.field(12, 1, 2), "CANCELLED");
    EXPECT_EQ(mirror.field(8, 1, 2), "0");
    EXPECT_TRUE(mirror.idsOfType(3).empty());
    EXPECT_EQ(lines.all().back(), R"({"at":17940,"delete":3,"id":1})");
    expectWholeStateIsKnown();
    advance(8, 10);  // services made known later have no vehicle either
    EXPECT_EQ(mirror.field(12, 7, 2), "CANCELLED");
    EXPECT_EQ(mirror.field(8, 7, 2), "0");
    expectWholeStateIsKnown();
}

TEST_F(OperationsTest, AllVehiclesDeletedAndOneAddedAgainRunsWhatComes) {
    taken(32, "*");
    EXPECT_EQ(lines.all().back(), R"({"at":17940,"delete":3,"id":0})");
    taken(31, "1,0,0");
    advance(8, 1);
    EXPECT_EQ(mirror.field(10, 1, 4), "7");
    expectWholeStateIsKnown();
}

TEST_F(OperationsTest, ADeletedServiceFreesItsVehicleAndItsPlatform) {
    ASSERT_EQ(mirror.field(10, 1, 4), "1");
    EXPECT_EQ(taken(64, "1"), "operation 64: service 1 deleted");
    EXPECT_EQ(mirror.field(11, 1, 1), "NO_VEHICLE_SCHEDULED");
    EXPECT_EQ(mirror.field(10, 1, 3), "OUT_OF_SERVICE");
    EXPECT_EQ(mirror.field(3, 1, 3), "2");
    EXPECT_FALSE(mirror.has(8, 1));
    EXPECT_FALSE(mirror.has(9, 1));
    expectWholeStateIsKnown();
    advance(5, 31);
    EXPECT_EQ(mirror.field(10, 1, 4), "2");  // its vehicle runs the next one
}

// A train at each second of its way: whatever it is about to do, deleting it leaves the railway sound.
TEST(DeletedServices, LeaveARailwayThatRunsOn) {
    for (int time = 5 * 3600 - 245; time < 5 * 3600 + 600; time += 5) {
        Simulation simulation(shuttle(), 1);
        RecordMirror mirror;
        const auto take = [&mirror](const feed::FeedRecord& record) { mirror.take(record); };
        simulation.reportWholeState(take);
        simulation.advanceTo(time, take);
        ASSERT_TRUE(simulation.answer(64, "1", take).accepted) << time;
        const RecordMirror::Elements before = mirror.elements();
        simulation.reportWholeState(take);
        ASSERT_TRUE(before == mirror.elements()) << time;
        for (const int platform : {1, 2, 3, 4, 5}) ASSERT_EQ(mirror.field(11, platform, 0), "0") << time;
        ASSERT_EQ(mirror.field(10, 1, 6), "NONE") << time;
        simulation.advanceTo(5 * 3600 + 32 * 60, take);
        ASSERT_EQ(mirror.field(10, 1, 4), "2") << time;
    }
}

TEST(DeletedServices, LeaveTheBusyRailwaySoundAtAnyTime) {
    Simulation simulation(harbourNetwork(), 3);
    RecordMirror mirror;
    const auto take = [&mirror](const feed::FeedRecord& record) { mirror.take(record); };
    simulation.reportWholeState(take);
    std::size_t deleted = 0;
    for (int time = 5 * 3600; time < 10 * 3600; time += 211) {
        simulation.advanceTo(time, take);
        if (!mirror.online()) continue;
        const std::vector<int> services = mirror.idsOfType(8);
        const std::string chosen = std::to_string(services[static_cast<std::size_t>(time) % services.size()]);
        const int operation = time % 2 == 0 ? 64 : 65;
        ASSERT_TRUE(simulation.answer(operation, operation == 64 ? chosen : chosen + ",8", take).accepted);
        const RecordMirror::Elements before = mirror.elements();
        simulation.reportWholeState(take);
        ASSERT_TRUE(before == mirror.elements()) << time;
        ++deleted;
    }
    EXPECT_GT(deleted, 70U);
    simulation.advanceTo(28 * 3600 - 1, take);
    EXPECT_TRUE(mirror.idsOfType(8).empty());
}

TEST_F(OperationsTest, AllServicesDeletedStayAwayForTheDay) {
    EXPECT_EQ(taken(64, "*"), "operation 64: all services deleted");
    EXPECT_EQ(mirror.field(11, 1, 1), "NO_VEHICLE_SCHEDULED");
    const Texts told = lines.taken();
    ASSERT_GE(told.size(), 2U);
    EXPECT_EQ(told[told.size() - 2], R"({"at":17940,"delete":9,"id":0})");
    EXPECT_EQ(told.back(), R"({"at":17940,"delete":8,"id":0})");
    expectWholeStateIsKnown();
    advance(12, 0);
    EXPECT_TRUE(mirror.idsOfType(8).empty());
    advance(29, 0);
    EXPECT_FALSE(mirror.idsOfType(8).empty());
}

// Trains in all their steps: none stays at a platform, none comes back, and the next day has all of them.
TEST(AllServicesDeleted, LeaveAnEmptyRailwayAtAnyTime) {
    for (int time = 7 * 3600; time < 7 * 3600 + 600; time += 65) {
        Simulation simulation(harbourNetwork(), 3);
        RecordMirror mirror;
        const auto take = [&mirror](const feed::FeedRecord& record) { mirror.take(record); };
        simulation.reportWholeState(take);
        simulation.advanceTo(time, take);
        ASSERT_TRUE(simulation.answer(64, "0", take).accepted);
        const RecordMirror::Elements before = mirror.elements();
        simulation.reportWholeState(take);
        ASSERT_TRUE(before == mirror.elements()) << time;
        EXPECT_TRUE(mirror.idsOfType(8).empty());
        EXPECT_TRUE(mirror.idsOfType(9).empty());
        for (const int platform : mirror.idsOfType(5)) {
            EXPECT_EQ(mirror.field(11, platform, 0), "0") << time;
            EXPECT_EQ(mirror.field(11, platform, 2), "") << time;
        }
        for (const int vehicle : mirror.idsOfType(3)) {
            EXPECT_EQ(mirror.field(3, vehicle, 3), "") << time;
            EXPECT_EQ(mirror.field(10, vehicle, 3), "OUT_OF_SERVICE") << time;
            EXPECT_EQ(mirror.field(10, vehicle, 6), "NONE") << time;
            EXPECT_NE(mirror.field(10, vehicle, 1).find("/DEPOT"), std::string::npos) << time;
        }
        simulation.advanceTo(time + 4 * 3600, take);
        EXPECT_TRUE(mirror.idsOfType(8).empty());
    }
}

TEST_F(OperationsTest, AnAddedServiceRuns) {
    EXPECT_EQ(taken(61, "77,1,18600,1,0,3,1,"), "operation 61: service 77 added");
    EXPECT_EQ(mirror.elements().at({8, 77}), (RecordMirror::Fields{"1", "18600", "1", "1!2!3", "0", "3", "1", "1"}));
    EXPECT_EQ(mirror.list(12, 77, 0).size(), 3U);
    EXPECT_EQ(mirror.field(3, 1, 3), "1!2!77");
    expectWholeStateIsKnown();
    advance(5, 11);
    EXPECT_EQ(mirror.field(10, 1, 4), "77");
    advance(5, 20);
    EXPECT_EQ(mirror.field(12, 77, 2), "TERMINATED");
    expectWholeStateIsKnown();
    advance(5, 50);
    EXPECT_FALSE(mirror.has(8, 77));
}

TEST_F(OperationsTest, AnAddedServiceWithoutAVehicleStaysAndGoes) {
    taken(61, "77,1,18600,0,0,0,0,");
    advance(5, 30);
    EXPECT_EQ(mirror.field(12, 77, 2), "NOT_STARTED");
    advance(5, 40);
    EXPECT_FALSE(mirror.has(8, 77));
    expectWholeStateIsKnown();
}

TEST_F(OperationsTest, AnAddedServiceTakesThePlaceOfOneWithItsNumber) {
    taken(61, "2,2,19000,1,0,1,0,");  // 05:30 was planned, 05:16:40 it is
    EXPECT_EQ(mirror.field(8, 2, 1), "19000");
    EXPECT_EQ(mirror.list(12, 2, 0).size(), 3U);
    EXPECT_EQ(mirror.idsOfType(9).size(), 6U);
    taken(61, "5,1,25000,1,0,1,0,");  // 07:00 is to be made known at 06:00
    advance(6, 1);
    EXPECT_EQ(mirror.field(8, 5, 1), "25000");
    expectWholeStateIsKnown();
}

TEST_F(OperationsTest, AServiceLosesAndGainsStopsBeforeItsStart) {
    ASSERT_EQ(mirror.field(12, 2, 0), "4!5!6");
    EXPECT_EQ(taken(63, "2,5"), "operation 63: service stop 5 deleted");
    EXPECT_EQ(mirror.field(12, 2, 0), "4!6");
    EXPECT_FALSE(mirror.has(9, 5));
    expectWholeStateIsKnown();
    const std::string report = taken(62, "2,2");
    const std::vector<int> stops = mirror.list(12, 2, 0);
    ASSERT_EQ(stops.size(), 3U);
    EXPECT_EQ(report, "operation 62: service stop " + std::to_string(stops[1]) + " added");
    EXPECT_EQ(mirror.field(9, stops[1], 1), "5");
    expectWholeStateIsKnown();
    EXPECT_EQ(refused(62, "2,2"), "service 2 has every stop of its trip");

    EXPECT_EQ(taken(63, "2,*"), "operation 63: all stops of service 2 deleted");
    EXPECT_EQ(mirror.field(12, 2, 0), "");
    expectWholeStateIsKnown();
    advance(5, 27);
    EXPECT_EQ(mirror.field(12, 2, 2), "CANCELLED");  // it has nowhere to go
    expectWholeStateIsKnown();
}

TEST_F(OperationsTest, AServiceThatKeepsItsPassingStopAloneStopsThere) {
    taken(63, "2,4");
    taken(63, "2,6");
    advance(5, 40);
    EXPECT_EQ(mirror.field(12, 2, 2), "TERMINATED");
    EXPECT_EQ(mirror.field(11, 3, 0), "0");
    expectWholeStateIsKnown();
}

TEST_F(OperationsTest, AServiceKeepsItsStopsUntilItsTrainHasLeftTheLastPlatform) {
    advance(5, 6);
    ASSERT_EQ(mirror.field(12, 1, 2), "TERMINATED");
    ASSERT_EQ(mirror.field(11, 4, 1), "VEHICLE_TERMINATED");
    EXPECT_EQ(refused(63, "1,*"), "service 1 is under way");
    EXPECT_EQ(refused(63, "1,3"), "service 1 is under way");
    advance(5, 8);
    EXPECT_EQ(mirror.field(11, 4, 1), "NO_VEHICLE_SCHEDULED");
    taken(63, "1,*");
    expectWholeStateIsKnown();
    advance(6, 8);
    EXPECT_EQ(mirror.field(12, 3, 2), "TERMINATED") << "the next train comes to that platform";
}

TEST_F(OperationsTest, AVehicleWhoseServiceIsCancelledGoesToTheNearestDepot) {
    const auto placeOfOneCancelledAt = [](int seconds) {
        Simulation railway(shuttle(), 1);
        RecordMirror seen;
        const auto see = [&seen](const feed::FeedRecord& record) { seen.take(record); };
        railway.reportWholeState(see);
        railway.advanceTo(5 * 3600 + seconds, see);
        EXPECT_TRUE(railway.answer(65, "1,8", see).accepted);
        return seen.field(10, 1, 1);
    };
    EXPECT_EQ(placeOfOneCancelledAt(-60), "W/DEPOT");  // boarding at West
    EXPECT_EQ(placeOfOneCancelledAt(20), "W/DEPOT");   // on its way to Mid
    EXPECT_EQ(placeOfOneCancelledAt(140), "M/DEPOT");  // at Mid
    EXPECT_EQ(placeOfOneCancelledAt(200), "M/DEPOT");  // on its way to East
}

TEST_F(OperationsTest, AServiceStateIsToldWithItsName) {
    EXPECT_EQ(taken(65, "2,1"), "operation 65: service 2 is RUNNING");
    EXPECT_EQ(lines.taken(), Texts{R"({"at":17940,"update":12,"id":2,"fields":["4!5!6","1","RUNNING"]})"});
    taken(65, "1,7");  // the train runs on whatever is told of it
    EXPECT_EQ(mirror.field(12, 1, 2), "TERMINATED");
    advance(5, 1);
    EXPECT_EQ(mirror.field(12, 1, 2), "RUNNING");
    expectWholeStateIsKnown();
}

TEST_F(OperationsTest, AServiceThatIsCancelledBehindItsPlannedEndStaysForAWhile) {
    taken(61, "77,1,16000,1,0,3,0,");  // it was to end long ago
    taken(65, "77,8");
    simulation.advanceTo(5 * 3600 - 60 + 20 * 60 - 1, take);
    EXPECT_TRUE(mirror.has(8, 77));
    simulation.advanceTo(5 * 3600 - 60 + 20 * 60, take);
    EXPECT_FALSE(mirror.has(8, 77));
}

TEST_F(OperationsTest, ACancelledServiceDoesNotRun) {
    EXPECT_EQ(taken(65, "1,8"), "operation 65: service 1 is CANCELLED");
    EXPECT_EQ(mirror.field(11, 1, 1), "NO_VEHICLE_SCHEDULED");
    EXPECT_EQ(mirror.field(10, 1, 4), "0");
    taken(65, "2,8");
    EXPECT_EQ(mirror.field(11, 5, 2), "");
    expectWholeStateIsKnown();
    advance(5, 40);
    EXPECT_EQ(mirror.field(12, 2, 2), "CANCELLED");
}

TEST_F(OperationsTest, AutomaticMessagesAreSwitched) {
    EXPECT_EQ(taken(12, ""), "operation 12: automatic messages off");
    EXPECT_EQ(lines.taken(), Texts{R"({"at":17940,"update":13,"id":1,"fields":["N"]})"});
    EXPECT_EQ(taken(11, ""), "operation 11: automatic messages on");
    EXPECT_TRUE(mirror.messagesEnabled());
}

TEST_F(OperationsTest, WhatHasNoAnswerIsNoted) {
    EXPECT_EQ(taken(66, "Mind the gap, \"please\""),
              "operation 66: platform information noted: \"Mind the gap, \"please\"\"");
    EXPECT_EQ(taken(67, "12,3"), "operation 67: state 3 of train 12 noted");
    EXPECT_EQ(taken(71, "1,60"), "operation 71: positioning protocol 1, time-out 60 s");
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(OperationsTest, WhatCannotBeUnderstoodIsRefused) {
    EXPECT_EQ(refused(21, ""), "0 fields, expected 3");
    EXPECT_EQ(refused(21, "3,North"), "2 fields, expected 3");
    EXPECT_EQ(refused(21, "3,North,N,"), "4 fields, expected 3");
    EXPECT_EQ(refused(21, "x,North,N"), "field 1 is \"x\", not a number of 32 bits");
    EXPECT_EQ(refused(21, "99999999999,North,N"), "field 1 is \"99999999999\", not a number of 32 bits");
    EXPECT_EQ(refused(21, "0,North,N"), "field 1 is no id: 0");
    EXPECT_EQ(refused(22, "99"), "line 99 is not known");
    EXPECT_EQ(refused(31, "1,3,0"), "vehicle state 3, expected 0 to 2");
    EXPECT_EQ(refused(31, "1,1,99"), "service 99 is not known");
    EXPECT_EQ(refused(32, "9"), "vehicle 9 is not known");
    EXPECT_EQ(refused(41, "1,West,W,2"), "field 4 is 2, not 0 or 1");
    EXPECT_EQ(refused(43, "99"), "station 99 is not known");
    EXPECT_EQ(refused(61, "77,1,18600,1,0,3,1"), "7 fields, expected 8");
    EXPECT_EQ(refused(61, "77,1,18600,1,0,3,1,x"), "something stands behind the last comma");
    EXPECT_EQ(refused(61, "77,9,18600,1,0,3,1,"), "trip 9 is not known");
    EXPECT_EQ(refused(61, "77,1,18600,9,0,3,1,"), "vehicle 9 is not known");
    EXPECT_EQ(refused(61, "77,1,18600,1,0,9,1,"), "station 9 is not known");
    EXPECT_EQ(refused(61, "77,1,200000,1,0,3,1,"), "start 200000, expected 14340 to 100799");
    EXPECT_EQ(refused(61, "77,1,-5,1,0,3,1,"), "start -5, expected 14340 to 100799");
    EXPECT_EQ(refused(61, "1,1,18600,1,0,3,1,"), "service 1 is under way");
    EXPECT_EQ(refused(62, "2,1"), "service 2 runs trip 2, not trip 1");
    EXPECT_EQ(refused(62, "1,1"), "service 1 has started");
    EXPECT_EQ(refused(63, "1,*"), "service 1 is under way");
    EXPECT_EQ(refused(63, "2,1"), "service 2 has no service stop 1");
    EXPECT_EQ(refused(64, "99"), "service 99 is not known");
    EXPECT_EQ(refused(65, "2,9"), "service state 9, expected 0 to 8");
    EXPECT_EQ(refused(65, "2"), "1 fields, expected 2");
    EXPECT_EQ(refused(67, "1"), "1 fields, expected 2");
    EXPECT_EQ(refused(71, "2,60"), "protocol 2, expected 0 or 1");
    EXPECT_EQ(refused(71, "1,29"), "time-out 29 s, expected 30 or more");
    EXPECT_EQ(refused(11, "x"), "takes no text");
    EXPECT_EQ(refused(99, ""), "not known");
    EXPECT_EQ(refused(-1, "x"), "not known");
    EXPECT_EQ(refused(22, std::string("1\0", 2)), "the text holds a zero character");
    expectWholeStateIsKnown();
}

// Whatever operations come in whatever order: the railway runs on, and everything that there is has been told.
TEST(AnyOperations, LeaveARailwayThatIsTold) {
    for (const std::uint32_t seed : {1U, 2U}) {
        Simulation simulation(harbourNetwork(), seed);
        RecordMirror mirror;
        const auto take = [&mirror](const feed::FeedRecord& record) { mirror.take(record); };
        simulation.reportWholeState(take);
        std::mt19937 random(seed);
        const auto below = [&random](unsigned bound) { return static_cast<int>(random() % bound); };
        const auto idOf = [&](int type) {
            const std::vector<int> ids = mirror.idsOfType(type);
            return ids.empty() || below(20) == 0 ? below(400) : ids[random() % ids.size()];
        };
        const auto text = [](auto... numbers) {
            std::string joined;
            ((joined += (joined.empty() ? "" : ",") + std::to_string(numbers)), ...);
            return joined;
        };
        int taken = 0;
        for (int time = 5 * 3600; time < 27 * 3600; time += 60 + below(600)) {
            simulation.advanceTo(time, take);
            if (!mirror.online()) continue;
            const bool all = below(150) == 0;
            std::pair<int, std::string> operation;
            switch (below(11)) {
                case 0: operation = {64, all ? "*" : text(idOf(8))}; break;
                case 1: operation = {65, text(idOf(8), below(10))}; break;
                case 2: operation = {32, all ? "*" : text(idOf(3))}; break;
                case 3: operation = {31, text(below(14), below(4), below(2) == 0 ? 0 : idOf(8))}; break;
                case 4:
                    operation = {
                        61,
                        text(below(400), below(13), time - 1800 + below(5400), below(14), below(2), 0, below(2)) + ","};
                    break;
                case 5: operation = {62, text(idOf(8), below(13))}; break;
                case 6: {
                    const int service = idOf(8);
                    operation = {63, text(service, below(3) == 0 ? 0 : idOf(9))};
                    if (mirror.has(12, service) && below(2) == 0) {
                        const std::vector<int> stops = mirror.list(12, service, 0);
                        if (!stops.empty()) operation.second = text(service, stops[random() % stops.size()]);
                    }
                    break;
                }
                case 7: operation = {22, all ? "*" : text(idOf(2))}; break;
                case 8: operation = {21, text(below(4)) + ",Line,L"}; break;
                case 9: operation = {43, all ? "*" : text(idOf(4))}; break;
                default: operation = {41, text(below(16)) + ",Station,S,1"}; break;
            }
            taken += simulation.answer(operation.first, operation.second, take).accepted ? 1 : 0;
            const RecordMirror::Elements before = mirror.elements();
            simulation.reportWholeState(take);
            ASSERT_TRUE(before == mirror.elements()) << seed << ": " << operation.first << " " << operation.second;
        }
        EXPECT_GT(taken, 50) << seed;
        simulation.advanceTo(28 * 3600 - 1, take);
        for (const int platform : mirror.idsOfType(5)) EXPECT_EQ(mirror.field(11, platform, 0), "0") << platform;
        simulation.advanceTo(28 * 3600 + 8 * 3600, take);
        EXPECT_GT(mirror.idsOfType(8).size(), 10U);
    }
}

// --- With the store's own requests

namespace {

/// The store makes requests, the simulation answers, the store takes the answers in.
class StoreAndSimulation : public StoreTest {
protected:
    StoreAndSimulation() {
        host.setDebugLevel(-1);
        host.notesLock = false;
        simulation.reportWholeState(deliver);
        simulation.advanceTo(5 * 3600 - 60, deliver);
    }

    /// Hands the operations that the requests lead to over, in order. Their reports.
    Texts reportsOf(const std::function<void()>& requests) {
        Texts reports;
        std::string transcript = host.during(requests);
        while (!transcript.empty()) {
            const std::string line = transcript.substr(0, transcript.find('\n'));
            transcript.erase(0, line.size() + 1);
            if (line.rfind("operation ", 0) != 0) continue;
            std::size_t end = 0;
            const int operation = std::stoi(line.substr(10), &end);
            const std::string text = line.size() > 10 + end ? line.substr(10 + end + 1) : "";
            reports.push_back(simulation.answer(operation, text, deliver).text);
        }
        return reports;
    }

    Simulation simulation{shuttle(), 1};
    FedStore fed{store};
    Simulation::Emit deliver = [this](const feed::FeedRecord& record) { fed.accept(record); };
};

}  // namespace

TEST_F(StoreAndSimulation, AgreeOnLinesStationsAndServices) {
    Line line(8);
    line.setName("North");
    line.setAbrv("N");
    EXPECT_EQ(reportsOf([&] { store.setLines({line}); }),
              (Texts{"operation 22: all lines deleted", "operation 21: line 8 added"}));
    ASSERT_EQ(store.getLines().size(), 1U);
    EXPECT_EQ(store.getLines()[0].getName(), "North");

    EXPECT_EQ(reportsOf([&] { store.setStations(store.getStations()); }),
              (Texts{"operation 43: all stations deleted", "operation 41: station 1 added",
                     "operation 41: station 2 added", "operation 41: station 3 added"}));
    ASSERT_EQ(store.getStations().size(), 3U);
    EXPECT_EQ(store.getStations()[0].getListOfPlatforms().size(), 2U);

    const std::vector<Service> services = store.getServices();
    ASSERT_EQ(services.size(), 2U);
    EXPECT_EQ(reportsOf([&] { store.setServices(services); }),
              (Texts{"operation 64: all services deleted", "operation 61: service 1 added",
                     "operation 61: service 2 added"}));
    EXPECT_EQ(store.getServices().size(), 2U);
    EXPECT_EQ(reportsOf([&] { services[1].updateServiceState(Service::CANCELLED); }),
              Texts{"operation 65: service 2 is CANCELLED"});
    EXPECT_EQ(store.getServices()[1].getState(), Service::CANCELLED);

    EXPECT_EQ(reportsOf([&] { store.setVehicles(store.getVehicles()); }),
              (Texts{"operation 32: all vehicles deleted", "operation 31: vehicle 1 added"}));
    EXPECT_EQ(reportsOf([&] { store.disableAutomaticMessageGeneration(); }),
              Texts{"operation 12: automatic messages off"});
    EXPECT_FALSE(store.isAutomaticMessageGenerationEnabled());
    simulation.advanceTo(12 * 3600, deliver);
}

TEST_F(StoreAndSimulation, SayWhetherAPositioningUpdateCameWhole) {
    const auto lastReportOf = [this](const std::string& text) {
        const Texts reports = reportsOf([&] { store.processPositioningUpdate(text); });
        return reports.empty() ? "" : reports.back();
    };
    // Some texts compress without a zero byte, some do not; the simulation must tell which.
    int whole = 0;
    int cut = 0;
    std::mt19937 random(72);
    for (int length = 1; length <= 3000; length += 37) {
        std::string text;
        for (int i = 0; i < length; ++i) text += static_cast<char>('a' + static_cast<int>(random() % 16));
        const std::string report = lastReportOf(text);
        const bool hasZero = host.bytesToEncode.size() < 4 || [&] {
            const PositioningText back =
                inflated(base64_encode(reinterpret_cast<const unsigned char*>(host.bytesToEncode.data()),
                                       static_cast<unsigned int>(host.bytesToEncode.size())));
            EXPECT_TRUE(back.text == text.substr(0, back.text.size()));
            EXPECT_TRUE(!back.whole || back.text == text);
            return !back.whole;
        }();
        const std::string end = ", whole";
        const bool saysWhole = report.size() > end.size() && report.substr(report.size() - end.size()) == end;
        EXPECT_NE(saysWhole, hasZero) << report;
        if (saysWhole) {
            EXPECT_EQ(report, "operation 72: positioning update of " + std::to_string(length) + " bytes, whole");
            ++whole;
        } else {
            EXPECT_NE(report.find(" bytes, cut short on the wire"), std::string::npos) << report;
            ++cut;
        }
    }
    EXPECT_GT(whole, 0);
    EXPECT_GT(cut, 0);
    EXPECT_EQ(reportsOf([&] { store.activatePositioningProtocol(PP_KELT_CBTC, 45); }),
              Texts{"operation 71: positioning protocol 1, time-out 45 s"});
}

}  // namespace pis::simulator
