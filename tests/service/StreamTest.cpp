// The stream of changes: what a reader gets first, then, after a break, and when it is slow.
#include <atomic>
#include <future>

#include "ServiceTest.h"
#include "service/ChangeStream.h"

namespace pis::service {

namespace {

class Stream : public ServiceTest {
protected:
    /// Waits until a line that was fed is seen: so a flood is no faster than what it floods.
    void awaitLine(long id) const {
        patience::await("a line of the flood",
                        [&] { return get("/api/v1/lines/" + std::to_string(id)).status == 200; });
    }
};

TEST_F(Stream, BeginsWithTheWholePicture) {
    serve();
    EventStream stream(service->port());
    EXPECT_EQ(200, stream.head().status);
    EXPECT_EQ("text/event-stream", stream.head().header("content-type"));
    EXPECT_EQ("no-store", stream.head().header("cache-control"));
    const Event reset = stream.next();
    EXPECT_EQ("reset", reset.kind);
    EXPECT_EQ(reset.id, valueAt(reset.data, "/revision"));
    EXPECT_EQ("", differenceOf(tables(), stream.rows()));
    const Event revision = stream.next();
    EXPECT_EQ("revision", revision.kind);
    EXPECT_EQ(reset.id, revision.id);
    EXPECT_EQ(revision.id, valueAt(revision.data, "/revision"));
    EXPECT_EQ("28000.0", valueAt(revision.data, "/clock/seconds"));
    EXPECT_EQ("up", valueAt(revision.data, "/link/state"));
}

TEST_F(Stream, WhatItHandsOutOfAFirstSnapshotThatDoesNotEndTablesAnswerToo) {
    serve("");
    service->feed(feed::kBegin + feed::line(1, "Coast Line"));
    EventStream stream(service->port());
    stream.awaitRow("lines", 1);
    EXPECT_EQ(200, get("/api/v1/lines/1").status);
    EXPECT_EQ("true", value("/readyz", "/part_of_snapshot"));
    EXPECT_EQ(200, get("/readyz").status);
    EXPECT_EQ(1, metric("pis_part_of_snapshot"));
    EXPECT_EQ("true", valueAt(stream.nextRevision().data, "/part_of_snapshot"));
    service->feed(feed::kEnd);
    EXPECT_EQ("false", valueAt(stream.nextRevision().data, "/part_of_snapshot"));
    EXPECT_EQ("false", value("/api/v1/status", "/part_of_snapshot"));
    EXPECT_EQ(0, metric("pis_part_of_snapshot"));
}

TEST_F(Stream, TellsOfEveryRecordThatChanges) {
    serve();
    EventStream stream(service->port());
    stream.nextRevision();
    service->feed(feed::line(2, "Hill Line") + feed::removal(9, 82));
    const Event update = stream.next();
    EXPECT_EQ("update", update.kind);
    EXPECT_EQ(get("/api/v1/lines/2").body, update.data);
    Event removal = stream.next();
    if (removal.kind == "revision") removal = stream.next();
    EXPECT_EQ("remove", removal.kind);
    EXPECT_EQ(R"({"table":"service_stops","id":82})", removal.data);
    const Event revision = stream.next();
    EXPECT_EQ("revision", revision.kind);
    EXPECT_EQ(value("/api/v1/status", "/revision"), revision.id);
    EXPECT_EQ("", differenceOf(tables(), stream.rows()));
    EXPECT_EQ(1, stream.resets());
}

TEST_F(Stream, TablesCanBeChosen) {
    serve();
    EventStream stream(service->port(), "?tables=stations,trip_stops");
    stream.nextRevision();
    service->feed(feed::line(2, "Hill Line") + feed::station(4, "North", ""));
    stream.awaitRow("stations", 4);
    Rows wanted = tables();
    for (const char* table : {"lines", "vehicles", "platforms", "trips", "services", "service_stops"})
        wanted.erase(table);
    EXPECT_EQ("", differenceOf(wanted, stream.rows()));
}

TEST_F(Stream, AStationCanBeChosen) {
    serve();
    EventStream stream(service->port(), "?station=2");
    stream.nextRevision();
    EXPECT_EQ((std::set<long>{2}), idsOf(stream.rows(), "stations"));
    EXPECT_EQ((std::set<long>{21}), idsOf(stream.rows(), "platforms"));
    EXPECT_EQ((std::set<long>{52}), idsOf(stream.rows(), "trip_stops"));
    EXPECT_EQ((std::set<long>{72, 82}), idsOf(stream.rows(), "service_stops"));
    EXPECT_EQ((std::set<long>{7, 8}), idsOf(stream.rows(), "services"));
    EXPECT_EQ((std::set<long>{5}), idsOf(stream.rows(), "trips"));
    EXPECT_TRUE(idsOf(stream.rows(), "lines").empty());

    service->feed(feed::line(2, "Hill Line") + feed::serviceStop(71, 7, 51, 28800, "0") +
                  feed::serviceStop(72, 7, 52, 28800, "30"));
    const Event update = stream.next();
    EXPECT_EQ("update", update.kind);
    EXPECT_EQ("72", valueAt(update.data, "/id"));
}

TEST_F(Stream, ARowThatMovesToAnotherStationIsNotLeftBehind) {
    serve();
    EventStream west(service->port(), "?station=1");
    EventStream east(service->port(), "?station=2");
    west.nextRevision();
    east.nextRevision();
    service->feed(feed::platform(12, 2, "East 2"));
    east.awaitRow("platforms", 12);
    patience::await("the platform's leaving", [&] {
        west.nextRevision();
        return idsOf(west.rows(), "platforms") == std::set<long>{11};
    });
    service->feed(feed::tripStop(51, 5, 12, 0));
    east.awaitRow("service_stops", 71);
    patience::await("the stop's leaving", [&] {
        west.nextRevision();
        return idsOf(west.rows(), "services").empty() && idsOf(west.rows(), "service_stops").empty();
    });
}

// --- After a break ---

TEST_F(Stream, ResumesWithoutAResetWhereItLeftOff) {
    serve();
    EventStream first(service->port());
    const std::string known = first.nextRevision().id;
    feedWhole(feed::line(2, "Hill Line") + feed::removal(2, 1));
    EventStream second(service->port(), "", known);
    second.nextRevision();
    EXPECT_EQ(0, second.resets());
    EXPECT_EQ((std::set<long>{2}), idsOf(second.rows(), "lines"));

    EventStream third(service->port(), "", value("/api/v1/status", "/revision"));
    EXPECT_EQ("revision", third.next().kind) << "there is nothing new";
}

TEST_F(Stream, ARevisionThatIsNoneOfThisRunLeadsToAReset) {
    serve();
    const std::string earlier = value("/api/v1/status", "/revision");
    serve();
    const std::string start = value("/api/v1/status", "/revision");
    for (const std::string& known :
         {earlier, std::string("nonsense"), start.substr(0, start.find('-')) + "-999999", std::string("-1")}) {
        EventStream stream(service->port(), "", known);
        EXPECT_EQ("reset", stream.next().kind) << known;
    }
}

TEST_F(Stream, OneBeforeTheFirstRecordIsGivenWhatComes) {
    serve("");
    EventStream stream(service->port());
    EXPECT_EQ("false", valueAt(stream.nextRevision().data, "/ready"));
    service->feed(feed::railway());
    stream.awaitRow("service_stops", 82);
    EXPECT_EQ("", differenceOf(tables(), stream.rows()));
}

// --- Slow readers ---

TEST_F(Stream, AReaderThatFallsBehindTakesNoMemory) {
    serve();
    EventStream slow(service->port(), "", "", 4096);
    slow.nextRevision();
    const std::string padding(1000, 'x');
    long memory = 0;
    for (int round = 0; round < 10; ++round) {
        std::string records;
        for (int i = 0; i < 1000; ++i) records += feed::line(100 + i % 500, std::to_string(round * 1000 + i) + padding);
        if (round % 3 == 2) records += feed::removal(2, 0) + feed::line(1, "Coast Line " + std::to_string(round));
        feedWhole(records);
        if (round == 4) memory = service->memory();
    }
    expectMemoryBelow(memory + 32768);
}

TEST_F(Stream, ReadersThatComeAndGoDuringAFloodEndWithThePicture) {
    std::string records = feed::railway();
    for (int i = 0; i < (kUnderSanitizer ? 50 : 600); ++i)
        records += feed::line(1000 + i, std::string(1000, 'x'));  // a reset takes its time
    serve(records);
    std::atomic<bool> flooding{true};
    std::future<void> flood = std::async(std::launch::async, [&] {
        // Every line once: nothing that comes later makes up for a change that a reader lost.
        for (int i = 0; flooding; ++i) {
            std::string more;
            for (int j = 0; j < 5; ++j) more += feed::line(100000 + i * 5 + j, "new");
            service->feed(more);
            awaitLine(100004 + i * 5);
        }
        service->feed(feed::line(99999, "the last"));
    });
    std::vector<std::unique_ptr<EventStream>> readers;
    try {
        for (int i = 0; i < (kUnderSanitizer ? 3 : 25); ++i) {
            EventStream(service->port()).next();  // and away
            readers.push_back(std::make_unique<EventStream>(service->port()));
            std::string known;
            for (int pieces = i % 4; pieces > 0; --pieces) known = readers.back()->nextRevision().id;
            if (i % 5 != 4 || known.empty()) continue;
            EventStream resumed(service->port(), "", known);
            EXPECT_EQ(0, resumed.resets());
            EXPECT_EQ("update", resumed.next().kind == "reset" ? "reset" : "update");
        }
    } catch (...) {
        flooding = false;
        throw;
    }
    flooding = false;
    flood.get();
    for (const auto& reader : readers) reader->awaitRow("lines", 99999);
    const Rows wanted = tables();
    for (const auto& reader : readers) {
        EXPECT_EQ("", differenceOf(wanted, reader->rows()));
        EXPECT_EQ(1, reader->resets());
    }
}

TEST_F(Stream, AReaderThatResumesAgainAndAgainLosesNothing) {
    serve();
    std::atomic<bool> flooding{true};
    std::future<void> flood = std::async(std::launch::async, [&] {
        for (int i = 0; flooding; ++i) {
            service->feed(feed::line(100000 + i, "new") + (i % 13 == 12 ? feed::removal(2, 100000 + i / 2) : ""));
            awaitLine(100000 + i);
        }
        service->feed(feed::line(99999, "the last"));
    });
    Rows rows;
    std::string known;
    int resets = 0;
    try {
        for (int i = 0; i < (kUnderSanitizer ? 10 : 60); ++i) {
            EventStream stream(service->port(), "", known, 0);
            stream.follow(rows);
            const std::string before = known;
            while (known == before) known = stream.nextRevision().id;
            rows = stream.rows();
            resets += stream.resets();
        }
    } catch (...) {
        flooding = false;
        throw;
    }
    flooding = false;
    flood.get();
    EventStream last(service->port(), "", known);
    last.follow(rows);
    last.awaitRow("lines", 99999);
    EXPECT_EQ("", differenceOf(tables(), last.rows()));
    EXPECT_EQ(1, resets);
}

TEST_F(Stream, ReadersThatGoAreForgotten) {
    serve();
    {
        std::vector<EventStream> readers;
        for (int i = 0; i < 20; ++i) {
            readers.emplace_back(service->port());
            readers.back().nextRevision();
        }
        EXPECT_EQ(20, metric("pis_changes_readers"));
        EXPECT_EQ(21, metric("pis_http_connections"));
    }
    patience::await("their end", [this] { return metric("pis_changes_readers") == 0; });
    patience::await("their end", [this] { return metric("pis_http_connections") == 1; });
}

TEST_F(Stream, NewReadersOfAQuietFeedTakeNoMemoryThatStays) {
    if (kUnderSanitizer) GTEST_SKIP() << "a sanitizer keeps what was freed";
    std::string records = feed::railway();
    const std::string padding(1000, 'x');
    for (int i = 0; i < 1500; ++i) records += feed::line(100 + i, padding);
    serve(records, {"--connections-per-address", "1000"});
    const auto readWith = [this](int choice) {
        static const char* const kTables[] = {"vehicles",   "stations", "platforms",    "trips",
                                              "trip_stops", "services", "service_stops"};
        std::string parameters = "?tables=lines";
        for (int bit = 0; bit < 7; ++bit) {
            if ((choice >> bit & 1) != 0) parameters += std::string(",") + kTables[bit];
        }
        Connection connection(service->port());
        connection.send(requestText("GET", "/api/v1/changes" + parameters));
        ASSERT_TRUE(connection.readUntil("event: revision"));
    };
    for (int choice = 0; choice < 40; ++choice) readWith(choice);
    const long before = service->memory();
    for (int choice = 40; choice < 128; ++choice) readWith(choice);
    // What is kept for readers who stand alike has its room, which may have been empty before, and a few pieces are
    // in the making; 88 pieces that stayed would be twice as much.
    constexpr long kRoom = std::max(1L, 32768L);
    constexpr long kInTheMaking = 16384;
    expectMemoryBelow(before + kRoom + kInTheMaking);
}

// --- The end ---

TEST_F(Stream, EndsWithItsLastChunkWhenTheServiceEnds) {
    serve();
    std::vector<EventStream> readers;
    for (int i = 0; i < 10; ++i) {
        readers.emplace_back(service->port());
        readers.back().nextRevision();
    }
    service->signal(SIGTERM);
    for (EventStream& reader : readers) {
        Event event = reader.next();
        while (event.kind == "revision") event = reader.next();
        EXPECT_EQ("end", event.kind);
    }
    EXPECT_EQ(0, service->status());
}

TEST_F(Stream, WhatAReaderSendsMeanwhileIsPassedOver) {
    serve();
    EventStream stream(service->port());
    stream.nextRevision();
    stream.connection().send(requestText("GET", "/healthz") + std::string(100000, 'x'));
    service->feed(feed::line(2, "Hill Line"));
    stream.awaitRow("lines", 2);
}

}  // namespace

}  // namespace pis::service
