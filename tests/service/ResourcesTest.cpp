// What stands at each path of the service.
#include "ServiceTest.h"

namespace pis::service {

namespace {

using Resources = ServiceTest;
using ::testing::Test;

// --- Tables ---

TEST_F(Resources, TablesAreWhatAReplayOfTheSameRecordsLeaves) {
    const std::string records = outputOf({"simulate", PIS_NETWORK, "--start", "07:00", "--until", "07:20"});
    serve(records);
    Rows wanted = rowsOfLines(outputOf({"replay", "--dump", "-"}, records));
    Rows found = tables();
    EXPECT_FALSE(found["service_stops"].empty());
    EXPECT_EQ("", differenceOf(wanted, found));
}

TEST_F(Resources, EveryRowSaysWhenItWasUpdated) {
    serve();
    const std::string row = get("/api/v1/stations/1").body;
    const std::string time = valueAt(row, "/updated_at");
    ASSERT_EQ(24U, time.size()) << row;
    EXPECT_EQ('T', time[10]);
    EXPECT_EQ('Z', time[23]);
    EXPECT_EQ(row, value("/api/v1/stations", "/items/0"));
}

TEST_F(Resources, AServiceStopIsJoinedWithItsTripStop) {
    serve();
    EXPECT_EQ(R"({"table":"service_stops","id":81,"service_id":8,"trip_stop_id":51,"service_start_time":30600,)"
              R"("arv_delay":-60,"dep_delay":-60,"trip_id":5,"platform_id":11,"is_stopping":true,)"
              R"("sch_arv_offset":0,"sch_dep_offset":0})",
              withoutUpdatedAt(get("/api/v1/service-stops/81").body));
    feedWhole(feed::tripStop(51, 5, 12, 30));
    EXPECT_EQ("12", value("/api/v1/service-stops/81", "/platform_id"));
    EXPECT_EQ("30", value("/api/v1/service-stops/71", "/sch_dep_offset"));
    feedWhole(feed::removal(7, 51));
    EXPECT_EQ("0", value("/api/v1/service-stops/81", "/platform_id"));
}

TEST_F(Resources, AListSaysItsTableAndHowManyItHolds) {
    serve();
    const std::string list = get("/api/v1/trip-stops").body;
    EXPECT_EQ("trip_stops", valueAt(list, "/table"));
    EXPECT_EQ("2", valueAt(list, "/count"));
    EXPECT_EQ("51", valueAt(list, "/items/0/id"));
    EXPECT_EQ("none", valueAt(list, "/items/2"));
}

TEST_F(Resources, IdsThatAreNoneAreRefused) {
    serve();
    EXPECT_PROBLEM(404, "id", get("/api/v1/stations/99"));
    EXPECT_PROBLEM(404, "id", get("/api/v1/stations/-1"));
    EXPECT_PROBLEM(404, "id", get("/api/v1/stations/2147483647"));
    for (const char* id : {"abc", "1.0", "+1", "%201", "1%20", "2147483648", "-2147483649", "99999999999999999999",
                           "%00", "1%00", "0x1", "%ff"}) {
        SCOPED_TRACE(id);
        EXPECT_PROBLEM(400, "id", get(std::string("/api/v1/stations/") + id));
        EXPECT_PROBLEM(400, "id", get(std::string("/api/v1/stations/") + id + "/departures"));
    }
    EXPECT_EQ(200, get("/api/v1/stations/%31").status);
}

TEST_F(Resources, DeletionsOfEveryFormEmptyTheTables) {
    serve();
    feedWhole(feed::removal(9, 71));
    EXPECT_EQ(404, get("/api/v1/service-stops/71").status);
    feedWhole(feed::removal(9, 0));
    EXPECT_EQ("0", value("/api/v1/service-stops", "/count"));
    EXPECT_EQ("2", value("/api/v1/trip-stops", "/count"));
    feedWhole(feed::removal(0, 0));
    for (const auto& [table, rows] : tables()) EXPECT_TRUE(rows.empty()) << table;
}

TEST_F(Resources, StationFiltersLeaveWhatBelongsThere) {
    serve();
    const auto ids = [this](const std::string& target) {
        Rows rows;
        addRowsAt(rows, get(target).body, "/items");
        std::string text;
        for (const auto& table : rows) {
            for (const long id : idsOf(rows, table.first)) text += std::to_string(id) + " ";
        }
        return text;
    };
    EXPECT_EQ("11 12 ", ids("/api/v1/platforms?station=1"));
    EXPECT_EQ("51 ", ids("/api/v1/trip-stops?station=1"));
    EXPECT_EQ("72 82 ", ids("/api/v1/service-stops?station=2"));
    EXPECT_EQ("5 ", ids("/api/v1/trips?station=2"));
    EXPECT_EQ("7 8 ", ids("/api/v1/services?station=2"));
    EXPECT_EQ("", ids("/api/v1/services?station=3"));
    EXPECT_PROBLEM(404, "station", get("/api/v1/platforms?station=9"));
    EXPECT_PROBLEM(404, "station", get("/api/v1/platforms?station=0"));
    EXPECT_PROBLEM(400, "station", get("/api/v1/platforms?station=West"));
    EXPECT_PROBLEM(400, "station", get("/api/v1/platforms?station="));
    EXPECT_PROBLEM(400, "station", get("/api/v1/lines?station=1"));
}

// --- What changed since ---

TEST_F(Resources, SinceTellsWhatChangedAndWhatWent) {
    serve();
    const std::string before = value("/api/v1/lines", "/revision");
    feedWhole(feed::line(1, "Coast Line West") + feed::line(2, "Hill Line") + feed::station(4, "North", ""));
    feedWhole(feed::removal(2, 2) + feed::line(3, "Valley Line"));
    const std::string changes = get("/api/v1/lines?since=" + before).body;
    Rows rows;
    addRowsAt(rows, changes, "/items");
    EXPECT_EQ((std::set<long>{1, 3}), idsOf(rows, "lines"));
    EXPECT_EQ(1U, rows.size()) << "rows of other tables";
    EXPECT_EQ(before, valueAt(changes, "/since"));
    const std::string removed = valueAt(changes, "/removed");
    EXPECT_NE(std::string::npos, removed.find("2")) << removed;
    EXPECT_EQ(value("/api/v1/lines", "/revision"), valueAt(changes, "/revision"));
}

TEST_F(Resources, SinceTheLatestRevisionThereIsNothingNew) {
    serve();
    const std::string latest = value("/api/v1/lines", "/revision");
    const Answer answer = get("/api/v1/lines?since=" + latest);
    EXPECT_EQ(200, answer.status);
    EXPECT_EQ("[]", valueAt(answer.body, "/items"));
    EXPECT_EQ("[]", valueAt(answer.body, "/removed"));
    EXPECT_EQ(latest, valueAt(answer.body, "/revision"));
    EXPECT_EQ(304, get("/api/v1/lines?since=" + latest, {{"If-None-Match", answer.header("etag")}}).status);
}

TEST_F(Resources, ARevisionOfAnotherRunIsGone) {
    serve();
    const std::string earlier = value("/api/v1/lines", "/revision");
    serve();
    ASSERT_NE(earlier, value("/api/v1/lines", "/revision"));
    const Answer answer = get("/api/v1/lines?since=" + earlier);
    EXPECT_PROBLEM(410, "since", answer);
    EXPECT_EQ(value("/api/v1/lines", "/revision"), valueAt(answer.body, "/revision"));
}

TEST_F(Resources, ARevisionStillToComeIsGone) {
    serve();
    const std::string latest = value("/api/v1/lines", "/revision");
    EXPECT_PROBLEM(410, "since", get("/api/v1/lines?since=" + latest.substr(0, latest.find('-')) + "-999999"));
}

TEST_F(Resources, RevisionsThatAreNoneAreRefused) {
    serve();
    for (const char* token : {"", "5", "-", "-5", "abc-", "abc-x", "ABC-5", "a b-5", "abc-99999999999999999999999",
                              "abc--5", "abc-5%00", "%C3%A4-5"}) {
        SCOPED_TRACE(token);
        EXPECT_PROBLEM(
            400, "since",
            get(std::string("/api/v1/lines?since=") + (*token == 'a' && token[1] == ' ' ? "a%20b-5" : token)));
    }
    EXPECT_PROBLEM(400, "since", get("/api/v1/trips?station=1&since=" + value("/api/v1/trips", "/revision")));
}

// --- Before the first record, and after the last ---

TEST_F(Resources, BeforeTheFirstRecordNobodyCanSay) {
    serve("");
    EXPECT_PROBLEM(503, "none", get("/api/v1/lines"));
    EXPECT_PROBLEM(503, "none", get("/api/v1/lines/1"));
    EXPECT_EQ("2", get("/api/v1/lines").header("retry-after"));
    EXPECT_EQ(503, get("/readyz").status);
    EXPECT_EQ("false", value("/readyz", "/ready"));
    EXPECT_EQ(200, get("/healthz").status);
    EXPECT_EQ(200, get("/api/v1/status").status);
    EXPECT_EQ("no_data", value("/api/v1/stations/1/departures", "/status"));
    EXPECT_EQ(0, metric("pis_ready"));
    EXPECT_PROBLEM(503, "none", get("/api/v1/changes?station=1"));
    feedWhole(feed::line(1, "Coast Line"));
    EXPECT_EQ(200, get("/api/v1/lines").status);
    EXPECT_EQ(200, get("/readyz").status);
    EXPECT_EQ(1, metric("pis_ready"));
}

TEST_F(Resources, ASnapshotIsShownWhole) {
    serve("");
    service->feed(feed::kBegin + feed::line(1, "Coast Line"));
    patience::await("the record taken",
                    [&] { return metric(R"(pis_records_total{type="line",outcome="delivered"})") == 1; });
    EXPECT_EQ(503, get("/readyz").status) << "half a snapshot";
    service->feed(feed::line(2, "Hill Line") + feed::kEnd);
    patience::await("readiness", [&] { return get("/readyz").status == 200; });
    EXPECT_EQ("2", value("/api/v1/lines", "/count"));
}

// --- Departures ---

TEST_F(Resources, DeparturesOfAStationAndOfAPlatform) {
    serve();
    const std::string ofStation = get("/api/v1/stations/1/departures").body;
    EXPECT_EQ("departures", valueAt(ofStation, "/status"));
    EXPECT_EQ("7", valueAt(ofStation, "/departures/0/service_id"));
    EXPECT_EQ("28800", valueAt(ofStation, "/departures/0/scheduled"));
    EXPECT_EQ("28920", valueAt(ofStation, "/departures/0/expected"));
    EXPECT_EQ("08:02", valueAt(ofStation, "/departures/0/expected_text"));
    EXPECT_EQ("East", valueAt(ofStation, "/departures/0/destination/name"));
    EXPECT_EQ("-60", valueAt(ofStation, "/departures/1/delay"));
    EXPECT_EQ("30540", valueAt(ofStation, "/departures/1/expected"));
    EXPECT_EQ("none", valueAt(ofStation, "/departures/2"));
    EXPECT_EQ("7", value("/api/v1/platforms/11/departures", "/departures/0/service_id"));
    EXPECT_EQ("no_trains", value("/api/v1/platforms/12/departures", "/status"));
    EXPECT_EQ("no_trains", value("/api/v1/stations/3/departures", "/status"));
}

TEST_F(Resources, DeparturesThatCannotBeAskedFor) {
    serve();
    EXPECT_PROBLEM(404, "id", get("/api/v1/stations/9/departures"));
    EXPECT_PROBLEM(404, "id", get("/api/v1/platforms/1/departures"));
    for (const char* limit : {"0", "-1", "201", "x", "", "1e1"}) {
        EXPECT_PROBLEM(400, "limit", get(std::string("/api/v1/stations/1/departures?limit=") + limit));
    }
}

TEST_F(Resources, DeparturesKeepTheirTagUntilTheyChange) {
    serve();
    EXPECT_EQ("none", value("/api/v1/stations/1/departures?limit=1", "/departures/1"));
    const std::string tag = get("/api/v1/stations/1/departures").header("etag");
    feedWhole(feed::station(3, "South Junction", "31"));
    EXPECT_EQ(304, get("/api/v1/stations/1/departures", {{"If-None-Match", tag}}).status) << "nothing changed there";
    feedWhole(feed::serviceStop(71, 7, 51, 28800, "180"));
    const Answer changed = get("/api/v1/stations/1/departures", {{"If-None-Match", tag}});
    EXPECT_EQ(200, changed.status);
    EXPECT_EQ("28980", valueAt(changed.body, "/departures/0/expected"));
    EXPECT_EQ(
        4, metric(R"(pis_departure_answers_total{how="made"})") + metric(R"(pis_departure_answers_total{how="kept"})"));
}

TEST_F(Resources, ATrainThatHasLeftGoes) {
    serve();
    ASSERT_EQ("7", value("/api/v1/stations/1/departures", "/departures/0/service_id"));
    feedWhole(feed::update(12, 7, {"72", "6", "DEPARTED_STATION"}));
    EXPECT_EQ("8", value("/api/v1/stations/1/departures", "/departures/0/service_id"));
}

// --- For whoever looks after the service ---

TEST_F(Resources, StatusTellsOfClockLinkAndTables) {
    serve();
    const std::string status = get("/api/v1/status").body;
    EXPECT_EQ("true", valueAt(status, "/ready"));
    EXPECT_EQ("false", valueAt(status, "/stale"));
    EXPECT_EQ("28000.0", valueAt(status, "/clock/seconds"));
    EXPECT_EQ("07:46", valueAt(status, "/clock/text"));
    EXPECT_EQ("feed", valueAt(status, "/clock/source"));
    EXPECT_EQ("file:-", valueAt(status, "/link/name"));
    EXPECT_EQ("up", valueAt(status, "/link/state"));
    EXPECT_EQ("true", valueAt(status, "/server_online"));
    EXPECT_EQ("3", valueAt(status, "/tables/stations"));
    EXPECT_EQ("4", valueAt(status, "/tables/service_stops"));
    service->endInput();
    patience::await("the end of the feed", [this] { return value("/api/v1/status", "/link/state") == "ended"; });
    EXPECT_EQ(200, get("/readyz").status);
    EXPECT_EQ("departures", value("/api/v1/stations/1/departures", "/status"));
}

TEST_F(Resources, TheSignallingServerIsOnlineOfflineOrUnknown) {
    serve(feed::line(1, "Coast Line") + feed::update(98, 2, {"", "", "1"}) + feed::update(98, 1, {"", ""}));
    const auto expectServer = [this](const std::string& wanted) {
        EXPECT_EQ(wanted, value("/api/v1/status", "/server_status"));
        for (const char* state : {"online", "offline", "unknown"}) {
            EXPECT_EQ(state == wanted ? 1 : 0,
                      metric("pis_signalling_server_status{state=\"" + std::string(state) + "\"}"));
        }
        EXPECT_EQ(wanted == "online" ? "true" : "false", value("/api/v1/status", "/server_online"));
    };
    expectServer("unknown");
    EventStream stream(service->port());
    EXPECT_EQ("unknown", valueAt(stream.nextRevision().data, "/server_status"));
    service->feed(feed::update(98, 1, {"", "", "0"}));
    patience::await("readers' hearing of it",
                    [&] { return valueAt(stream.nextRevision().data, "/server_status") == "offline"; });
    expectServer("offline");
    EXPECT_EQ("false", value("/api/v1/status", "/stale")) << "it is not silent";
    EXPECT_EQ(200, get("/readyz").status);
    feedWhole(feed::update(98, 1, {"", "", "1"}));
    expectServer("online");
}

TEST_F(Resources, SilenceMakesThePictureStale) {
    serve(feed::railway(), {"--stale-after", "0.1"});
    patience::await("staleness", [this] { return value("/api/v1/status", "/stale") == "true"; });
    EXPECT_EQ(1, metric("pis_feed_stale"));
    EXPECT_EQ(200, get("/readyz").status);
}

TEST_F(Resources, ALinkNameOfAnyBytesLeavesTheStatusJson) {
    service = std::make_unique<ServiceProcess>(std::vector<std::string>{"--link", "file:/nowhere/\xff\"\n.jsonl"});
    patience::await("the fallen link", [this] { return value("/api/v1/status", "/link/state") == "down"; });
    EXPECT_NE(std::string::npos, value("/api/v1/status", "/link/detail").find("cannot open"));
}

TEST_F(Resources, MetricsAreInTheTextFormat) {
    serve();
    get("/api/v1/lines/1");
    get("/api/v1/lines/99");
    get("/nowhere");
    const Answer answer = get("/metrics");
    EXPECT_EQ("text/plain; version=0.0.4; charset=utf-8", answer.header("content-type"));
    std::istringstream lines(answer.body);
    std::set<std::string> typed;
    std::set<std::string> samples;
    for (std::string line; std::getline(lines, line);) {
        SCOPED_TRACE(line);
        if (line.rfind("# TYPE ", 0) == 0) {
            EXPECT_TRUE(typed.insert(line.substr(7, line.find(' ', 7) - 7)).second) << "typed twice";
            continue;
        }
        if (line.rfind("# HELP ", 0) == 0) continue;
        const std::size_t space = line.rfind(' ');
        ASSERT_NE(std::string::npos, space);
        EXPECT_TRUE(samples.insert(line.substr(0, space)).second) << "a sample twice";
        std::size_t used = 0;
        const std::string number = line.substr(space + 1);
        EXPECT_GE(std::stod(number, &used), 0);
        EXPECT_EQ(number.size(), used);
        std::string name = line.substr(0, line.find_first_of("{ "));
        for (const char* part : {"_bucket", "_sum", "_count"}) {
            if (typed.count(name) == 0 && name.size() > strlen(part) &&
                name.substr(name.size() - strlen(part)) == part) {
                name.resize(name.size() - strlen(part));
            }
        }
        EXPECT_EQ(1U, typed.count(name)) << "a sample without its type";
    }
    EXPECT_EQ(3, metric(R"(pis_table_rows{table="stations"})"));
    EXPECT_EQ(1, metric(R"(pis_link_state{state="up"})"));
    EXPECT_EQ(0, metric(R"(pis_link_state{state="down"})"));
    EXPECT_EQ(4, metric(R"(pis_records_total{type="service stop",outcome="delivered"})"));
    EXPECT_EQ(1, metric(R"(pis_http_answers_total{route="none",status="404"})"));
    EXPECT_EQ(1, metric(R"(pis_snapshots_total)"));
}

TEST_F(Resources, WhatIsNotTakenIsCounted) {
    serve(feed::railway() + "no record\n" + R"({"update":5,"id":1,"fields":7})" + "\n" + feed::update(77, 1, {}) +
              feed::line(0, "nobody") + feed::line(9, "too many") + feed::removal(2, 1),
          {"--max-elements", "18"});
    EXPECT_EQ(1, metric(R"(pis_records_total{type="unknown",outcome="malformed"})"));
    EXPECT_EQ(1, metric(R"(pis_records_total{type="platform",outcome="malformed"})"));
    EXPECT_EQ(1, metric(R"(pis_records_total{type="unknown",outcome="ignored"})"));
    EXPECT_EQ(1, metric(R"(pis_records_total{type="line",outcome="ignored"})"));
    EXPECT_EQ(1, metric(R"(pis_records_total{type="line",outcome="refused"})"));
    EXPECT_EQ(404, get("/api/v1/lines/9").status);
}

TEST_F(Resources, TextsOfElementsAreLimitedTogether) {
    serve(feed::kBegin + feed::kEnd, {"--max-bytes", "1KiB"});
    feedWhole(feed::line(1, std::string(1000, 'x')) + feed::line(2, std::string(40, 'x')) + feed::line(3, "short"));
    EXPECT_EQ(1, metric(R"(pis_records_total{type="line",outcome="refused"})"));
    EXPECT_EQ(2, metric("pis_storage_elements"));
    EXPECT_EQ(1011, metric("pis_storage_bytes")) << "1001, 6 and twice 2";
    EXPECT_EQ(R"({"elements":2,"bytes":1011})", value("/api/v1/status", "/storage"));
    EXPECT_EQ("id 2 takes 43 bytes more, and 1024 bytes of all elements are the most",
              value("/api/v1/status", "/intake/0/last_reason"));
    feedWhole(feed::line(3, std::string(40, 'x')));
    EXPECT_EQ("short", value("/api/v1/lines/3", "/name")) << "what is refused leaves it as it was";
}

TEST_F(Resources, StatusTellsWhyWhatWasNotDelivered) {
    serve();
    EXPECT_EQ("[]", value("/api/v1/status", "/intake")) << "what is delivered needs no reason";
    feedWhole("nonsense\nmore of it\n{\"update\":5,\"id\":1}\n" + feed::update(77, 1, {}));
    const std::string status = get("/api/v1/status").body;
    const auto expectEntry = [&status](const std::string& place, const std::string& type, const std::string& outcome,
                                       const std::string& count, const std::string& reason) {
        EXPECT_EQ(type, valueAt(status, place + "/type")) << status;
        EXPECT_EQ(outcome, valueAt(status, place + "/outcome"));
        EXPECT_EQ(count, valueAt(status, place + "/count"));
        EXPECT_NE(std::string::npos, valueAt(status, place + "/last_reason").find(reason)) << status;
        EXPECT_EQ(std::string("2026-11-20T13:25:08.123Z").size(), valueAt(status, place + "/last_at").size());
        EXPECT_GT(valueAt(status, place + "/last_at"), "2020") << "it is the moment when it happened";
    };
    expectEntry("/intake/0", "platform", "malformed", "1", "\"fields\" is missing");
    expectEntry("/intake/1", "unknown", "ignored", "1", "77");
    expectEntry("/intake/2", "unknown", "malformed", "2", ": not JSON");
    EXPECT_EQ("none", valueAt(status, "/intake/3/type"));
    EXPECT_EQ(valueAt(status, "/intake"), value("/readyz", "/intake"));
}

TEST_F(Resources, MetricsAreForThisMachineAlone) {
    serve();
    EXPECT_EQ(200, get("/metrics").status);
    EXPECT_PROBLEM(403, "none", get("/metrics", {{"X-Forwarded-For", "192.0.2.7"}}));
    EXPECT_PROBLEM(403, "none", get("/metrics", {{"Forwarded", "for=192.0.2.7"}}));
    serve("", {"--open-metrics"});
    EXPECT_EQ(200, get("/metrics", {{"X-Forwarded-For", "192.0.2.7"}}).status);
}

TEST_F(Resources, PagesAreServedAndNothingElse) {
    serve("");
    for (const char* path :
         {"/", "/board", "/board?station=1", "/pages/board.js", "/pages/common.css", "/api/v1/openapi.json"}) {
        const Answer answer = get(path);
        EXPECT_EQ(200, answer.status) << path;
        EXPECT_FALSE(answer.body.empty()) << path;
        EXPECT_EQ(304, get(path, {{"If-None-Match", answer.header("etag")}}).status) << path;
    }
    EXPECT_EQ("3.1.0", value("/api/v1/openapi.json", "/openapi"));
    for (const char* path :
         {"/etc/passwd", "/../../etc/passwd", "/pages/../../etc/passwd", "/%2e%2e/%2e%2e/etc/passwd",
          "/pages/%2e%2e%2f%2e%2e%2fetc%2fpasswd", "/pages/board.js%00.css", "/pages/", "/pages", "//", "/api",
          "/api/v1", "/api/v1/", "/api/v2/lines", "/API/v1/lines", "/api/v1/trip_stops", "/api/v1/lines%2f1",
          "/api/v1/lines/1/departures", "/api/v1/lines/1/", "//api/v1/lines"}) {
        EXPECT_PROBLEM(404, "none", get(path));
    }
}

}  // namespace

}  // namespace pis::service
