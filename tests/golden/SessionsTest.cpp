// Whole sessions: scripts of updates, deletions, status records and requests, as a railway's day has
// them. All that the host sees of one, in one order, is compared with a file beside this one; lines
// that begin with "#" are the script's own. With PIS_REWRITE_GOLDEN set the files are written anew.
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "StoreTest.h"

namespace {

std::string quoted(const FieldText& field) {
    return field.get() == nullptr ? "null" : "\"" + std::string(field.get()) + "\"";
}

}  // namespace

class Session : public StoreTest {
protected:
    void say(const std::string& text) { host.note("# " + text); }

    template <typename... Text>
    void update(int elemId, int elemNo, const Text&... texts) {
        std::string step = "update " + std::to_string(elemId) + " " + std::to_string(elemNo);
        for (const FieldText& field : std::vector<FieldText>{FieldText(texts)...}) step += " " + quoted(field);
        say(step);
        StoreTest::update(elemId, elemNo, texts...);
    }

    void remove(int elemId, int elemNo) {
        say("delete " + std::to_string(elemId) + " " + std::to_string(elemNo));
        store.deletePassengerInformation(elemId, elemNo);
    }

    void observe(PassengerInformationObserver& observer, const std::string& name) {
        say("register " + name);
        store.registerObserver(&observer);
    }

    void level(long level) {
        say("debugLevel " + std::to_string(level));
        host.setDebugLevel(level);
    }

    /// What a client reads; its reading left its lock lines before.
    template <typename Record>
    void show(const std::vector<Record>& table) {
        for (const Record& record : table) say("    " + describe(record));
    }
    void showStatus() {
        say(std::string("    online ") + (store.getServerStatus() ? "true" : "false") + ", automatic messages " +
            (store.isAutomaticMessageGenerationEnabled() ? "true" : "false"));
    }
    /// No getter hands these out.
    void showServiceStops() { show(serviceStopsOf(store)); }

