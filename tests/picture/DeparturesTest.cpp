// The departures of a small railway: Harbour Central, Customs Quay and Lännavik with a platform each and
// a trip that calls at all three. What a board would show, what it would leave out, and in which order.
#include "picture/Departures.h"

#include <cstdint>
#include <string>
#include <vector>

#include "PictureTest.h"
#include "picture/NextCalls.h"

namespace pis::picture {

namespace {

constexpr int kStart = 25200;                           // 07:00
constexpr std::int64_t kMidnight = 1795129200;          // 2026-11-20T00:00:00+01:00
constexpr std::int64_t kMidnightOfChange = 1792882800;  // 2026-10-25T00:00:00+01:00

class DeparturesTest : public PictureTest {
protected:
    DeparturesTest() {
        builder.feed().ready = true;
        line(1, "Mole Line", "ML");
        addStation(5, "Harbour Central", "HBC", 9);
        addStation(6, "Customs Quay", "CQ", 11);
        addStation(7, "Lännavik", "LV", 13);
        addTrip(3, "Harbour – Lännavik", "31!32!33");
        tripStop(31, {"3", "9", "Y", "0", "60"});
        tripStop(32, {"3", "11", "Y", "180", "200"});
        tripStop(33, {"3", "13", "Y", "400", "400"});
    }

    void addStation(int id, const std::string& name, const std::string& abrv, int platformId) {
        Station station(id);
        station.setName(name);
        station.setAbrv(abrv);
        update(station);
        addPlatform(platformId, name + " 1", id);
    }

    void addPlatform(int id, const std::string& name, int stationId) {
        PlatformInfo platform(id);
        platform.setName(name);
        platform.setStationId(stationId);
        update(platform);
    }

    void addTrip(int id, const std::string& name, const std::string& stops) {
        Trip trip(id);
        trip.setName(name);
        trip.setLineId(1);
        trip.setStopsListAsString(stops);
        update(trip);
    }

    static Service service(int id, Service::State state = Service::NOT_STARTED, const std::string& following = "",
                           unsigned long start = kStart) {
        Service record(id, 3, static_cast<long>(start));
        record.setState(state);
        record.setFollowingStopsListAsString(following);
        return record;
    }

    /// A service that calls at all three: its service stops are ten times its id and one, two and three.
    void run(const Service& record, const char* delay = "0") {
        update(record);
        const std::string id = std::to_string(record.getId());
        for (const int place : {1, 2, 3}) {
            const std::string tripStopId = std::to_string(30 + place);
            serviceStop(record.getId() * 10 + place, {id.c_str(), tripStopId.c_str(), "25200", delay, delay});
        }
    }

    std::string answer(const DepartureQuery& query, double now) { return answer(query, momentOf(now)); }

    std::string answer(const DepartureQuery& query, const ServiceMoment& now) {
        publish();
        return departuresJson(picture, query, now);
    }

    /// By the feed's clock.
    static ServiceMoment momentOf(double now) {
        feed::FeedStatus feed;
        feed.at = now;
        return ServiceClock({ClockOptions::FEED, "day", "UTC", "03:00"}).at(feed, {});
    }

    /// By the wall clock, in Oslo at "HH:MM" by standard time.
    static ServiceMoment wallAt(const std::string& time, std::int64_t midnight = kMidnight,
                                const std::string& dayStart = "03:00") {
        const std::int64_t instant = midnight + std::stoi(time.substr(0, 2)) * 3600 + std::stoi(time.substr(3)) * 60;
        return ServiceClock({ClockOptions::WALL, "day", "Europe/Oslo", dayStart})
            .at({}, base::WallTime(std::chrono::seconds(instant)));
    }

    /// The board of the first station at a time: "12 07:01 07:02" for each departure, or the status.
    std::string board(double now, int platformId = 9, std::size_t limit = 20) {
        return board(momentOf(now), platformId, limit);
    }
    std::string board(const ServiceMoment& now, int platformId = 9, std::size_t limit = 20) {
        const std::string json = answer({0, platformId, limit}, now);
        const auto after = [&json](const std::string& key, std::size_t from, const char* end) {
            const std::size_t begin = json.find(key, from) + key.size();
            return json.substr(begin, json.find_first_of(end, begin) - begin);
        };
        std::string shown;
        const std::string first = "{\"service_id\":";
        for (std::size_t at = json.find(first); at != std::string::npos; at = json.find(first, at + 1)) {
            shown += (shown.empty() ? "" : ", ") + after(first, at, ",") + " " +
                     after("\"scheduled_text\":\"", at, "\"") + " " + after("\"expected_text\":\"", at, "\"");
        }
        const std::string status = after("\"status\":\"", 0, "\"");
        EXPECT_EQ(status == "departures", !shown.empty() || limit == 0);
        return shown.empty() ? status : shown;
    }

