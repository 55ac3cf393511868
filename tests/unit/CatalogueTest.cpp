// The catalogue: requests that go out to the signalling server, and copies of the tables.
#include <sys/resource.h>
#include <unistd.h>

#include <climits>
#include <clocale>
#include <fstream>
#include <locale>
#include <new>
#include <sstream>
#include <stdexcept>

#include "StoreTest.h"

namespace {

Line line(int id, const std::string& name, const std::string& abrv) {
    Line made(id);
    made.setName(name);
    made.setAbrv(abrv);
    return made;
}

Station station(int id, const std::string& name, const std::string& abrv, bool isMajor) {
    Station made(id, name, isMajor, true);
    made.setAbrv(abrv);
    made.setPlatformsListAsString("11!12");
    return made;
}

Vehicle vehicle(int id, Vehicle::State state, int serviceId) {
    Vehicle made(id);
    made.setState(state);
    made.setCurrentServiceId(serviceId);
    made.setNumCars(6);
    made.setCurrentLocation("km 3");
    return made;
}

Service service(int id, int tripId, unsigned long start, int vehicleId, bool loading, int destination, bool last) {
    Service made(id);
    made.setTripId(tripId);
    made.setStartTime(start);
    made.setVehicleId(vehicleId);
    made.setIsLoading(loading);
    made.setDestinationStationId(destination);
    made.setIsLastTrain(last);
    made.setLineId(77);
    made.setState(Service::RUNNING);
    made.setStopsListAsString("70!71");
    return made;
}

// --- Requests -------------------------------------------------------------------------------------

class CatalogueRequests : public StoreTest {
protected:
    /// Every request of the store that belongs to the catalogue.
    void requestEverything() {
        store.addLine(line(3, "North", "N"));
        store.deleteLine(3);
        store.addVehicle(vehicle(8, Vehicle::IN_SERVICE, 12));
        store.deleteVehicle(8);
        store.addStation(station(2, "Harbour", "HB", true));
        store.deleteStation(2);
        store.addService(service(12, 4, 3600, 9, false, 33, true));
        store.deleteService(12);
        store.setLines({line(3, "North", "N")});
        store.setVehicles({vehicle(8, Vehicle::IN_SERVICE, 12)});
        store.setStations({station(2, "Harbour", "HB", true)});
        store.setServices({service(12, 4, 3600, 9, false, 33, true)});
    }