    void expectTranscript(const std::string& name) {
        const std::string path = std::string(PIS_GOLDEN_DIR) + "/" + name + ".txt";
        if (std::getenv("PIS_REWRITE_GOLDEN") != nullptr) {
            std::ofstream(path, std::ios::binary) << host.transcript();
            FAIL() << path << " was written anew: read it before it is checked in";
        }
        std::ifstream file(path, std::ios::binary);
        ASSERT_TRUE(file) << path << " cannot be read";
        const std::string golden{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        EXPECT_EQ(host.transcript(), golden) << "not what " << path << " says";
    }

    RecordingObserver board{"board"};
    RecordingObserver announcer{"announcer"};
};

TEST_F(Session, ARailwayStartsUp) {
    say("--- Clients register; the second registers twice.");
    observe(board, "board");
    observe(announcer, "announcer");
    observe(announcer, "announcer");
    showStatus();
    say("--- The signalling server comes up, messages are switched on.");
    update(98, 1, "ctl", "7", "1");
    update(13, 1, "Y");
    showStatus();
    say("--- What changes slowly.");
    update(2, 1, "North Line", "NL");
    update(4, 10, "Harbour", "HAR", "Y", "101!102");
    update(4, 11, "Mill Road", null, "N", "111");
    update(5, 101, "10", "unused", "Platform 1", "LOC-A");
    update(5, 111, "11", null, "Platform 1", "LOC-M");
    update(6, 40, "Harbour - Mill Road", "1", "1", "2", "Express", "401!402");
    update(7, 401, "40", "101", "Y", "0", "60");
    update(7, 402, "40", "111", "N", "420", "450");
    say("--- What moves.");
    update(3, 9, "Set 9", "S9", "4", "12");
    update(10, 9, "Y", "LOC-A", "1", "In service", "12", "1", "Side 1", "0", "None");
    update(8, 12, "40", "21600", "9", "", "0", "11", "0", "1");
    update(9, 1201, "12", "401", "21600", "0", "30");
    update(12, 12, "401!402", "1", "Running");
    update(11, 101, "1", "Approaching", "1201");
    say("--- A client reads everything.");
    show(store.getLines());
    show(store.getVehicles());
    show(store.getStations());
    show(store.getPlatforms());
    show(store.getTrips());
    show(store.getTripStops());
    show(store.getServices());
    showServiceStops();
    expectTranscript("railway-starts");
}

TEST_F(Session, AServiceFromItsCreationToItsDeletion) {
    observe(board, "board");
    update(6, 40, "Harbour - Mill Road", "1", "1", "0", "All stops", "401!402");
    update(7, 402, "40", "111", "Y", "420", "450");
    say("--- A client asks for the service; the signalling server reports it, as on its trip.");
    Service wanted(12, 40, 21600);
    wanted.setVehicleId(9);
    wanted.setDestinationStationId(11);
    store.addService(wanted);
    show(store.getServices());
    update(8, 12, "40", "21600", "9", "401!402", "0", "11", "0", "1");
    update(9, 1202, "12", "402", "21600");
    say("--- It runs, boards, is late at its second stop and ends there.");
    update(12, 12, "401!402", "1", "Running");
    update(12, 12, "401!402", "2", "Approaching Harbour");
    update(12, 12, "402", "4", "Boarding");
    update(8, 12, "40", "21600", "9", "401!402", "1", "11", "0", "1");
    update(12, 12, "402", "5", "Departing");
    update(8, 12, "40", "21600", "9", "401!402", "0", "11", "0", "1");
    update(9, 1202, "12", "402", "21600", "180", "200");
    update(9, 1202, "12", "402", "21600", "180", "200");
    update(12, 12, "", "7", "Terminated");
    update(12, 12, "", "7", "Terminated");
    showServiceStops();
    say("--- A client has it deleted; its stop stays until it is deleted on its own.");
    store.deleteService(12);
    remove(8, 12);
    remove(9, 1202);
    showServiceStops();
    say("--- A state record that comes too late makes a service of its own.");
    update(12, 12, "(null)", "8", "Cancelled");
    show(store.getServices());
    remove(8, 0);
    show(store.getServices());
    expectTranscript("life-of-a-service");
}

TEST_F(Session, APlatformsStateComesBeforeItsDescription) {
    observe(board, "board");
    update(11, 101, "2", "On platform", "1201!1202");
    update(5, 101, "10", "P1", "Platform 1", "LOC-A");
    say("--- The same again, but for field two, which counts for nothing.");
    update(5, 101, "10", "(null)", "Platform 1", "LOC-A");
    update(11, 101, "2", "On platform", "1201!1202");
    say("--- Fields that are missing put the defaults back, each record its own.");
    update(11, 101, "5");
    update(5, 101, "11x");
    update(11, 101);
    update(11, 101, "9", " (null)", "(null)");
    show(store.getPlatforms());
    say("--- The station names its platforms and resolves them.");
    update(4, 10, "Harbour", "HAR", "Yes", "102!101!101!x");
    say("    " + describe(store.getStations().front().getListOfPlatforms().at(1)));
    say("    platforms: " + std::to_string(store.getStations().front().getListOfPlatforms().size()));
    remove(4, 10);
    show(store.getPlatforms());
    expectTranscript("platform-state-first");
}

TEST_F(Session, ServicesKeepTheNameOfAChangedTrip) {
    update(6, 40, "Slow", "1", "0", "0", "All stops", "401!402");
    update(8, 12, "40", "21600", "9", "401!402", "0", "11", "0", "1");
    update(8, 13, "40", "25200", "9", "402", "0", "11", "1", "2");
    observe(board, "board");
    say("--- The trip changes: its services do not.");
    update(6, 40, "Fast", "3", "1", "2", "Express", "402");
    show(store.getServices());
    say("--- A state record does not take the change over; a service record does, in silence when it is as before.");
    update(12, 12, "401", "1", "Running");
    update(8, 12, "40", "21600", "9", "401!402", "0", "11", "0", "1");
    say("--- From now on that record disagrees with the trip, and is news each time.");
    update(8, 12, "40", "21600", "9", "401!402", "0", "11", "0", "1");
    update(8, 12, "40", "21600", "9", "401!402", "0", "11", "0", "1");
    say("--- One that agrees is no news, and takes the trip's next name over in silence.");
    update(8, 12, "40", "21600", "9", "402", "0", "11", "0", "3");
    update(6, 40, "Faster", "3", "1", "2", "Express", "402");
    update(8, 12, "40", "21600", "9", "402", "0", "11", "0", "3");
    show(store.getServices());
    say("--- Without its trip a service keeps the trip's name.");
    remove(6, 40);
    update(8, 12, "40", "21700", "9", "402", "0", "11", "0", "3");
    say("--- A trip that comes back does not touch the services, an unchanged one neither.");
    update(6, 40, "(null)", "3", "2", "7", "", "402");
    update(6, 40, "(null)", "3", "2", "7", "", "402");
    show(store.getServices());
    expectTranscript("changing-trip");
}

TEST_F(Session, AVehicleIsPutIntoService) {
    observe(board, "board");
    say("--- First heard of by its state, of which two fields can be used.");
    update(10, 9, "", "LOC-A", null, "(null)", "12");
    update(3, 9, "Set 9", "S9", "four", "12!13");
    say("--- Codes and texts are kept as they come.");
    update(10, 9, "yes", "LOC-A", "2", "IN_SERVICE", "12", "7", "Both", "-1", "?");
    update(3, 9, "Set 9", "S9", " 4 cars", "12!13");
    update(3, 9, "Set 9", "S9", "4", "12!13");
    update(10, 9, "Yes");
    say("--- Numbers beyond 32 bits, fields beyond the last.");
    update(3, 2147483647, "Set", "S", "99999999999", "", "surplus", "fields");
    update(3, -9, "Set", "S", "-99999999999");
    say("--- Everything numbered 9 goes, the rest stays.");
    update(2, 9, "Line 9");
    remove(0, 9);
    show(store.getLines());
    show(store.getVehicles());
    expectTranscript("vehicle-in-service");
}

TEST_F(Session, TheDayEnds) {
    say("--- A day's elements come in while nothing is logged and nobody listens.");
    level(-1);
    update(9, 1201, "12", "401", "21600");
    update(9, 1202, "12", "402", "21600");
    update(8, 12, "40", "21600");
    update(8, 13, "41", "25200");
    update(7, 401, "40", "101", "Y", "0", "60");
    update(6, 40, "Out");
    update(6, 41, "Back");
    update(5, 101, "10", "", "Platform 1");
    update(4, 10, "Harbour");
    update(3, 9, "Set 9");
    update(2, 1, "North Line", "NL");
    update(2, 2, "South Line", "SL");
    observe(board, "board");
    level(0);
    observe(announcer, "announcer");
    say("--- One line goes without a word in the log, one service with.");
    remove(2, 2);
    level(1);
    remove(8, 13);
    say("--- An update is not worth a line at this level.");
    update(2, 1, "North Line", "N");
    say("--- All the rest.");
    level(2);
    remove(0, 0);
    say("    tables: \"" + describe(store) + "\"");
    say("--- Once more, and an element that comes back is a new one.");
    remove(0, 0);
    update(2, 1, "North Line", "NL");
    expectTranscript("day-ends");
}

TEST_F(Session, WhatDoesNotConcernTheStore) {
    observe(board, "board");
    say("--- Unknown element types, no id, no list.");
    for (int code : {0, 1, 14, 97, 99, 1000, -1}) update(code, 7, "North", "N", "1");
    for (int code = 2; code <= 13; ++code) update(code, 0, "1", "1", "1");
    update(98, 0, "1", "1", "1");
    say("every update without a list");
    for (int code = 0; code <= 98; ++code) store.updatePassengerInformation(1, code, 1, nullptr);
    say("--- Status records of another number, too short, without a usable field.");
    update(98, 2, "1", "1", "1");
    update(98, 1, "1", "1");
    update(98, 1, "1", "1", "");
    update(98, 1, "1", "1", "(null)");
    update(98, 1, "1", "1", null);
    update(98, 1);
    update(13, 2, "Y");
    update(13, 1);
    update(13, 1, "", "Y");
    update(13, 1, null, "Y");
    update(13, 1, "(null)", "Y");
    showStatus();
    say("--- Deletions that meet nothing.");
    for (int code : {1, 2, 9, 10, 13, 14, 98, -1}) remove(code, 99);
    remove(0, 99);
    remove(10, 0);
    say("register nothing");
    store.registerObserver(nullptr);
    expectTranscript("nothing-to-do");
}

TEST_F(Session, TheSignallingServerComesAndGoes) {
    observe(board, "board");
    update(98, 1, null, "", "1");
    update(98, 1, "a", "b", "1", "c");
    say("--- Messages are asked for; the flag waits for the server's word.");
    store.enableAutomaticMessageGeneration();
    showStatus();
    update(13, 1, "Yes");
    showStatus();
    say("--- Another client comes in time for the server's end.");
    observe(announcer, "announcer");
    update(98, 1, "a", "b", "2");
    update(98, 1, "a", "b", "yes");
    showStatus();
    update(98, 1, "a", "b", " 01 up");
    store.disableAutomaticMessageGeneration();
    update(13, 1, "y");
    showStatus();
    say("--- The way of locating vehicles cannot be chosen.");
    try {
        store.setLocationRetrievalMethod(PassengerInformationServer::API_GPS);
    } catch (const std::runtime_error& refusal) {
        say(std::string("    ") + refusal.what());
    }
    say("    method " + std::to_string(store.getLocationRetrievalMethod()));
    expectTranscript("server-comes-and-goes");
}

TEST_F(Session, ClientsMakeRequests) {
    host.marksPreparedFields = true;
    observe(board, "board");
    say("--- A line is asked for, reported, and asked away again.");
    Line line(3);
    line.setName("North");
    line.setAbrv("N");
    store.addLine(line);
    show(store.getLines());
    update(2, 3, "North", "N");
    show(store.getLines());
    store.deleteLine(3);
    remove(2, 3);
    say("--- Whole catalogues.");
    store.setLines({});
    store.setStations({Station(1, "Harbour, old", true, true), Station(2)});
    Vehicle vehicle(9);
    vehicle.setState(Vehicle::SWITCHING_SERVICE);
    vehicle.setCurrentServiceId(12);
    store.setVehicles({vehicle, Vehicle(-1)});
    Service service(12, 40, -1);
    service.setIsLoading(true);
    service.setIsLastTrain(true);
    service.setDestinationStationId(33);
    service.setVehicleId(9);
    store.setServices({service});
    say("--- One by one.");
    store.deleteVehicle(9);
    store.deleteVehicle(0);
    store.deleteStation(2);
    store.deleteStation(-2);
    store.deleteService(12);
    store.deleteService(-1);
    say("--- What a service asks for itself.");
    service.addServiceStop(ServiceStop(1202, 12, 402));
    service.deleteServiceStop(7);
    service.deleteServiceStop(0);
    service.deleteAllServiceStops();
    service.setServiceStops({ServiceStop(1), ServiceStop(2)});
    service.updateServiceState(Service::BOARDING);
    say("    " + describe(service));
    say("--- Platform and train, and where the trains are.");
    store.updatePlatformInfo("101,Mind the gap");
    int train = 5;
    int state = -2;
    store.updateTrainState(train, state);
    store.activatePositioningProtocol(PP_KELT_CBTC, 30);
    host.encodedInstead = "c29tZXdoZXJl";
    store.processPositioningUpdate("somewhere");
    say("--- The tables never heard of it.");
    say("    tables: \"" + describe(store) + "\"");
    expectTranscript("requests");
}