    bool shows(const std::string& text, double now = kStart) {
        return answer({0, 9, 20}, now).find(text) != std::string::npos;
    }
};

// --- The whole answer ---------------------------------------------------------------------------

TEST_F(DeparturesTest, OfAStation) {
    Service record = service(12, Service::BOARDING, "121!122!123");
    record.setStateText("Boarding \"now\"");
    record.setDestinationStationId(7);
    record.setVehicleId(4);
    record.setLineId(1);
    record.setIsLastTrain(true);
    run(record, "60");
    Vehicle vehicle(4);
    vehicle.setName("Skarv");
    vehicle.setNumCars(4);
    update(vehicle);
    PlatformInfo platform(9);
    platform.setName("Harbour Central 1");
    platform.setStationId(5);
    platform.setState(PlatformInfo::VEHICLE_BOARDING);
    update(platform);
    EXPECT_EQ(
        answer({5, 0, 20}, kStart),
        R"({"station":{"id":5,"name":"Harbour Central","abrv":"HBC"},"status":"departures","departures":[)"
        R"({"service_id":12,"service_stop_id":121,"trip_id":3,"name":"Harbour – Lännavik",)"
        R"("line":{"id":1,"name":"Mole Line","abrv":"ML"},"destination":{"id":7,"name":"Lännavik"},)"
        R"("platform":{"id":9,"name":"Harbour Central 1","track":"1"},)"
        R"("scheduled":25260,"scheduled_text":"07:01","expected":25320,"expected_text":"07:02","delay":60,)"
        R"("state":"BOARDING","state_text":"Boarding \"now\"","platform_state":"VEHICLE_BOARDING","at_platform":true,)"
        R"("is_stopping":true,"cancelled":false,"last_train":true,"priority":"ALL_STOPS","priority_text":"ALL_STOPS",)"
        R"("vehicle":{"id":4,"name":"Skarv","cars":4},"stops_ahead":[)"
        R"({"station_id":6,"name":"Customs Quay","platform_id":11,"scheduled":25380,"scheduled_text":"07:03",)"
        R"("expected":25440,"expected_text":"07:04"},)"
        R"({"station_id":7,"name":"Lännavik","platform_id":13,"scheduled":25600,"scheduled_text":"07:06",)"
        R"("expected":25660,"expected_text":"07:07"}]}]})");
}

TEST_F(DeparturesTest, OfAPlatformWithLittleKnown) {
    update(service(12));
    EXPECT_EQ(
        answer({0, 11, 20}, kStart),
        R"({"platform":{"id":11,"name":"Customs Quay 1","track":"1","station_id":6,"station_name":"Customs Quay"},)"
        R"("status":"departures","departures":[)"
        R"({"service_id":12,"service_stop_id":null,"trip_id":3,"name":"Harbour – Lännavik",)"
        R"("line":{"id":1,"name":"Mole Line","abrv":"ML"},"destination":{"id":7,"name":"Lännavik"},)"
        R"("platform":{"id":11,"name":"Customs Quay 1","track":"1"},)"
        R"("scheduled":25400,"scheduled_text":"07:03","expected":25400,"expected_text":"07:03","delay":0,)"
        R"("state":"NOT_STARTED","state_text":"NOT_STARTED","platform_state":"NO_VEHICLE_SCHEDULED",)"
        R"("at_platform":false,"is_stopping":true,"cancelled":false,"last_train":false,"priority":"ALL_STOPS",)"
        R"("priority_text":"ALL_STOPS","vehicle":null,"stops_ahead":[)"
        R"({"station_id":7,"name":"Lännavik","platform_id":13,"scheduled":25600,"scheduled_text":"07:06",)"
        R"("expected":25600,"expected_text":"07:06"}]}]})");
}

TEST_F(DeparturesTest, OfWhatNobodyKnows) {
    builder.feed().ready = false;
    EXPECT_EQ(answer({4711, 0, 20}, kStart),
              R"({"station":{"id":4711,"name":"","abrv":""},"status":"no_data","departures":[]})");
    EXPECT_EQ(answer({0, 4711, 20}, kStart),
              R"({"platform":{"id":4711,"name":"","track":"","station_id":0,"station_name":""},)"
              R"("status":"no_data","departures":[]})");
}

TEST_F(DeparturesTest, IsTheSameTextAsLongAsNothingInItChanges) {
    run(service(12, Service::RUNNING, "121!122!123"));
    const std::string before = answer({5, 0, 20}, kStart);
    line(2, "Headland Line");
    EXPECT_EQ(answer({5, 0, 20}, kStart + 30), before);
}

TEST_F(DeparturesTest, KnowsStationsAndPlatformsOnceTheFeedIsReady) {
    publish();
    EXPECT_TRUE(knows(*picture, {5, 0, 20}));
    EXPECT_FALSE(knows(*picture, {9, 0, 20}));
    EXPECT_TRUE(knows(*picture, {0, 9, 20}));
    EXPECT_FALSE(knows(*picture, {0, 5, 20}));
    EXPECT_FALSE(knows(*picture, {0, 0, 20}));
    builder.feed().ready = false;
    publish();
    EXPECT_TRUE(knows(*picture, {9, 0, 20}));
}

TEST_F(DeparturesTest, NoTrainsAndNoDataAreDifferent) {
    EXPECT_EQ(board(kStart), "no_trains");
    run(service(12));
    EXPECT_EQ(board(kStart), "12 07:01 07:01");
    builder.feed().ready = false;
    EXPECT_EQ(board(kStart), "no_data") << "nothing has been taken yet";
    builder.feed().ready = true;
    builder.acceptDeletion(7, 0);
    EXPECT_EQ(board(kStart), "no_data") << "no timetable";
}

TEST_F(DeparturesTest, OfAStationTakeItsPlatformsTogether) {
    addPlatform(10, "Harbour Central 2", 5);
    addTrip(4, "back", "41!42");
    tripStop(41, {"4", "10", "Y", "0", "0"});
    tripStop(42, {"4", "11", "Y", "100", "100"});
    update(service(12));
    Service other(13, 4, kStart);
    update(other);
    const std::string json = answer({5, 0, 20}, kStart);
    EXPECT_LT(json.find(R"("service_id":13)"), json.find(R"("service_id":12)"));
    EXPECT_NE(json.find(R"("name":"Harbour Central 2","track":"2")"), std::string::npos);
    EXPECT_EQ(board(kStart), "12 07:01 07:01") << "the platform alone";
}

// --- Times --------------------------------------------------------------------------------------

TEST_F(DeparturesTest, AnEarlyTrainsDelayIsNegative) {
    run(service(12, Service::RUNNING, "121!122!123"), "-60");  // shows as 4294967236
    EXPECT_EQ(board(kStart), "12 07:01 07:00");
    EXPECT_TRUE(shows(R"("delay":-60)"));
}

TEST_F(DeparturesTest, ArrivalsAndDeparturesHaveDelaysOfTheirOwn) {
    run(service(12));
    serviceStop(121, {"12", "31", "25200", "60", "120"});
    serviceStop(122, {"12", "32", "25200", "180", "240"});
    EXPECT_EQ(board(kStart), "12 07:01 07:03") << "it departs";
    EXPECT_TRUE(shows(R"("scheduled":25380,"scheduled_text":"07:03","expected":25560,)")) << "and arrives there";
}

TEST_F(DeparturesTest, TimesGoOnPastMidnight) {
    run(service(12, Service::NOT_STARTED, "121!122!123", 86400 - 90), "0");
    run(service(13, Service::NOT_STARTED, "131!132!133", 86400 + 600), "120");
    EXPECT_EQ(board(86400 - 300), "12 23:59 23:59, 13 00:11 00:13") << "the feed before midnight";
    EXPECT_EQ(board(86400 + 300), "12 23:59 23:59, 13 00:11 00:13") << "and after it";
    EXPECT_EQ(board(86400 + 1800), "13 00:11 00:13");
    EXPECT_TRUE(shows(R"("scheduled":87060,"scheduled_text":"00:11","expected":87180)", 86400));
}

TEST_F(DeparturesTest, TheStoresHostReadsOffsetsWithTheirSign) {
    tripStop(31, {"3", "9", "Y", "-120", "-60"});
    update(service(12));
    EXPECT_EQ(board(kStart), "12 06:59 06:59");
}

// --- The day of a time of day -------------------------------------------------------------------

TEST_F(DeparturesTest, ANightTrainOfTheDayBeforeStandsInItsPlace) {
    update(service(12, Service::NOT_STARTED, "", 27 * 3600 + 1800));  // 03:31 of the night
    update(service(13, Service::NOT_STARTED, "", 3 * 3600 + 600));    // 03:11
    update(service(14, Service::NOT_STARTED, "", 4 * 3600 + 1200));   // 04:21
    const std::string all = "13 03:11 03:11, 12 03:31 03:31, 14 04:21 04:21";
    EXPECT_EQ(board(wallAt("23:50")), all);
    EXPECT_EQ(board(wallAt("00:10")), all);
    EXPECT_EQ(board(wallAt("02:50")), all);
    EXPECT_EQ(board(wallAt("03:10")), all);
    EXPECT_EQ(board(wallAt("04:00")), "12 03:31 03:31, 14 04:21 04:21");
    EXPECT_EQ(board(wallAt("04:02")), "14 04:21 04:21");
    EXPECT_EQ(board(wallAt("09:32")), "13 03:11 03:11, 12 03:31 03:31") << "the night to come has them again";
}

TEST_F(DeparturesTest, AnEarlyTrainOfTheNewDayIsThereBeforeTheDayStarts) {
    update(service(12, Service::NOT_STARTED, "", 3600 + 840));  // 01:15
    const std::string early = "12 01:15 01:15";
    EXPECT_EQ(board(wallAt("23:50")), early);
    EXPECT_EQ(board(wallAt("00:50")), early);
    EXPECT_EQ(board(wallAt("01:45")), early);
    EXPECT_EQ(board(wallAt("01:46")), "no_trains");
    EXPECT_EQ(board(wallAt("00:50", kMidnight, "00:00")), early) << "whenever the day starts";
}

TEST_F(DeparturesTest, TimesCountFromTheDayOfNowWhicheverDayTheServiceRuns) {
    update(service(12, Service::NOT_STARTED, "", 27 * 3600 + 1800));
    EXPECT_NE(
        answer({5, 0, 20}, wallAt("02:50")).find(R"("scheduled":99060,"scheduled_text":"03:31","expected":99060,)"),
        std::string::npos);
    const std::string json = answer({5, 0, 20}, wallAt("03:10"));
    EXPECT_NE(json.find(R"("scheduled":12660,"scheduled_text":"03:31","expected":12660,)"), std::string::npos);
    EXPECT_NE(json.find(R"("name":"Customs Quay","platform_id":11,"scheduled":12780,"scheduled_text":"03:33",)"),
              std::string::npos)
        << "its stops ahead, too";
}

TEST_F(DeparturesTest, ATrainStaysInOneDayFromItsFirstCallToItsLast) {
    tripStop(33, {"3", "13", "Y", "36000", "36060"});
    addTrip(3, "ten hours and on", "31!32!33!34");
    tripStop(34, {"3", "9", "Y", "40000", "40060"});
    run(service(12, Service::RUNNING, "123", 20 * 3600));
    EXPECT_EQ(board(wallAt("05:50"), 13), "12 06:01 06:01");
    EXPECT_EQ(board(wallAt("07:50"), 13), "12 06:01 06:01") << "late, and under way since yesterday";
    EXPECT_NE(answer({0, 13, 20}, wallAt("07:50")).find(R"("scheduled":21660,)"), std::string::npos)
        << "it was due today";
    run(service(12, Service::NOT_STARTED, "", 20 * 3600));
    EXPECT_EQ(board(wallAt("07:50")), "12 20:01 20:01") << "tonight's has not begun";
    EXPECT_EQ(board(wallAt("07:50"), 13), "12 06:01 06:01") << "and calls there tomorrow";
    run(service(12, Service::CANCELLED, "", 20 * 3600));
    EXPECT_EQ(board(wallAt("07:50")), "12 20:01 20:01") << "nor will it";
}

TEST_F(DeparturesTest, TheFeedsOwnClockSaysWhichDayItIs) {
    update(service(12, Service::NOT_STARTED, "", 27 * 3600 + 1800));
    update(service(13, Service::NOT_STARTED, "", 3 * 3600 + 600));
    EXPECT_EQ(board(26 * 3600 + 3000), "12 03:31 03:31") << "02:50 of the night: the other one left a day ago";
    EXPECT_EQ(board(3 * 3600), "13 03:11 03:11, 12 03:31 03:31") << "in the order of the operating day";
}

TEST_F(DeparturesTest, TheNightInWhichClocksChangeHasItsHourMore) {
    update(service(12, Service::NOT_STARTED, "", 27 * 3600));  // 02:01 by the clocks put back
    update(service(13, Service::NOT_STARTED, "", 26 * 3600));  // 02:01 by those not yet put back
    EXPECT_EQ(board(wallAt("01:01", kMidnightOfChange)), "13 02:01 02:01, 12 02:01 02:01");
    EXPECT_EQ(board(wallAt("01:32", kMidnightOfChange)), "12 02:01 02:01") << "02:32 by the clocks, for the first time";
    EXPECT_EQ(board(wallAt("02:31", kMidnightOfChange)), "12 02:01 02:01");
    EXPECT_EQ(board(wallAt("02:32", kMidnightOfChange)), "no_trains");
    update(service(14, Service::NOT_STARTED, "", 28 * 3600 + 600));  // 03:11, of the day before
    EXPECT_EQ(board(wallAt("03:10", kMidnightOfChange)), "14 03:11 03:11");
    EXPECT_EQ(board(wallAt("03:41", kMidnightOfChange)), "14 03:11 03:11");
    EXPECT_EQ(board(wallAt("03:42", kMidnightOfChange)), "no_trains");
}

// --- Who has left -------------------------------------------------------------------------------

TEST_F(DeparturesTest, ARunningTrainStaysHoweverLateItIs) {
    run(service(12, Service::RUNNING, "121!122!123"), "60");
    EXPECT_EQ(board(kStart + 7200), "12 07:01 07:02");
}

TEST_F(DeparturesTest, ATrainThatDepartedGoes) {
    run(service(12, Service::DEPARTED_STATION, "122!123"));
    EXPECT_EQ(board(kStart), "no_trains");
    EXPECT_EQ(board(kStart, 11), "12 07:03 07:03") << "the next station still has it ahead";
    EXPECT_EQ(board(kStart, 13), "no_trains") << "it ends there";
}

TEST_F(DeparturesTest, ATerminatedTrainGoes) {
    run(service(12, Service::TERMINATED, ""));
    run(service(13, Service::TERMINATED, "131!132!133"));
    EXPECT_EQ(board(kStart), "no_trains");
}

TEST_F(DeparturesTest, ARunningTrainOfWhichNobodySaysWhereItIsStaysByTheTime) {
    run(service(12, Service::RUNNING, ""), "60");
    update(service(13, Service::DEPARTED_STATION, ""));
    EXPECT_EQ(board(kStart), "13 07:01 07:01, 12 07:01 07:02");
    EXPECT_EQ(board(kStart + 60 + 300), "13 07:01 07:01, 12 07:01 07:02");
    EXPECT_EQ(board(kStart + 60 + 301), "12 07:01 07:02");
    EXPECT_EQ(board(kStart + 120 + 301), "no_trains");
    EXPECT_EQ(board(kStart + 120 + 301, 11), "13 07:03 07:03, 12 07:03 07:04") << "the next station has them ahead";
}

TEST_F(DeparturesTest, ARunningTrainWithNoStopsOfItsOwnStaysByTheTime) {
    update(service(12, Service::RUNNING, "121!122!123"));
    EXPECT_EQ(board(kStart + 60 + 300), "12 07:01 07:01");
    EXPECT_EQ(board(kStart + 60 + 301), "no_trains") << "a list of stops that have not come says nothing";
}

TEST_F(DeparturesTest, CallsWhoseStopHasNotComeGoByTheOnesThatHave) {
    update(service(12, Service::RUNNING, "121!122!123"));
    serviceStop(122, {"12", "32", "25200", "60", "60"});
    const double late = kStart + 7200;
    EXPECT_EQ(board(late), "12 07:01 07:01") << "one is listed before it";
    EXPECT_EQ(board(late, 11), "12 07:03 07:04");
    update(service(12, Service::RUNNING, "122!123"));
    EXPECT_EQ(board(kStart), "no_trains") << "it has left";
    EXPECT_EQ(board(late, 11), "12 07:03 07:04");

    builder.acceptDeletion(9, 122);
    serviceStop(121, {"12", "31", "25200", "60", "60"});
    update(service(12, Service::RUNNING, "121!122!123"));
    EXPECT_EQ(board(late), "12 07:01 07:02");
    EXPECT_EQ(board(late, 11), "12 07:03 07:03") << "behind the first";
    update(service(12, Service::RUNNING, "122!123"));

    builder.acceptDeletion(9, 121);
    serviceStop(123, {"12", "33", "25200", "60", "60"});
    EXPECT_EQ(board(kStart), "no_trains");
    EXPECT_EQ(board(late, 11), "12 07:03 07:03");
    update(service(12, Service::RUNNING, "123"));
    EXPECT_EQ(board(kStart, 11), "no_trains") << "its own place";
    update(service(12, Service::NOT_STARTED, "122!123"));
    EXPECT_EQ(board(kStart), "no_trains") << "a list counts before the run begins, too";
    EXPECT_EQ(board(kStart, 11), "12 07:03 07:03");
}

TEST_F(DeparturesTest, AListThatNamesStrangeStopsSaysNothing) {
    serviceStop(131, {"13", "33", "25200", "0", "0"});
    serviceStop(124, {"12", "4711", "25200", "0", "0"});
    serviceStop(123, {"12", "33", "25200", "0", "0"});
    const double late = kStart + 7200;
    for (const char* list : {"131", "124!123", "1!2!3!123"}) {
        update(service(12, Service::RUNNING, list));
        EXPECT_EQ(board(kStart), "12 07:01 07:01") << list;
        EXPECT_EQ(board(late), "no_trains") << list;
    }
    update(service(12, Service::RUNNING, "131!123"));
    EXPECT_EQ(board(late), "no_trains");
    EXPECT_EQ(board(late, 11), "12 07:03 07:03") << "another service's stop counts as one that has not come";
}

TEST_F(DeparturesTest, ATrainThatNeverRanIsNotKeptForEver) {
    run(service(12, Service::NOT_STARTED, "121!122!123"), "60");
    run(service(13, Service::NOT_STARTED, ""), "60");
    const int expected = kStart + 120;
    EXPECT_EQ(board(expected + 1800), "12 07:01 07:02, 13 07:01 07:02");
    EXPECT_EQ(board(expected + 1801), "no_trains");
}

TEST_F(DeparturesTest, ACancelledTrainStaysFiveMinutes) {
    run(service(12, Service::CANCELLED, "122"), "3600");
    EXPECT_EQ(board(kStart + 360), "12 07:01 08:01");
    EXPECT_TRUE(shows(R"("cancelled":true)"));
    EXPECT_EQ(board(kStart + 361), "no_trains");
}

TEST_F(DeparturesTest, AListWithUnusableIdsIsTreatedAsMissing) {
    run(service(12, Service::NOT_STARTED, "abc!122"));
    run(service(13, Service::NOT_STARTED, "132;133"));
    run(service(14, Service::NOT_STARTED, "99999999999"));
    run(service(15, Service::NOT_STARTED, "152!"));
    EXPECT_EQ(board(kStart), "12 07:01 07:01, 13 07:01 07:01, 14 07:01 07:01") << "15 has a list that leaves this out";
}

TEST_F(DeparturesTest, AListMayBeInAnyOrder) {
    run(service(12, Service::RUNNING, "123!122!121"));
    for (const int platformId : {9, 11}) EXPECT_NE(board(kStart + 7200, platformId), "no_trains") << platformId;
}

TEST_F(DeparturesTest, AListMayHaveBlanks) {
    run(service(12, Service::RUNNING, " 121! 122 !123 "));
    EXPECT_EQ(board(kStart), "12 07:01 07:01");
}

TEST_F(DeparturesTest, AStateWithoutANameCountsAsRunning) {
    run(service(12, static_cast<Service::State>(42), "121!122!123"));
    EXPECT_EQ(board(kStart + 7200), "12 07:01 07:01");
    EXPECT_TRUE(shows(R"("state":42,)"));
}

// --- Who departs at all -------------------------------------------------------------------------

TEST_F(DeparturesTest, TheLastStopIsNoDeparture) {
    update(service(12));
    EXPECT_EQ(board(kStart, 13), "no_trains");
    addTrip(3, "without a list", "");
    EXPECT_EQ(board(kStart, 13), "no_trains") << "by the times";
    EXPECT_EQ(board(kStart, 11), "12 07:03 07:03");
    addTrip(3, "garbled", "31!3#!33");
    EXPECT_EQ(board(kStart, 13), "no_trains");
    EXPECT_EQ(board(kStart, 11), "12 07:03 07:03");
}

TEST_F(DeparturesTest, TheListCountsForMoreThanTheTimes) {
    addTrip(3, "the other way round", "33!32!31");
    update(service(12));
    EXPECT_EQ(board(kStart, 9), "no_trains");
    EXPECT_EQ(board(kStart, 13), "12 07:06 07:06");
}

TEST_F(DeparturesTest, AStopThatTheTripDoesNotNameGoesByTheTimes) {
    addTrip(3, "short", "32!33");
    update(service(12));
    EXPECT_EQ(board(kStart), "12 07:01 07:01");
}

TEST_F(DeparturesTest, ATripMayNameStopsThatHaveNotCome) {
    addTrip(3, "longer", "31!32!33!34");
    update(service(12));
    EXPECT_EQ(board(kStart, 13), "12 07:06 07:06");
    EXPECT_TRUE(shows(R"("destination":{"id":7,)")) << "the last one that is known";
    tripStop(33, {"3", "4711", "Y", "400", "400"});
    EXPECT_TRUE(shows(R"("expected_text":"07:03"}]}]})")) << "nor is a platform that has not come a name to show";
    EXPECT_TRUE(shows(R"("destination":null,)")) << "it goes farther than Customs Quay";
    addPlatform(4711, "Siding 3", 4712);
    EXPECT_TRUE(shows(R"({"station_id":4712,"name":"Siding 3","platform_id":4711,)"));
}

TEST_F(DeparturesTest, AStopThatHasNotComeIsACallLikeAnyOther) {
    run(service(12), "60");
    builder.acceptDeletion(9, 122);
    EXPECT_EQ(board(kStart, 11), "12 07:03 07:03") << "without a known delay";
    EXPECT_NE(answer({0, 11, 20}, kStart).find(R"("service_stop_id":null,)"), std::string::npos);
    EXPECT_EQ(board(kStart), "12 07:01 07:02");
    EXPECT_TRUE(shows(R"("stops_ahead":[{"station_id":6,"name":"Customs Quay","platform_id":11,"scheduled":25380,)"
                      R"("scheduled_text":"07:03","expected":25380,)"));
    builder.acceptDeletion(9, 123);
    EXPECT_EQ(board(kStart, 11), "12 07:03 07:03") << "it goes on all the same";
    EXPECT_TRUE(shows(R"("destination":{"id":7,"name":"Lännavik"})"));
}

TEST_F(DeparturesTest, APassingTrainIsShownAsOne) {
    tripStop(32, {"3", "11", "N", "180", "180"});
    run(service(12));
    EXPECT_EQ(board(kStart, 11), "12 07:03 07:03");
    EXPECT_NE(answer({0, 11, 20}, kStart).find(R"("is_stopping":false)"), std::string::npos);
    EXPECT_FALSE(shows("Customs Quay")) << "nobody can get off there";
}

TEST_F(DeparturesTest, APasserThatBeginsOrEndsThereStaysOut) {
    tripStop(31, {"3", "9", "N", "0", "60"});
    tripStop(33, {"3", "13", "N", "400", "400"});
    run(service(12));
    EXPECT_EQ(board(kStart), "no_trains");
    EXPECT_EQ(board(kStart, 13), "no_trains");
}

TEST_F(DeparturesTest, ATrainMayCallTwice) {
    addTrip(3, "round", "31!32!34!33");
    tripStop(34, {"3", "9", "Y", "300", "320"});
    update(service(12));
    EXPECT_EQ(board(kStart), "12 07:01 07:01, 12 07:05 07:05");
}

TEST_F(DeparturesTest, ATripWithoutItsRecordStillRuns) {
    Service record = service(12);
    record.setName("Morning train");
    update(record);
    builder.accept({SignallingCodes::TRIP_DELETED, 3, Trip(3)});
    EXPECT_EQ(board(kStart), "12 07:01 07:01");
    EXPECT_TRUE(shows(R"("name":"Morning train","line":null,"destination":{"id":7,)"));
}

TEST_F(DeparturesTest, LineAndDestinationAreTheServicesOwnFirst) {
    line(2, "Headland Line", "HL");
    Service record = service(12);
    record.setLineId(2);
    record.setDestinationStationId(6);
    update(record);
    EXPECT_TRUE(shows(R"("line":{"id":2,"name":"Headland Line","abrv":"HL"},"destination":{"id":6,)"));
    record.setLineId(4711);
    record.setDestinationStationId(4711);
    update(record);
    EXPECT_TRUE(shows(R"("line":{"id":1,"name":"Mole Line","abrv":"ML"},"destination":{"id":7,)"));
}

TEST_F(DeparturesTest, IsAtThePlatformOnlyBetweenArrivalAndDeparture) {
    using S = Service;
    const std::string yes = R"("at_platform":true)";
    for (const S::State state : {S::IN_STATION, S::BOARDING, S::DEPARTING_STATION}) {
        run(service(12, state, "121!122!123"));
        EXPECT_TRUE(shows(yes)) << state;
    }
    for (const S::State state : {S::NOT_STARTED, S::RUNNING, S::APPROACHING_STATION, S::DEPARTED_STATION}) {
        run(service(12, state, "121!122!123"));
        EXPECT_FALSE(shows(yes)) << state;
    }
    run(service(12, S::BOARDING, "122!121"));
    EXPECT_FALSE(shows(yes)) << "it stands elsewhere";
    run(service(12, S::BOARDING, ""));
    EXPECT_FALSE(shows(yes)) << "nobody says where";
}

TEST_F(DeparturesTest, IsAtThePlatformOfAStopThatHasNotCome) {
    const auto isAt = [this](int platformId) {
        return answer({0, platformId, 20}, kStart).find(R"("at_platform":true)") != std::string::npos;
    };
    update(service(12, Service::BOARDING, "121!122!123"));
    EXPECT_FALSE(isAt(9)) << "nobody says where";
    serviceStop(123, {"12", "33", "25200", "0", "0"});
    EXPECT_TRUE(isAt(9));
    EXPECT_FALSE(isAt(11)) << "it stands elsewhere";
    update(service(12, Service::BOARDING, "122!123"));
    EXPECT_TRUE(isAt(11));
    update(service(12, Service::RUNNING, "122!123"));
    EXPECT_FALSE(isAt(11)) << "it is on its way";
}

TEST_F(DeparturesTest, TheTrackIsThePlatformsNameWithoutTheStations) {
    update(service(12));
    const auto trackOf = [this](const std::string& name) {
        addPlatform(9, name, 5);
        publish();
        const std::string json = answer({0, 9, 0}, kStart);
        const std::size_t begin = json.find(R"("track":")") + 9;
        return json.substr(begin, json.find('"', begin) - begin);
    };
    EXPECT_EQ(trackOf("Harbour Central 1"), "1");
    EXPECT_EQ(trackOf("Harbour Central  12 B"), "12 B");
    EXPECT_EQ(trackOf("Harbour Central"), "Harbour Central");
    EXPECT_EQ(trackOf("Harbour Central "), "Harbour Central ");
    EXPECT_EQ(trackOf("Harbour Centrally 1"), "Harbour Centrally 1");
    EXPECT_EQ(trackOf("Track 1"), "Track 1");
}

TEST_F(DeparturesTest, TheBoardsAreTheStationsWithTheirPlatformsAndTracks) {
    addPlatform(8, "Harbour Centrally 1", 5);
    addPlatform(10, "Quay \"B\"", 5);
    addPlatform(99, "Nowhere 1", 77);
    Station halt(4);
    halt.setName("Halt");
    update(halt);
    publish();
    EXPECT_EQ(boardsJson(*picture),
              R"({"stations":[{"id":4,"name":"Halt","platforms":[]},)"
              R"({"id":5,"name":"Harbour Central","platforms":[)"
              R"({"id":8,"name":"Harbour Centrally 1","track":"Harbour Centrally 1"},)"
              R"({"id":9,"name":"Harbour Central 1","track":"1"},)"
              R"({"id":10,"name":"Quay \"B\"","track":"Quay \"B\""}]},)"
              R"({"id":6,"name":"Customs Quay","platforms":[{"id":11,"name":"Customs Quay 1","track":"1"}]},)"
              R"({"id":7,"name":"Lännavik","platforms":[{"id":13,"name":"Lännavik 1","track":"1"}]}]})");
}