    const std::string everything =
        "operation 21 3,North,N\n"
        "operation 22 3\n"
        "operation 31 8,1,12\n"
        "operation 32 8\n"
        "operation 41 2,Harbour,HB,1\n"
        "operation 43 2\n"
        "operation 61 12,4,3600,9,0,33,1,\n"
        "operation 64 12\n"
        "operation 22 *\n"
        "operation 21 3,North,N\n"
        "operation 32 *\n"
        "operation 31 8,1,12\n"
        "operation 43 *\n"
        "operation 41 2,Harbour,HB,1\n"
        "operation 64 *\n"
        "operation 61 12,4,3600,9,0,33,1,\n";
};

TEST_F(CatalogueRequests, AddLineSendsIdNameAndAbbreviation) {
    EXPECT_EQ(host.during([&] { store.addLine(line(3, "North", "N")); }), "operation 21 3,North,N\n");
    EXPECT_EQ(host.during([&] { store.addLine(Line(3)); }), "operation 21 3,,\n");
}

TEST_F(CatalogueRequests, AddVehicleSendsIdStateAndCurrentServiceAlone) {
    EXPECT_EQ(host.during([&] { store.addVehicle(vehicle(8, Vehicle::SWITCHING_SERVICE, 12)); }),
              "operation 31 8,2,12\n");
    EXPECT_EQ(host.during([&] { store.addVehicle(Vehicle(8)); }), "operation 31 8,0,0\n");
    EXPECT_EQ(host.during([&] { store.addVehicle(vehicle(8, static_cast<Vehicle::State>(42), -12)); }),
              "operation 31 8,42,-12\n");
}

TEST_F(CatalogueRequests, AddStationSendsIdNameAbbreviationAndMajorFlagAlone) {
    EXPECT_EQ(host.during([&] { store.addStation(station(2, "Harbour", "HB", true)); }),
              "operation 41 2,Harbour,HB,1\n");
    EXPECT_EQ(host.during([&] { store.addStation(station(2, "Harbour", "HB", false)); }),
              "operation 41 2,Harbour,HB,0\n");
}

TEST_F(CatalogueRequests, AddServiceSendsSevenValuesAndATrailingComma) {
    EXPECT_EQ(host.during([&] { store.addService(service(12, 4, 3600, 9, false, 33, true)); }),
              "operation 61 12,4,3600,9,0,33,1,\n");
    EXPECT_EQ(host.during([&] { store.addService(service(12, 4, 3600, 9, true, 33, false)); }),
              "operation 61 12,4,3600,9,1,33,0,\n");
    EXPECT_EQ(host.during([&] { store.addService(Service(12)); }), "operation 61 12,0,0,0,0,0,0,\n");
}

TEST_F(CatalogueRequests, AddServiceSendsTheStartTimeUnsignedAndTheRestSigned) {
    EXPECT_EQ(host.during([&] { store.addService(service(-12, -4, 4294967295UL, -9, false, -33, false)); }),
              "operation 61 -12,-4,4294967295,-9,0,-33,0,\n");
    EXPECT_EQ(host.during([&] { store.addService(Service(12, 4, -1L)); }), "operation 61 12,4,4294967295,0,0,0,0,\n");
}

TEST_F(CatalogueRequests, AddDoesNotQuestionItsId) {
    for (const int id : {0, -5, INT_MAX, INT_MIN}) {
        const std::string number = std::to_string(id);
        EXPECT_EQ(host.during([&] {
            store.addLine(Line(id));
            store.addVehicle(Vehicle(id));
            store.addStation(Station(id));
            store.addService(Service(id));
        }),
                  "operation 21 " + number + ",,\noperation 31 " + number + ",0,0\noperation 41 " + number +
                      ",Unknown Station,,0\noperation 61 " + number + ",0,0,0,0,0,0,\n");
    }
}

TEST_F(CatalogueRequests, DeleteSendsAnIdAboveZero) {
    EXPECT_EQ(host.during([&] { store.deleteLine(7); }), "operation 22 7\n");
    EXPECT_EQ(host.during([&] { store.deleteVehicle(7); }), "operation 32 7\n");
    EXPECT_EQ(host.during([&] { store.deleteStation(7); }), "operation 43 7\n");
    EXPECT_EQ(host.during([&] { store.deleteService(7); }), "operation 64 7\n");
    EXPECT_EQ(host.during([&] { store.deleteLine(1); }), "operation 22 1\n");
    EXPECT_EQ(host.during([&] { store.deleteVehicle(1); }), "operation 32 1\n");
    EXPECT_EQ(host.during([&] { store.deleteStation(1); }), "operation 43 1\n");
    EXPECT_EQ(host.during([&] { store.deleteService(INT_MAX); }), "operation 64 2147483647\n");
}

TEST_F(CatalogueRequests, DeleteOfZeroOrLessSendsAll) {
    for (const int id : {0, -1, -5, INT_MIN}) {
        EXPECT_EQ(host.during([&] { store.deleteLine(id); }), "operation 22 *\n") << id;
        EXPECT_EQ(host.during([&] { store.deleteVehicle(id); }), "operation 32 *\n") << id;
        EXPECT_EQ(host.during([&] { store.deleteStation(id); }), "operation 43 *\n") << id;
        EXPECT_EQ(host.during([&] { store.deleteService(id); }), "operation 64 *\n") << id;
    }
}

TEST_F(CatalogueRequests, SetOfNothingSendsTheDeletionAlone) {
    EXPECT_EQ(host.during([&] { store.setLines({}); }), "operation 22 *\n");
    EXPECT_EQ(host.during([&] { store.setVehicles({}); }), "operation 32 *\n");
    EXPECT_EQ(host.during([&] { store.setStations({}); }), "operation 43 *\n");
    EXPECT_EQ(host.during([&] { store.setServices({}); }), "operation 64 *\n");
}

TEST_F(CatalogueRequests, SetStationsDeletesAllThenAddsInOrder) {
    const std::vector<Station> stations = {station(5, "East", "E", false), station(3, "West", "W", true),
                                           station(4, "Mid", "M", false)};
    EXPECT_EQ(host.during([&] { store.setStations(stations); }),
              "operation 43 *\n"
              "operation 41 5,East,E,0\n"
              "operation 41 3,West,W,1\n"
              "operation 41 4,Mid,M,0\n");
}

TEST_F(CatalogueRequests, SetLinesDeletesAllThenAddsInOrder) {
    EXPECT_EQ(host.during([&] {
        store.setLines({line(5, "East", "E"), line(3, "West", "W"), line(5, "East", "E")});
    }),
              "operation 22 *\n"
              "operation 21 5,East,E\n"
              "operation 21 3,West,W\n"
              "operation 21 5,East,E\n");
}

TEST_F(CatalogueRequests, SetVehiclesDeletesAllThenAddsInOrder) {
    const std::vector<Vehicle> vehicles = {vehicle(9, Vehicle::OUT_OF_SERVICE, 0), vehicle(8, Vehicle::IN_SERVICE, 12)};
    EXPECT_EQ(host.during([&] { store.setVehicles(vehicles); }),
              "operation 32 *\n"
              "operation 31 9,0,0\n"
              "operation 31 8,1,12\n");
}

TEST_F(CatalogueRequests, SetServicesDeletesAllThenAddsInOrder) {
    const std::vector<Service> services = {service(13, 4, 7200, 9, true, 33, false),
                                           service(12, 4, 3600, 9, false, 33, true)};
    EXPECT_EQ(host.during([&] { store.setServices(services); }),
              "operation 64 *\n"
              "operation 61 13,4,7200,9,1,33,0,\n"
              "operation 61 12,4,3600,9,0,33,1,\n");
}

TEST_F(CatalogueRequests, PrepareNamesAndAbbreviationsOneByOneAndNothingElse) {
    host.marksPreparedFields = true;
    EXPECT_EQ(host.during([&] { store.addLine(line(3, "North", "N")); }), "operation 21 3,[North],[N]\n");
    EXPECT_EQ(host.during([&] { store.addStation(station(2, "Harbour", "", true)); }),
              "operation 41 2,[Harbour],[],1\n");
    EXPECT_EQ(host.during([&] { store.setLines({line(3, "North", "N")}); }),
              "operation 22 *\noperation 21 3,[North],[N]\n");
    EXPECT_EQ(host.during([&] { store.addVehicle(vehicle(8, Vehicle::IN_SERVICE, 12)); }), "operation 31 8,1,12\n");
    EXPECT_EQ(host.during([&] { store.addService(service(12, 4, 3600, 9, false, 33, true)); }),
              "operation 61 12,4,3600,9,0,33,1,\n");
}

TEST_F(CatalogueRequests, PrepareACopyAndLeaveTheRecordAsItIs) {
    host.marksPreparedFields = true;
    const Line sent = line(3, "North", "N");
    const Station alsoSent = station(2, "Harbour", "HB", true);
    store.addLine(sent);
    store.addStation(alsoSent);
    EXPECT_EQ(describe(sent), "line 3 \"North\" \"N\"");
    EXPECT_EQ(alsoSent.getName() + alsoSent.getAbrv(), "HarbourHB");
}

TEST_F(CatalogueRequests, SendTextsAsTheHostPreparedThem) {
    // This host prepares nothing, so that whatever the names hold goes out.
    EXPECT_EQ(host.during([&] { store.addLine(line(3, "North, \"upper\"", " N ")); }),
              "operation 21 3,North, \"upper\", N \n");
}

TEST_F(CatalogueRequests, ChangeNoTable) {
    update(2, 3, "South", "S");
    update(3, 8, "Train 8", "T8", "4");
    update(4, 2, "Quay", "Q");
    update(8, 12, "5");
    const std::string before = describe(store);
    requestEverything();
    EXPECT_EQ(describe(store), before);
}

TEST_F(CatalogueRequests, AreSeenOnlyOnceTheSignallingServerReportsThemBack) {
    store.addLine(line(3, "North", "N"));
    EXPECT_TRUE(store.getLines().empty());
    update(2, 3, "North", "N");
    EXPECT_EQ(describe(store.getLines()), "line 3 \"North\" \"N\"\n");
}

TEST_F(CatalogueRequests, TakeNoLockLogNothingAndTellNobody) {
    RecordingObserver observer;
    store.registerObserver(&observer);
    EXPECT_EQ(host.during([&] { requestEverything(); }), everything);
}

TEST_F(CatalogueRequests, GoOutWhileTheLockIsTaken) {
    lockOf(store).enter();
    EXPECT_EQ(host.during([&] { requestEverything(); }), everything);
    lockOf(store).leave();
}

TEST_F(CatalogueRequests, GoOutWhetherTheServerIsOnlineOrNot) {
    for (const char* online : {"1", "0"}) {
        update(98, 1, "", "", online);
        EXPECT_EQ(host.during([&] { requestEverything(); }), everything);
    }
}

TEST_F(CatalogueRequests, PassOnAFaultOfTheQueueAndStopThere) {
    host.at("operation 21", [] { throw std::runtime_error("queue"); });
    host.clear();
    EXPECT_THROW(store.setLines({line(3, "North", "N"), line(4, "South", "S")}), std::runtime_error);
    EXPECT_EQ(host.transcript(), "operation 22 *\noperation 21 3,North,N\n");
}

// --- Requests in a process that writes numbers in groups ------------------------------------------

/// Writes 1234567 as 1.234.567 and true as yes.
class GroupedDigits : public std::numpunct<char> {
protected:
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
    std::string do_truename() const override { return "yes"; }
    std::string do_falsename() const override { return "no"; }
};

class RequestsUnderAnotherLocale : public StoreTest {
protected:
    RequestsUnderAnotherLocale()
        : _former(std::locale::global(std::locale(std::locale::classic(), new GroupedDigits))),
          _formerOfC(std::setlocale(LC_ALL, nullptr)) {
        for (const char* name : {"de_DE.UTF-8", "en_US.UTF-8", "C.UTF-8"}) {
            if (std::setlocale(LC_ALL, name) != nullptr) break;
        }
    }
    ~RequestsUnderAnotherLocale() override {
        std::locale::global(_former);
        std::setlocale(LC_ALL, _formerOfC.c_str());
    }

private:
    std::locale _former;
    std::string _formerOfC;
};

TEST_F(RequestsUnderAnotherLocale, StreamsDoGroupHere) {
    std::ostringstream text;
    text << 1234567 << std::boolalpha << true;
    EXPECT_EQ(text.str(), "1.234.567yes");
}

TEST_F(RequestsUnderAnotherLocale, CatalogueNumbersArePlain) {
    EXPECT_EQ(host.during([&] {
        store.addLine(line(1234567, "1234567", "N"));
        store.deleteLine(1234567);
        store.addVehicle(vehicle(-1234567, static_cast<Vehicle::State>(4321), 7654321));
        store.deleteVehicle(1234567);
        store.addStation(station(1234567, "Harbour", "HB", true));
        store.deleteStation(1234567);
        store.addService(service(1234567, 2345678, 4000000000UL, 3456789, true, 4567890, false));
        store.deleteService(1234567);
    }),
              "operation 21 1234567,1234567,N\n"
              "operation 22 1234567\n"
              "operation 31 -1234567,4321,7654321\n"
              "operation 32 1234567\n"
              "operation 41 1234567,Harbour,HB,1\n"
              "operation 43 1234567\n"
              "operation 61 1234567,2345678,4000000000,3456789,1,4567890,0,\n"
              "operation 64 1234567\n");
}

TEST_F(RequestsUnderAnotherLocale, NumbersOfAServicesOwnRequestsArePlain) {
    const Service known = service(1234567, 2345678, 0, 0, false, 0, false);
    EXPECT_EQ(host.during([&] {
        Service requesting(known);
        requesting.addServiceStop(ServiceStop(1));
        requesting.deleteServiceStop(3456789);
        requesting.deleteAllServiceStops();
        requesting.updateServiceState(static_cast<Service::State>(1234));
    }),
              "operation 62 1234567,2345678\n"
              "operation 63 1234567,3456789\n"
              "operation 63 1234567,*\n"
              "operation 65 1234567,1234\n");
}

TEST_F(RequestsUnderAnotherLocale, NumbersOfControlsArePlain) {
    int trainId = 1234567;
    int state = -4321;
    EXPECT_EQ(host.during([&] {
        store.updateTrainState(trainId, state);
        store.activatePositioningProtocol(PP_KELT_CBTC, 86400);
    }),
              "operation 67 1234567,-4321\n"
              "operation 71 1,86400\n");
}

TEST_F(RequestsUnderAnotherLocale, NumbersOfPiecesArePlain) {
    host.encodedInstead = std::string(1200 * 1233 + 1, 'a');
    store.processPositioningUpdate("x");
    const std::string sent = host.transcript();
    EXPECT_EQ(sent.substr(0, 24), "operation 72 START,1234\n");
    EXPECT_NE(sent.find("\noperation 72 DATA,1000/1234,aaa"), std::string::npos);
    const std::string end = "\noperation 72 DATA,1234/1234,a\noperation 72 END\n";
    EXPECT_EQ(sent.substr(sent.size() - end.size()), end);
}

// --- Snapshots ------------------------------------------------------------------------------------

class CatalogueSnapshots : public StoreTest {
protected:
    CatalogueSnapshots() { host.setDebugLevel(-1); }

