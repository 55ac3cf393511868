// Network files: what is read, and that every fault is named with its place.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <random>

#include "SimulationTestSupport.h"
#include "simulator/Timetable.h"

namespace pis::simulator {

namespace {

std::string faultOf(const std::string& text) {
    try {
        parseNetwork(text, "net.json");
        return "no fault";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

/// The fault of the shuttle with one part replaced.
std::string faultWith(const std::string& part, const std::string& by) {
    return faultOf(replaced(shuttleText(), part, by));
}

std::string faultWithIncident(const std::string& incident) {
    return faultWith(R"("vehicles":)", R"("incidents": [)" + incident + R"(], "vehicles":)");
}

}  // namespace

TEST(NetworkFile, IsReadWithItsReferences) {
    const Network network = shuttle();
    EXPECT_EQ(network.name, "Shuttle");
    EXPECT_EQ(network.signalBox, "Box");
    EXPECT_EQ(network.dayBegins, 14400);
    EXPECT_EQ(network.dayEnds(), 14400 + 86400);
    EXPECT_EQ(network.announced, 3600);
    EXPECT_EQ(network.turnaround, 300);
    EXPECT_EQ(network.doorTrouble, 0);
    ASSERT_EQ(network.stations.size(), 3U);
    EXPECT_TRUE(network.stations[0].major);
    EXPECT_FALSE(network.stations[1].major);
    EXPECT_EQ(network.stations[2].platforms, (std::vector<std::size_t>{3, 4}));
    ASSERT_EQ(network.platforms.size(), 5U);
    EXPECT_EQ(network.platforms[2].doors, ::Vehicle::BOTH);
    EXPECT_EQ(network.platforms[4].station, 2U);
    ASSERT_EQ(network.patterns.size(), 2U);
    const Network::Pattern& westward = network.patterns[1];
    EXPECT_FALSE(westward.ascending);
    EXPECT_EQ(westward.priority, ::Trip::EXPRESS);
    EXPECT_EQ(westward.priorityText, "Fast");
    EXPECT_EQ(network.patterns[0].priorityText, "ALL_STOPS");
    EXPECT_EQ(harbourNetwork().patterns[1].priorityText, "LIMITED_STOPS");
    ASSERT_EQ(westward.calls.size(), 3U);
    EXPECT_EQ(westward.calls[1].running, 170);
    EXPECT_FALSE(westward.calls[1].stopping);
    EXPECT_EQ(westward.headways[0].every, 3600);
}

TEST(NetworkFile, CountsTimesAfterMidnightOn) {
    const std::string text = replaced(shuttleText(), R"("vehicles":)",
                                      R"("incidents": [{"at": "01:30", "link_lost_for": 60}], "vehicles":)");
    EXPECT_EQ(parseNetwork(text, "net.json").incidents[0].at, 25 * 3600 + 1800);
    EXPECT_EQ(clockTimeOf("25:30"), 25 * 3600 + 1800);
    EXPECT_EQ(clockTimeOf("00:00"), 0);
    for (const char* none : {"", "5:30", "05-30", "05:60", "48:00", "05:3x", "+5:30", "05:300", " 5:30"}) {
        EXPECT_FALSE(clockTimeOf(none)) << none;
    }
}

TEST(NetworkFile, NumbersServicesAndAllotsVehicles) {
    const Timetable timetable = timetableOf(shuttle());
    ASSERT_EQ(timetable.services.size(), 38U);
    EXPECT_EQ(timetable.services[0].start, 5 * 3600);
    EXPECT_EQ(timetable.services[1].start, 5 * 3600 + 1800);
    EXPECT_EQ(timetable.services[1].id, 2);
    EXPECT_EQ(timetable.services[1].vehicle, 1);
    EXPECT_EQ(timetable.services[1].firstStop, 4);
    EXPECT_TRUE(timetable.services[37].lastTrain);
    EXPECT_TRUE(timetable.services[36].lastTrain);
    EXPECT_FALSE(timetable.services[35].lastTrain);
    EXPECT_EQ(timetable.railway.tripStops.at(2).departure, 150);
    EXPECT_EQ(timetable.railway.tripStops.at(3).arrival, 330);
}

TEST(NetworkFile, NamesWhatIsNotJson) {
    EXPECT_EQ(faultOf("").substr(0, 40), "net.json: line 1, column 1: is not JSON:");
    EXPECT_EQ(faultOf("{\n  \"name\": x\n}").substr(0, 41), "net.json: line 2, column 11: is not JSON:");
    EXPECT_NE(faultOf("{} {}").find("is not JSON"), std::string::npos);
    EXPECT_NE(faultOf("{\"name\": \"\xff\"}").find("is not JSON"), std::string::npos);
    EXPECT_NE(faultOf(std::string(100'000, '[')).find("is not JSON"), std::string::npos);
    EXPECT_EQ(faultOf("[]"), "net.json: the whole: is a list, expected an object");
    EXPECT_EQ(faultOf("7"), "net.json: the whole: is 7, expected an object");
}

TEST(NetworkFile, NamesKeysThatAreMissingOrNotKnown) {
    EXPECT_EQ(faultWith(R"("name": "Shuttle", )", ""), "net.json: the whole: the key \"name\" is missing");
    EXPECT_EQ(faultWith(R"("cars": 2, )", ""), "net.json: vehicles[0]: the key \"cars\" is missing");
    EXPECT_EQ(faultWith(R"("running": 180)", R"("runing": 180)"),
              "net.json: patterns[0].calls[2]: the key \"runing\" is not known, expected some of platform, running");
    EXPECT_EQ(faultWith(R"({"platform": "W1"})", R"({"platform": "W1", "running": 60})"),
              "net.json: patterns[0].calls[0]: the key \"running\" is not known, expected some of platform");
}

TEST(NetworkFile, NamesValuesOfTheWrongKind) {
    EXPECT_EQ(faultWith(R"("name": "Shuttle")", R"("name": 5)"), "net.json: name: is 5, expected a text");
    EXPECT_EQ(faultWith(R"("name": "Shuttle")", R"("name": "")"), "net.json: name: is empty, expected a text");
    EXPECT_EQ(faultWith(R"("name": "Shuttle")", R"("name": "a\u0000b")"),
              R"(net.json: name: is "a\u0000b", which holds a control character)");
    EXPECT_EQ(faultWith(R"("major": true)", R"("major": "Y")"),
              R"(net.json: stations[0].major: is "Y", expected true or false)");
    EXPECT_EQ(faultWith(R"("turnaround": 300)", R"("turnaround": -1)"),
              "net.json: turnaround: is -1, expected a whole number from 0 to 3600");
    EXPECT_EQ(faultWith(R"("turnaround": 300)", R"("turnaround": 1.5)"),
              "net.json: turnaround: is 1.5E0, expected a whole number from 0 to 3600");
    EXPECT_EQ(faultWith(R"("turnaround": 300)", R"("turnaround": 18446744073709551615)"),
              "net.json: turnaround: is 18446744073709551615, expected a whole number from 0 to 3600");
    EXPECT_EQ(faultWith(R"("day_begins": "04:00")", R"("day_begins": "4 am")"),
              "net.json: day_begins: is \"4 am\", expected a time as \"05:30\"");
    EXPECT_EQ(faultWith(R"([{"name": "Shuttle Line", "abbreviation": "S"}])", "{}"),
              "net.json: lines: is an object, expected a list");
    EXPECT_EQ(faultWith(R"("doors": "both")", R"("doors": "left")"),
              "net.json: stations[1].platforms[0].doors: is \"left\", expected one of "
              "\"none\", \"side 1\", \"side 2\", \"both\"");
    EXPECT_EQ(faultWith(R"("express")", R"("fast")"),
              "net.json: patterns[1].priority: is \"fast\", expected one of \"all stops\", \"limited stops\", "
              "\"express\"");
}

TEST(NetworkFile, NamesReferencesToNothing) {
    EXPECT_EQ(faultWith(R"({"platform": "E1", "running")", R"({"platform": "X1", "running")"),
              "net.json: patterns[0].calls[2].platform: \"X1\" is no platform of this file");
    EXPECT_EQ(faultWith(R"("depot": "W")", R"("depot": "Q")"),
              "net.json: vehicles[0].depot: \"Q\" is no station of this file");
    EXPECT_EQ(faultWith(R"("line": "S", "direction": "descending")", R"("line": "T", "direction": "descending")"),
              "net.json: patterns[1].line: \"T\" is no line of this file");
    EXPECT_EQ(faultWith(R"("abbreviation": "E2")", R"("abbreviation": "E1")"),
              "net.json: stations[2].platforms[1].abbreviation: \"E1\" is there already, expected one platform for "
              "each");
}

TEST(NetworkFile, NamesPatternsThatCannotBe) {
    EXPECT_EQ(
        faultWith(
            R"([{"platform": "W1"}, {"platform": "M1", "running": 120, "dwell": 30}, {"platform": "E1", "running": 180}])",
            R"([{"platform": "W1"}])"),
        "net.json: patterns[0].calls: has 1 of them, expected two or more");
    EXPECT_EQ(faultWith(R"({"platform": "M1", "running": 120, "dwell": 30})",
                        R"({"platform": "W1", "running": 120, "dwell": 30})"),
              "net.json: patterns[0].calls[1]: is the platform that the train comes from");
    EXPECT_EQ(faultWith(R"("stopping": false)", R"("stopping": false, "dwell": 30)"),
              "net.json: patterns[1].calls[1].dwell: does not go with \"stopping\": false");
    EXPECT_EQ(faultWith(R"("until": "23:30")", R"("until": "05:00")"),
              "net.json: patterns[1].headways[0].until: lies before \"from\"");
    EXPECT_EQ(faultWith(R"("until": "23:30")", R"("until": "28:00")"),
              "net.json: patterns[1].headways[0].until: lies beyond the end of the operating day");
    EXPECT_EQ(faultWith(R"("until": "23:30", "every": 60)", R"("until": "23:30", "every": 0)"),
              "net.json: patterns[1].headways[0].every: is 0, expected a whole number from 1 to 1440");
}

TEST(NetworkFile, NamesATimetableThatItsFleetCannotRun) {
    EXPECT_EQ(faultWith(R"("from": "05:30")", R"("from": "04:30")"),
              "net.json: patterns[1].headways: no vehicle is at East for the service at 04:30, 300 s after its last "
              "one: more vehicles are needed there, or longer headways");
    EXPECT_EQ(faultWith(R"("turnaround": 300)", R"("turnaround": 1471)"),
              "net.json: patterns[1].headways: no vehicle is at East for the service at 05:30, 1471 s after its last "
              "one: more vehicles are needed there, or longer headways");
    EXPECT_EQ(faultWith(R"("from": "05:30", "until": "23:30")", R"("from": "05:57", "until": "27:57")"),
              "net.json: patterns[1].headways: the service at 27:57 arrives after the end of the day, 28:00");
    std::string headways;
    for (int i = 0; i < 70; ++i) headways += R"({"from": "05:00", "until": "23:00", "every": 1}, )";
    EXPECT_EQ(faultWith(R"("headways": [)", R"("headways": [)" + headways),
              "net.json: patterns[0].headways: more than 200000 stops of services in a day");
}

TEST(NetworkFile, NamesIncidentsThatCannotBe) {
    EXPECT_EQ(faultWithIncident(R"({"at": "07:00"})"),
              "net.json: incidents[0]: expected \"at\" and one of automatic_messages, vehicle_fails, vehicle_leaves, "
              "link_lost_for, stop_added");
    EXPECT_EQ(faultWithIncident(R"({"at": "07:00", "vehicle_fails": "1", "link_lost_for": 60})").substr(0, 23),
              "net.json: incidents[0]:");
    EXPECT_EQ(faultWithIncident(R"({"at": "07:00", "vehicle_fails": "2"})"),
              "net.json: incidents[0].vehicle_fails: \"2\" is no vehicle of this file");
    EXPECT_EQ(faultWithIncident(R"({"at": "07:00", "link_lost_for": 0})"),
              "net.json: incidents[0].link_lost_for: is 0, expected a whole number from 1 to 3600");
    EXPECT_EQ(
        faultWithIncident(R"({"at": "07:00", "stop_added": {"pattern": "Eastward", "platform": "M1", "dwell": 60}})"),
        "net.json: incidents[0].stop_added.platform: is not passed by the pattern without a stop");
}

TEST(NetworkFile, NamesAFileThatCannotBeRead) {
    try {
        readNetwork("no such file.json");
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()), "no such file.json: cannot be read: No such file or directory");
    }
    EXPECT_THROW(readNetwork(PIS_SAMPLES), std::runtime_error);
}

// Whatever is damaged in a network file, reading it ends in a network or in a fault that names the file.
TEST(NetworkFile, SurvivesDamage) {
    std::ifstream file(PIS_SAMPLES "/harbour-line.json");
    const std::string whole((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    ASSERT_GT(whole.size(), 10'000U);
    std::mt19937 random(4);
    int faults = 0;
    for (int round = 0; round < 300; ++round) {
        std::string text = whole;
        for (unsigned i = 0; i <= random() % 3; ++i) {
            static const std::string kBytes = "0123456789{}[]\",:-eE. \\u\n\xc3";
            text[random() % text.size()] = kBytes[random() % kBytes.size()];
        }
        if (round % 7 == 0) text.resize(random() % text.size());
        const std::string fault = faultOf(text);
        if (fault == "no fault") continue;
        ++faults;
        EXPECT_EQ(fault.substr(0, 10), "net.json: ");
    }
    EXPECT_GT(faults, 100);
}

}  // namespace pis::simulator