// --- Order --------------------------------------------------------------------------------------

TEST_F(DeparturesTest, ComeByExpectedThenScheduledTimeThenService) {
    run(service(10, Service::NOT_STARTED, "", kStart + 120), "0");  // 07:03 07:03
    run(service(14, Service::NOT_STARTED, "", kStart), "120");      // 07:01 07:03
    run(service(13, Service::NOT_STARTED, "", kStart), "120");      // 07:01 07:03
    run(service(12, Service::NOT_STARTED, "", kStart + 60), "0");   // 07:02 07:02
    run(service(11, Service::CANCELLED, "", kStart), "3600");       // 07:01, and would be 08:01
    EXPECT_EQ(board(kStart), "11 07:01 08:01, 12 07:02 07:02, 13 07:01 07:03, 14 07:01 07:03, 10 07:03 07:03");
    EXPECT_EQ(board(kStart, 9, 2), "11 07:01 08:01, 12 07:02 07:02") << "the limit counts from the front";
    EXPECT_EQ(board(kStart, 9, 0), "departures");
}

// --- What a feed can do at worst ----------------------------------------------------------------

TEST_F(DeparturesTest, NumbersAtTheEdgesGiveTimesAllTheSame) {
    tripStop(31, {"3", "9", "Y", "2147483647", "2147483647"});
    tripStop(32, {"3", "11", "Y", "-2147483648", "-2147483648"});
    run(service(12, Service::RUNNING, "121!122!123", 0x7fffffffUL), "2147483647");
    run(service(13, Service::RUNNING, "131!132!133", 0x80000000UL), "-2147483648");
    const std::string json = answer({5, 0, 20}, -1e300);
    EXPECT_NE(json.find(R"("scheduled":4294967294,)"), std::string::npos);
    EXPECT_NE(json.find(R"("expected":6442450941,)"), std::string::npos);
    EXPECT_EQ(board(1e300).substr(0, 3), "13 ");
}