    std::string snapshots() {
        return describe(store.getLines()) + describe(store.getVehicles()) + describe(store.getStations()) +
               describe(store.getPlatforms()) + describe(store.getTrips()) + describe(store.getTripStops()) +
               describe(store.getServices());
    }
};

TEST_F(CatalogueSnapshots, OfAnEmptyStoreAreEmptyAndLeaveTheLockFree) {
    EXPECT_TRUE(store.getLines().empty());
    EXPECT_TRUE(store.getVehicles().empty());
    EXPECT_TRUE(store.getStations().empty());
    EXPECT_TRUE(store.getPlatforms().empty());
    EXPECT_TRUE(store.getTrips().empty());
    EXPECT_TRUE(store.getTripStops().empty());
    EXPECT_TRUE(store.getServices().empty());
    EXPECT_TRUE(host.allLocksFree());
}

TEST_F(CatalogueSnapshots, EnterAndLeaveTheLockOnceEach) {
    for (int code = 2; code <= 9; ++code) update(code, 7, "1");
    EXPECT_EQ(host.during([&] { store.getLines(); }), "enter\nleave\n");
    EXPECT_EQ(host.during([&] { store.getVehicles(); }), "enter\nleave\n");
    EXPECT_EQ(host.during([&] { store.getStations(); }), "enter\nleave\n");
    EXPECT_EQ(host.during([&] { store.getPlatforms(); }), "enter\nleave\n");
    EXPECT_EQ(host.during([&] { store.getTrips(); }), "enter\nleave\n");
    EXPECT_EQ(host.during([&] { store.getTripStops(); }), "enter\nleave\n");
    EXPECT_EQ(host.during([&] { store.getServices(); }), "enter\nleave\n");
    EXPECT_TRUE(host.allLocksFree());
}

TEST_F(CatalogueSnapshots, AreOfOneTableEachInTheOrderOfArrival) {
    for (const int id : {7, 3, 5}) {
        for (int code = 2; code <= 8; ++code) update(code, id, std::to_string(10 * code));
    }
    EXPECT_EQ(describe(store.getLines()), "line 7 \"20\" \"UNK\"\nline 3 \"20\" \"UNK\"\nline 5 \"20\" \"UNK\"\n");
    EXPECT_EQ(describe(store.getVehicles()), describe(vehiclesOf(store)));
    EXPECT_EQ(describe(store.getStations()), describe(stationsOf(store)));
    EXPECT_EQ(describe(store.getPlatforms()), describe(platformsOf(store)));
    EXPECT_EQ(describe(store.getTrips()), describe(tripsOf(store)));
    EXPECT_EQ(describe(store.getTripStops()), describe(tripStopsOf(store)));
    EXPECT_EQ(describe(store.getServices()), describe(servicesOf(store)));
    EXPECT_EQ(snapshots(), describe(store));
    EXPECT_EQ(store.getServices().size(), 3U);
}

TEST_F(CatalogueSnapshots, LeaveOutTheServiceStops) {
    update(9, 7, "12", "1");
    EXPECT_EQ(serviceStopsOf(store).size(), 1U);
    EXPECT_EQ(snapshots(), "");
}

TEST_F(CatalogueSnapshots, StandAlone) {
    update(2, 7, "North", "N");
    std::vector<Line> lines = store.getLines();
    lines[0].setName("changed by the client");
    EXPECT_EQ(describe(store), "line 7 \"North\" \"N\"\n");
    update(2, 7, "South", "S");
    update(2, 8, "East", "E");
    EXPECT_EQ(describe(lines), "line 7 \"changed by the client\" \"N\"\n");
}

TEST_F(CatalogueSnapshots, AreTakenBetweenEnterAndLeave) {
    host.at("enter", [this] { linesOf(store).push_back(line(1, "after enter", "")); });
    host.at("leave", [this] { linesOf(store).push_back(line(2, "after leave", "")); });
    EXPECT_EQ(describe(store.getLines()), "line 1 \"after enter\" \"\"\n");
    EXPECT_EQ(store.getLines().size(), 2U);
}

TEST_F(CatalogueSnapshots, CarryTheServicesThatAVehicleHolds) {
    Vehicle carrying(4);
    servicesOf(carrying) = {Service(3), Service(8)};
    vehiclesOf(store).push_back(carrying);
    EXPECT_EQ(store.getVehicles().at(0).getServices().size(), 2U);
}

TEST_F(CatalogueSnapshots, UseTheLockOfTheirOwnStore) {
    PassengerInformationServer other;
    EXPECT_EQ(host.during([&] { other.getLines(); }), "enter 2\nleave 2\n");
}

// The allocators of the sanitizers end the program where memory runs out.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define PIS_ALLOCATOR_ENDS_THE_PROGRAM
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define PIS_ALLOCATOR_ENDS_THE_PROGRAM
#endif
#endif

#ifndef PIS_ALLOCATOR_ENDS_THE_PROGRAM
/// Lets the process grow by a number of bytes and no further.
class MemoryLimit {
public:
    explicit MemoryLimit(rlim_t growth) {
        rlim_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        getrlimit(RLIMIT_AS, &_former);
        rlimit limit = _former;
        limit.rlim_cur = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + growth;
        EXPECT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
    }
    ~MemoryLimit() { setrlimit(RLIMIT_AS, &_former); }
    MemoryLimit(const MemoryLimit&) = delete;
    MemoryLimit& operator=(const MemoryLimit&) = delete;

private:
    rlimit _former;
};

TEST_F(CatalogueSnapshots, LeaveTheLockTakenWhenMemoryRunsOut) {
    constexpr std::size_t megabyte = 1024 * 1024;
    linesOf(store).push_back(line(7, std::string(80 * megabyte, 'x'), "N"));
    host.clear();
    {
        const MemoryLimit limit(16 * megabyte);
        EXPECT_THROW(store.getLines(), std::bad_alloc);
    }
    EXPECT_EQ(host.transcript(), "enter\n");
    EXPECT_FALSE(host.allLocksFree());
    lockOf(store).leave();
}
#endif

}  // namespace
