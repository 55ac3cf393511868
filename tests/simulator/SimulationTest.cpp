// The simulation as such: the same every time, day after day, and its whole state is what was told before.
#include "simulator/Simulation.h"

#include <algorithm>
#include <set>

#include "FedStore.h"
#include "RecordMirror.h"
#include "SimulationTestSupport.h"
#include "StoreTest.h"
#include "feed/StopRecords.h"
#include "records/TableDump.h"
#include "simulator/Traffic.h"

namespace pis::simulator {

namespace {

std::vector<std::string> morningLines(std::uint32_t seed) {
    Simulation simulation(harbourNetwork(), seed);
    Lines lines;
    simulation.reportWholeState(lines.taker());
    simulation.advanceTo(9 * 3600, lines.taker());
    return lines.taken();
}

}  // namespace

TEST(Simulation, IsTheSameForTheSameSeedAndAnotherForAnother) {
    const std::vector<std::string> first = morningLines(7);
    EXPECT_EQ(first, morningLines(7));
    EXPECT_NE(first, morningLines(8));
}

TEST(Simulation, DoesNotDependOnTheSizeOfTheSteps) {
    Simulation simulation(harbourNetwork(), 7);
    Lines lines;
    simulation.reportWholeState(lines.taker());
    while (simulation.nextAt() <= 9 * 3600) {
        const int next = simulation.nextAt();
        simulation.advanceTo(next - 1 < simulation.now() ? next : next - 1, lines.taker());
        simulation.advanceTo(next, lines.taker());
        EXPECT_EQ(simulation.now(), next);
    }
    EXPECT_EQ(lines.all(), morningLines(7));
}

TEST(Simulation, BeginsWithTheDayAndTellsTheTimeOfEachRecord) {
    Simulation simulation(shuttle(), 1);
    EXPECT_EQ(simulation.now(), 4 * 3600);
    EXPECT_EQ(simulation.day(), 0);
    simulation.advanceTo(6 * 3600 + 7,
                         [&](const feed::FeedRecord& record) { EXPECT_EQ(*record.at, simulation.now()); });
    EXPECT_EQ(simulation.now(), 6 * 3600 + 7);
}

TEST(Simulation, SaysEveryMinuteThatItIsThere) {
    Simulation simulation(shuttle(), 1);
    Lines lines;
    simulation.advanceTo(4 * 3600 - 1 + 180, lines.taker());
    EXPECT_EQ(lines.taken(), (std::vector<std::string>{R"({"at":14460,"update":98,"id":1,"fields":["Box","A","1"]})",
                                                       R"({"at":14520,"update":98,"id":1,"fields":["Box","A","1"]})"}));
}

TEST(Simulation, MakesAServiceKnownAheadOfItsStart) {
    Simulation simulation(shuttle(), 1);
    RecordMirror mirror;
    const auto take = [&mirror](const feed::FeedRecord& record) { mirror.take(record); };
    simulation.reportWholeState(take);
    EXPECT_EQ(mirror.idsOfType(8), std::vector<int>{1});  // 05:00 is an hour away
    simulation.advanceTo(4 * 3600 + 30 * 60 - 1, take);
    EXPECT_EQ(mirror.idsOfType(8), std::vector<int>{1});
    simulation.advanceTo(4 * 3600 + 30 * 60, take);
    EXPECT_EQ(mirror.idsOfType(8), (std::vector<int>{1, 2}));
    EXPECT_EQ(mirror.field(3, 1, 3), "1!2");
    EXPECT_EQ(mirror.field(8, 2, 1), std::to_string(5 * 3600 + 30 * 60));
}

TEST(Simulation, RunsATrainFromPlatformToPlatform) {
    Simulation simulation(shuttle(), 1);
    std::vector<std::string> course;
    const auto take = [&course](const feed::FeedRecord& record) {
        if (record.kind != feed::FeedRecord::UPDATE) return;
        const RecordMirror::Fields fields = RecordMirror::fieldsOf(record);
        if (record.type == 12 && record.id == 1) course.push_back(fields[2] + " " + fields[0]);
        if (record.type != 11 || fields[0] == "0") return;
        const std::string platform = std::to_string(record.id) + " " + fields[1];
        // Passers that become known repeat the state.
        if (std::find(course.begin(), course.end(), platform) == course.end()) course.push_back(platform);
    };
    simulation.advanceTo(5 * 3600 + 10 * 60, take);
    EXPECT_EQ(course, (std::vector<std::string>{"APPROACHING_STATION 1!2!3",
                                                "1 VEHICLE_APPROACHING",
                                                "IN_STATION 1!2!3",
                                                "1 VEHICLE_ON_PLATFORM",
                                                "BOARDING 1!2!3",
                                                "1 VEHICLE_BOARDING",
                                                "DEPARTING_STATION 1!2!3",
                                                "1 VEHICLE_DEPARTING",
                                                "DEPARTED_STATION 2!3",
                                                "1 VEHICLE_DEPARTED",
                                                "RUNNING 2!3",  //
                                                "APPROACHING_STATION 2!3",
                                                "3 VEHICLE_APPROACHING",
                                                "IN_STATION 2!3",
                                                "3 VEHICLE_ON_PLATFORM",
                                                "BOARDING 2!3",
                                                "3 VEHICLE_BOARDING",
                                                "DEPARTING_STATION 2!3",
                                                "3 VEHICLE_DEPARTING",
                                                "DEPARTED_STATION 3",
                                                "3 VEHICLE_DEPARTED",
                                                "RUNNING 3",  //
                                                "APPROACHING_STATION 3",
                                                "4 VEHICLE_APPROACHING",
                                                "IN_STATION 3",
                                                "4 VEHICLE_ON_PLATFORM",
                                                "TERMINATED ",
                                                "4 VEHICLE_TERMINATED"}));
}

TEST(Simulation, BeginsTheNextDayWithAWholeStateAndWithoutYesterdaysServices) {
    const std::string late =
        replaced(shuttleText(), R"("from": "05:30", "until": "23:30")", R"("from": "05:50", "until": "27:50")");
    Simulation simulation(parseNetwork(replaced(late, R"("until": "23:00")", R"("until": "27:00")"), "late.json"), 1);
    RecordMirror mirror;
    Lines lines;
    simulation.advanceTo(28 * 3600 - 1, [&](const feed::FeedRecord& record) { mirror.take(record); });
    EXPECT_FALSE(mirror.idsOfType(8).empty()) << "the last service is kept for a while";

    const auto take = [&](const feed::FeedRecord& record) {
        mirror.take(record);
        lines.taker()(record);
    };
    simulation.advanceTo(28 * 3600, take);
    EXPECT_EQ(simulation.now(), 4 * 3600);
    EXPECT_EQ(simulation.day(), 1);
    ASSERT_GT(lines.all().size(), 3U);
    EXPECT_EQ(lines.all()[0], R"({"at":14400,"update":98,"id":1,"fields":["Box","A","1"]})");
    EXPECT_EQ(lines.all()[1], R"({"at":14400,"update":13,"id":1,"fields":["Y"]})");
    EXPECT_EQ(lines.all()[2], R"({"at":14400,"snapshot":"begin"})");
    EXPECT_EQ(lines.all().back(), R"({"at":14400,"snapshot":"end"})");
    EXPECT_EQ(mirror.idsOfType(8), std::vector<int>{1});
}

TEST(Simulation, GoesOnIntoTheNextDayInOneStep) {
    Simulation simulation(shuttle(), 1);
    simulation.advanceTo(28 * 3600 + 24 * 3600 + 3600, nobody);
    EXPECT_EQ(simulation.day(), 2);
    EXPECT_EQ(simulation.now(), 5 * 3600);
}

TEST(Simulation, DelaysDifferFromDayToDay) {
    Simulation simulation(harbourNetwork(), 1);
    Lines first;
    Lines second;
    simulation.advanceTo(8 * 3600, first.taker());
    simulation.advanceTo(28 * 3600, nobody);
    simulation.advanceTo(8 * 3600, second.taker());
    EXPECT_NE(first.all(), second.all());
}

TEST(Simulation, KeepsSilentWhileItsLinkIsLostAndTellsEverythingAfterwards) {
    const std::string text = replaced(shuttleText(), R"("vehicles":)",
                                      R"("incidents": [{"at": "05:01", "link_lost_for": 300}], "vehicles":)");
    Simulation simulation(parseNetwork(text, "lost.json"), 1);
    Lines lines;
    simulation.advanceTo(5 * 3600 + 59, nobody);
    simulation.advanceTo(5 * 3600 + 60 + 299, lines.taker());
    EXPECT_EQ(lines.taken(), std::vector<std::string>{R"({"at":18060,"update":98,"id":1,"fields":["Box","A","0"]})"});
    EXPECT_FALSE(simulation.answer(12, "", nobody).accepted);
    simulation.advanceTo(5 * 3600 + 60 + 300, lines.taker());
    EXPECT_EQ(lines.all().front(), R"({"at":18360,"update":98,"id":1,"fields":["Box","A","1"]})");
    EXPECT_NE(std::find(lines.all().begin(), lines.all().end(), R"({"at":18360,"snapshot":"end"})"), lines.all().end());
}

TEST(Simulation, CancelsARunThereAndBackWhenAVehicleFails) {
    const std::string text = replaced(shuttleText(), R"("vehicles":)",
                                      R"("incidents": [{"at": "06:40", "vehicle_fails": "1"}], "vehicles":)");
    Simulation simulation(parseNetwork(text, "fails.json"), 1);
    RecordMirror mirror;
    const auto take = [&mirror](const feed::FeedRecord& record) { mirror.take(record); };
    simulation.advanceTo(6 * 3600 + 59 * 60, take);
    EXPECT_EQ(mirror.field(12, 5, 2), "CANCELLED");  // 07:00
    EXPECT_EQ(mirror.field(12, 6, 2), "CANCELLED");  // 07:30
    simulation.advanceTo(7 * 3600 + 45 * 60, take);
    EXPECT_EQ(mirror.field(12, 7, 2), "NOT_STARTED");  // 08:00
    simulation.advanceTo(8 * 3600 + 60, take);
    EXPECT_EQ(mirror.field(10, 1, 4), "7");
}

TEST(Simulation, KeepsACancelledServiceAsLongAsOneThatRan) {
    Simulation simulation(shuttle(), 1);
    RecordMirror mirror;
    const auto take = [&mirror](const feed::FeedRecord& record) { mirror.take(record); };
    simulation.reportWholeState(take);
    ASSERT_TRUE(simulation.answer(65, "1,8", take).accepted);  // 05:00 to 05:05:30
    simulation.advanceTo(5 * 3600 + 330 + 20 * 60 - 1, take);
    EXPECT_TRUE(mirror.has(8, 1));
    simulation.advanceTo(5 * 3600 + 330 + 20 * 60, take);
    EXPECT_FALSE(mirror.has(8, 1));
}

TEST(Simulation, KeepsAServiceThatWasMadeKnownAsCancelledAsLong) {
    const std::string text = replaced(shuttleText(), R"("vehicles":)",
                                      R"("incidents": [{"at": "04:10", "vehicle_leaves": "1"}], "vehicles":)");
    Simulation simulation(parseNetwork(text, "leaves.json"), 1);
    RecordMirror mirror;
    const auto take = [&mirror](const feed::FeedRecord& record) { mirror.take(record); };
    simulation.advanceTo(5 * 3600, take);
    EXPECT_EQ(mirror.field(12, 3, 2), "CANCELLED");  // 06:00 to 06:05:30
    simulation.advanceTo(6 * 3600 + 330 + 20 * 60 - 1, take);
    EXPECT_TRUE(mirror.has(8, 3));
    simulation.advanceTo(6 * 3600 + 330 + 20 * 60, take);
    EXPECT_FALSE(mirror.has(8, 3));
}

TEST(Simulation, TellsWhereAVehicleIsOnItsWay) {
    Simulation simulation(shuttle(), 1);
    std::vector<std::string> places;
    simulation.advanceTo(5 * 3600 + 40 * 60, [&places](const feed::FeedRecord& record) {
        if (record.kind != feed::FeedRecord::UPDATE || record.type != 10) return;
        const std::string place = RecordMirror::fieldsOf(record)[1];
        if (places.empty() || places.back() != place) places.push_back(place);
    });
    EXPECT_EQ(places,
              (std::vector<std::string>{"W/DEPOT", "S/W/1", "S/W/1-S/M/1", "S/M/1", "S/M/1-S/E/1", "S/E/1", "E/DEPOT",
                                        "S/E/2", "S/E/2-S/M/1", "S/M/1", "S/M/1-S/W/2", "S/W/2", "W/DEPOT"}));
}

TEST(Simulation, SparesLastTrainsWhereVehiclesFailByChance) {
    const std::string text =
        replaced(shuttleText(), R"("turnaround": 300,)", R"("turnaround": 300, "cancellations": 2,)");
    for (const std::uint32_t seed : {1U, 2U, 3U}) {
        Simulation simulation(parseNetwork(text, "failing.json"), seed);
        std::set<int> cancelled;
        std::set<int> run;
        simulation.advanceTo(28 * 3600 - 1, [&](const feed::FeedRecord& record) {
            if (record.kind != feed::FeedRecord::UPDATE || record.type != 12) return;
            const std::string state = RecordMirror::fieldsOf(record)[2];
            if (state == "CANCELLED") cancelled.insert(record.id);
            if (state == "TERMINATED") run.insert(record.id);
        });
        EXPECT_GT(cancelled.size(), 6U);
        EXPECT_EQ(cancelled.size() + run.size(), 38U);
        EXPECT_EQ(run.count(37) + run.count(38), 2U);
    }
}

TEST(Simulation, CancelsLastTrainsWhereTheFileSaysThatAVehicleFails) {
    const std::string text = replaced(shuttleText(), R"("vehicles":)",
                                      R"("incidents": [{"at": "22:50", "vehicle_fails": "1"}], "vehicles":)");
    Simulation simulation(parseNetwork(text, "fails.json"), 1);
    RecordMirror mirror;
    simulation.advanceTo(22 * 3600 + 50 * 60, [&mirror](const feed::FeedRecord& record) { mirror.take(record); });
    EXPECT_EQ(mirror.field(12, 36, 2), "TERMINATED");
    EXPECT_EQ(mirror.field(12, 37, 2), "CANCELLED");
    EXPECT_EQ(mirror.field(12, 38, 2), "CANCELLED");
}

TEST(Simulation, AVehicleThatHasLeftDoesNotFail) {
    const std::string text = replaced(
        shuttleText(), R"("vehicles":)",
        R"("incidents": [{"at": "04:10", "vehicle_leaves": "1"}, {"at": "04:20", "vehicle_fails": "1"}], "vehicles":)");
    Simulation simulation(parseNetwork(text, "leaves.json"), 1);
    Lines lines;
    simulation.advanceTo(4 * 3600 + 20 * 60 - 1, nobody);
    simulation.advanceTo(4 * 3600 + 20 * 60, lines.taker());
    EXPECT_EQ(lines.all(), std::vector<std::string>{R"({"at":15600,"update":98,"id":1,"fields":["Box","A","1"]})"});
    // Another one in its place runs what comes.
    ASSERT_TRUE(simulation.answer(31, "1,0,0", nobody).accepted);
    RecordMirror mirror;
    simulation.advanceTo(4 * 3600 + 30 * 60, [&mirror](const feed::FeedRecord& record) { mirror.take(record); });
    EXPECT_EQ(mirror.field(12, 2, 2), "NOT_STARTED");
}

// Every departure is held by a door for one to five minutes.
TEST(Simulation, CarriesADelayToTheStopsAheadAndIntoTheNextServiceOfTheVehicle) {
    std::string text = replaced(shuttleText(), R"("turnaround": 300,)", R"("turnaround": 60, "door_trouble": 1,)");
    text = replaced(text, R"("from": "05:30", "until": "23:30")", R"("from": "05:07", "until": "23:07")");
    Simulation simulation(parseNetwork(text, "doors.json"), 1);
    RecordMirror mirror;
    const auto take = [&mirror](const feed::FeedRecord& record) { mirror.take(record); };
    simulation.reportWholeState(take);
    while (mirror.field(12, 1, 0) != "3") simulation.advanceTo(simulation.nextAt(), take);
    const int delay = mirror.number(9, 2, 4);
    EXPECT_GT(delay, Traffic::kTellingDelay);
    EXPECT_EQ(mirror.number(9, 3, 3), delay);
    EXPECT_EQ(mirror.number(9, 3, 4), delay);

    // The vehicle comes to East too late for 05:07.
    while (mirror.field(12, 1, 2) != "TERMINATED") simulation.advanceTo(simulation.nextAt(), take);
    ASSERT_GT(simulation.now(), 5 * 3600 + 7 * 60) << "the seed makes it late";
    EXPECT_GE(mirror.number(9, 4, 4), simulation.now() - (5 * 3600 + 7 * 60));
    EXPECT_EQ(mirror.number(9, 4, 4), mirror.number(9, 5, 3));
    EXPECT_EQ(mirror.field(12, 2, 2), "NOT_STARTED");
    while (mirror.field(12, 2, 2) != "TERMINATED") simulation.advanceTo(simulation.nextAt(), take);
}

TEST(Simulation, MakesServicesKnownAsCancelledWhoseVehicleFailedBefore) {
    std::string text = replaced(shuttleText(), R"("announced": 60,)", R"("announced": 20,)");
    text = replaced(text, R"("vehicles":)", R"("incidents": [{"at": "06:20", "vehicle_fails": "1"}], "vehicles":)");
    Simulation simulation(parseNetwork(text, "fails.json"), 1);
    RecordMirror mirror;
    simulation.advanceTo(7 * 3600 + 10 * 60, [&mirror](const feed::FeedRecord& record) { mirror.take(record); });
    EXPECT_EQ(mirror.field(12, 5, 2), "CANCELLED");    // 07:00, known since 06:40
    EXPECT_EQ(mirror.field(12, 6, 2), "NOT_STARTED");  // 07:30, from where the vehicle stands
}

TEST(Simulation, LateTrainsMakeUpTime) {
    Simulation simulation(harbourNetwork(), 1);
    RecordMirror mirror;  // of the stops that are gone, too
    int most = 0;
    const auto take = [&](const feed::FeedRecord& record) {
        if (record.kind != feed::FeedRecord::DELETION || record.type != 9) return mirror.take(record);
        const int stop = record.id;
        if (!mirror.has(9, stop - 1) || mirror.field(9, stop - 1, 0) != mirror.field(9, stop, 0)) return;
        most = std::max(most, mirror.number(9, stop - 1, 4) - mirror.number(9, stop, 3));
    };
    simulation.reportWholeState(take);
    simulation.advanceTo(28 * 3600 - 1, take);
    EXPECT_EQ(most, 35);
}

TEST(Simulation, TellsDoorsAndWhetherAServiceIsLoading) {
    Simulation simulation(shuttle(), 1);
    RecordMirror mirror;
    const auto take = [&mirror](const feed::FeedRecord& record) { mirror.take(record); };
    simulation.reportWholeState(take);
    const auto doorsIn = [&](const std::string& state) {
        while (mirror.field(12, 1, 2) != state) simulation.advanceTo(simulation.nextAt(), take);
        return mirror.field(10, 1, 6) + " " + mirror.field(10, 1, 8) + " " + mirror.field(8, 1, 4);
    };
    EXPECT_EQ(doorsIn("APPROACHING_STATION"), "SIDE_1 NONE 0");
    EXPECT_EQ(doorsIn("BOARDING"), "SIDE_1 SIDE_1 1");
    EXPECT_EQ(doorsIn("DEPARTING_STATION"), "NONE NONE 1");
    EXPECT_EQ(doorsIn("TERMINATED"), "NONE NONE 0");  // East 1 has no doors
}

TEST(Simulation, AnAddedStopChangesWhoComesFirst) {
    std::string text = replaced(shuttleText(), R"("until": "23:00")", R"("until": "05:00")");
    text = replaced(text, R"("from": "05:30", "until": "23:30")", R"("from": "05:00", "until": "05:00")");
    text = replaced(text, R"({"platform": "W2", "running": 120})", R"({"platform": "E1", "running": 120})");
    text = replaced(
        text, R"("vehicles": [)",
        R"("incidents": [{"at": "04:30", "stop_added": {"pattern": "Westward", "platform": "M1", "dwell": 60}}],
        "vehicles": [{"name": "Tern", "abbreviation": "2", "cars": 2, "depot": "E"}, )");
    Simulation simulation(parseNetwork(text, "added.json"), 1);
    RecordMirror mirror;
    const auto take = [&mirror](const feed::FeedRecord& record) { mirror.take(record); };
    simulation.reportWholeState(take);
    EXPECT_EQ(mirror.field(11, 4, 2), "6!3");  // 05:04:50 and 05:05:30
    simulation.advanceTo(4 * 3600 + 30 * 60, take);
    EXPECT_EQ(mirror.field(11, 4, 2), "3!6");  // 05:05:50 now
}

TEST(Simulation, AddsAStopWhereThePatternPassed) {
    const std::string text = replaced(
        shuttleText(), R"("vehicles":)",
        R"("incidents": [{"at": "06:40", "stop_added": {"pattern": "Westward", "platform": "M1", "dwell": 60}}], "vehicles":)");
    Simulation simulation(parseNetwork(text, "added.json"), 1);
    RecordMirror mirror;
    const auto take = [&mirror](const feed::FeedRecord& record) { mirror.take(record); };
    simulation.reportWholeState(take);
    EXPECT_EQ(mirror.field(7, 5, 2), "N");
    simulation.advanceTo(6 * 3600 + 40 * 60, take);
    EXPECT_EQ(mirror.field(7, 5, 2), "Y");
    EXPECT_EQ(mirror.field(7, 5, 4), "230");
    EXPECT_EQ(mirror.field(7, 6, 3), "350");
    EXPECT_EQ(mirror.field(6, 2, 0), "Westward via Mid");
}

class WholeStateInStore : public StoreTest {};

/// What the stops' own records say: what they took over from their trip stops, a whole state brings up to date.
std::vector<ServiceStop> ownOf(std::vector<ServiceStop> stops) {
    for (ServiceStop& stop : stops) feed::join(stop, TripStop(0));
    return stops;
}

TEST_F(WholeStateInStore, ChangesNothingForWhoHeardEverything) {
    host.setDebugLevel(-1);
    host.notesLock = false;
    Simulation simulation(harbourNetwork(), 5);
    FedStore fed(store);
    const auto deliver = [&fed](const feed::FeedRecord& record) { fed.accept(record); };
    simulation.reportWholeState(deliver);
    for (int time = 5 * 3600; time < 11 * 3600; time += 1777) {
        simulation.advanceTo(time, deliver);
        const std::uint64_t before = records::hashTables(store, ownOf(serviceStopsOf(store)));
        simulation.reportWholeState(deliver);
        ASSERT_EQ(records::hashTables(store, ownOf(serviceStopsOf(store))), before) << "at " << time;
        host.clear();
    }
}

}  // namespace pis::simulator