TEST_F(DeparturesTest, GarbageInEveryTextIsTakenAsItIs) {
    for (const char* garbage : {"!", "!!!", "31!31!31", "-1!-2", "0!0", "31!", "\"31\"!32", "31\\!32", "\xff\xfe!1",
                                "2147483648", "1 2!3", "(null)", "31!32!33!31"}) {
        addTrip(3, garbage, garbage);
        Service record = service(12, Service::RUNNING, garbage);
        record.setStateText(garbage);
        run(record);
        addPlatform(9, garbage, 5);
        for (const int platformId : {9, 11, 13}) {
            const std::string json = answer({0, platformId, 20}, kStart);
            EXPECT_EQ(json.front(), '{') << garbage;
            EXPECT_EQ(json.back(), '}') << garbage;
            EXPECT_EQ(json.find('\xff'), std::string::npos) << garbage;
        }
    }
}

TEST_F(DeparturesTest, ManyCallsAtOnePlatformTakeTheirTimeOnce) {
    std::string list;
    for (int id = 1000; id < 6000; ++id) {
        tripStop(id, {"3", "9", "Y", "0", "60"});
        list += std::to_string(id) + "!";
    }
    addTrip(3, "hostile", list);
    update(service(12, Service::RUNNING, list));
    for (int id = 1000; id < 6000; ++id) {
        const std::string stop = std::to_string(id);
        serviceStop(id, {"12", stop.c_str(), "0", "0", "0"});
    }
    publish();
    CallBook book(picture);
    Reads reads;
    PictureReader reader(book, reads);
    EXPECT_EQ(NextCalls(reader, momentOf(kStart)).at({9}, 10000).size(), 4999U) << "each of them but the last";
}

TEST(IdsOf, ReadsListStrings) {
    EXPECT_EQ(idsOf(""), std::vector<int>{});
    EXPECT_EQ(idsOf("11!12"), (std::vector<int>{11, 12}));
    EXPECT_EQ(idsOf(" 11 !!\t-12!"), (std::vector<int>{11, -12}));
    EXPECT_EQ(idsOf("11!x"), std::vector<int>{});
    EXPECT_EQ(idsOf("11!0"), std::vector<int>{});
    EXPECT_EQ(idsOf("11!2147483648"), std::vector<int>{});
}

}  // namespace

}  // namespace pis::picture
