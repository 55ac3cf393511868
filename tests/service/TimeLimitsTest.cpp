// The server in this process, with short time limits: clients that are slow, stand still or say nothing.
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <thread>

#include "EventStream.h"
#include "PictureTest.h"
#include "feeding/FeedingThread.h"
#include "service/HttpServer.h"
#include "service/MakeLink.h"

namespace pis::service {

namespace {

class TimeLimits : public picture::PictureTest {
protected:
    ~TimeLimits() override {
        if (!thread.joinable()) return;
        stop();
        thread.join();
    }

    void stop() {
        boost::asio::post(context, [this] { server->stop(); });
    }

    /// Asks for the lines and reads nothing of them: the first piece stands half way.
    EventStream stalledReader() {
        EventStream stalled(port, "?tables=lines", "", 4096);
        EXPECT_EQ(200, stalled.head().status);
        patience::await("its piece", [this] {
            return service::get(port, "/metrics").body.find("\npis_changes_readers 1\n") != std::string::npos;
        });
        return stalled;
    }

    /// Limits that no test waits for, but for those that it sets.
    static HttpLimits patient() {
        HttpLimits limits;
        limits.request = limits.idle = limits.progress = limits.rateOver = limits.comment = limits.tick =
            limits.hearOut = limits.lastWords = limits.ownProbe = std::chrono::seconds(600);
        return limits;
    }

    void serve(const HttpLimits& limits) {
        builder.feed().ready = true;
        publish();
        account.emplace(limits.bytesInFlight);
        documents.emplace(*account);
        changes.emplace(tokens, *account, *documents,
                        [this](const picture::Picture& of) { return report.tick(of, base::WallTime()); });
        api.emplace(
            Api::Surroundings{published, clock, report, tokens,
                              [this] {
                                  return metrics.text({feeding, observer, published, report, api->departureCache()});
                              },
                              [] { return feed::IntakeCounts(); }, [] { return base::WallTime(); }, *account},
            ApiOptions{{"localhost"}, false});
        server.emplace(context, limits, HttpServer::Sources{*api, {*changes, *documents}, *account, published},
                       metrics);
        port = server->listen("127.0.0.1", 0);
        published.setListener([this] { boost::asio::post(context, [this] { server->pictureChanged(); }); });
        thread = std::thread([this] { context.run(); });
    }

    boost::asio::io_context context{1};
    picture::ServiceClock clock{picture::ClockOptions{}};
    RevisionTokens tokens{base::WallTime(std::chrono::seconds(1700000000))};
    FeedReport report{tokens, clock, 90};
    std::optional<TextAccount> account;
    std::optional<DocumentTexts> documents;
    std::optional<ChangeStream> changes;
    std::optional<Api> api;
    feeding::FeedingThread feeding{gPassengerInformationServer, makeLink({"file:/dev/null", 0, {}}),
                                   published};  // not started
    feeding::ServiceObserver observer;
    ServiceMetrics metrics;
    std::optional<HttpServer> server;
    unsigned short port = 0;
    std::thread thread;
};

TEST_F(TimeLimits, WhoConnectsAndSaysNothingIsClosed) {
    HttpLimits limits = patient();
    limits.request = std::chrono::seconds(1);
    serve(limits);
    EXPECT_TRUE(Connection(port).isClosed());
}

TEST_F(TimeLimits, ARequestThatTricklesInIsCutOff) {
    HttpLimits limits = patient();
    limits.request = std::chrono::seconds(1);
    serve(limits);
    Connection connection(port);
    connection.send("GET / HTTP/1.1\r\n");
    int sent = 0;
    patience::await("the cut", [&] { return !connection.send("X-" + std::to_string(++sent) + ": y\r\n"); });
    EXPECT_EQ(200, service::get(port, "/healthz").status);
}

TEST_F(TimeLimits, WhoAsksNothingMoreIsClosed) {
    HttpLimits limits = patient();
    limits.idle = std::chrono::seconds(1);
    serve(limits);
    Connection connection(port);
    EXPECT_EQ(200, connection.ask("GET", "/healthz").status);
    EXPECT_TRUE(connection.isClosed());
}

TEST_F(TimeLimits, AReaderThatStandsStillIsClosedAndTheOthersAreNot) {
    HttpLimits limits = patient();
    limits.progress = std::chrono::seconds(1);
    limits.sendBufferBytes = 8192;
    const std::string large(100000, 'x');
    for (int i = 1; i <= 60; ++i) line(i, large);
    serve(limits);
    EventStream still(port, "?tables=lines", "", 4096);
    Connection stillToo(port, 4096);
    stillToo.send(requestText("GET", "/api/v1/lines"));
    EventStream reading(port, "?tables=stations");
    reading.nextRevision();
    patience::await("their end", [this] {
        const std::string text = service::get(port, "/metrics").body;
        return text.find("\npis_changes_stood_still_total 1\n") != std::string::npos &&
               text.find("\npis_http_connections 2\n") != std::string::npos;
    });
    EXPECT_EQ("cut", still.next().kind) << "after what had gone out";
    const Answer head = stillToo.readHead();
    std::string body;
    EXPECT_EQ(200, head.status);
    EXPECT_FALSE(stillToo.take(std::stoul(head.header("content-length")), body));
    Station station(5);
    update(station);
    builder.publish();
    reading.awaitRow("stations", 5);
}

/// Reads so many bytes, a little at a time. @return what had come before the end.
std::size_t readSlowly(Connection& connection, std::size_t bytes, std::size_t atOnce) {
    std::size_t read = 0;
    for (std::string some; read < bytes; read += atOnce, some.clear()) {
        if (!connection.take(atOnce, some)) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return read;
}

TEST_F(TimeLimits, WhoTakesLittleButAlwaysSomethingIsNotOneThatStandsStill) {
    HttpLimits limits = patient();
    limits.progress = std::chrono::seconds(2);
    limits.sendBufferBytes = 262144;
    for (int i = 1; i <= 20; ++i) line(i, std::string(100000, 'x'));
    serve(limits);
    Connection slow(port, 4096);
    slow.send(requestText("GET", "/api/v1/changes"));
    constexpr std::size_t kMuchLonger = 1024 * 250;  // than the two seconds, at this pace
    EXPECT_EQ(kMuchLonger, readSlowly(slow, kMuchLonger, 1024));
    EXPECT_NE(std::string::npos, service::get(port, "/metrics").body.find("\npis_changes_readers 1\n"));
}

TEST_F(TimeLimits, WhoTakesTooLittleIsClosed) {
    HttpLimits limits = patient();
    limits.rateOver = std::chrono::seconds(1);
    limits.lowestRate = std::uint64_t{1} << 40;
    limits.sendBufferBytes = 8192;
    for (int i = 1; i <= 20; ++i) line(i, std::string(100000, 'x'));
    serve(limits);
    Connection slow(port, 4096);
    slow.send(requestText("GET", "/api/v1/changes"));
    patience::await("its end", [this] {
        return service::get(port, "/metrics").body.find("\npis_changes_too_slow_total 1\n") != std::string::npos;
    });
}

TEST_F(TimeLimits, BeyondTheBytesInFlightALateOneWaitsItsTurn) {
    HttpLimits limits = patient();
    limits.sendBufferBytes = 8192;
    limits.bytesInFlight = 200000;
    for (int i = 1; i <= 40; ++i) line(i, std::string(100000, 'x'));
    serve(limits);
    auto first = std::make_unique<EventStream>(port, "?tables=lines", "", 4096);
    first->head();
    patience::await("all that may be in flight", [this] {
        return service::get(port, "/metrics").body.find("\npis_http_bytes_in_flight 2") != std::string::npos;
    });
    EventStream late(port, "?tables=vehicles");
    patience::await("its waiting", [this] {
        return service::get(port, "/metrics").body.find("\npis_http_waiting_for_room 1\n") != std::string::npos;
    });
    Connection other(port);
    other.send(requestText("GET", "/api/v1/vehicles"));
    patience::await("the other's waiting", [this] {
        return service::get(port, "/metrics").body.find("\npis_http_waiting_for_room 2\n") != std::string::npos;
    });
    EXPECT_EQ(200, service::get(port, "/healthz").status);
    first.reset();
    EXPECT_EQ("reset", late.next().kind);
    EXPECT_EQ(200, other.readHead().status);
}

TEST_F(TimeLimits, AQuietStreamShowsThatItLives) {
    HttpLimits limits = patient();
    limits.comment = std::chrono::seconds(1);
    serve(limits);
    EventStream stream(port);
    stream.nextRevision();
    EXPECT_EQ("comment", stream.next().kind);
    EXPECT_EQ("comment", stream.next().kind);
}

TEST_F(TimeLimits, AQuietStreamTellsOfClockAndLink) {
    HttpLimits limits = patient();
    limits.tick = std::chrono::seconds(1);
    serve(limits);
    EventStream stream(port);
    const std::string known = stream.nextRevision().id;
    builder.feed().at = 3600;
    builder.publish();
    const Event tick = stream.next();
    EXPECT_EQ("revision", tick.kind);
    EXPECT_EQ(known, tick.id);
    EXPECT_EQ("3600.0", valueAt(tick.data, "/clock/seconds"));
}

TEST_F(TimeLimits, AStreamTellsAtOnceThatTheLinkFell) {
    serve(patient());
    EventStream stream(port);
    const std::string known = stream.nextRevision().id;
    builder.feed().link = feed::FeedStatus::DOWN;
    builder.publish();
    const Event tick = stream.next();
    EXPECT_EQ("revision", tick.kind);
    EXPECT_EQ(known, tick.id);
    EXPECT_EQ("down", valueAt(tick.data, "/link/state"));
}

TEST_F(TimeLimits, AStreamTellsAtOnceThatASnapshotIsWhole) {
    serve(patient());
    EventStream stream(port);
    EXPECT_EQ("false", valueAt(stream.nextRevision().data, "/part_of_snapshot"));
    for (const bool isPart : {true, false}) {
        builder.feed().partOfSnapshot = isPart;
        builder.publish();
        EXPECT_EQ(isPart ? "true" : "false", valueAt(stream.next().data, "/part_of_snapshot"));
    }
}

TEST_F(TimeLimits, AStreamTellsAtOnceThatTheServerIsOffline) {
    serve(patient());
    EventStream stream(port);
    EXPECT_EQ("unknown", valueAt(stream.nextRevision().data, "/server_status"));
    builder.feed().serverKnown = true;
    builder.publish();
    EXPECT_EQ("offline", valueAt(stream.next().data, "/server_status"));
    builder.feed().serverOnline = true;
    builder.publish();
    EXPECT_EQ("online", valueAt(stream.next().data, "/server_status"));
}

TEST_F(TimeLimits, AReaderThatFallsBehindEndsWithThePicture) {
    HttpLimits limits = patient();
    limits.sendBufferBytes = 8192;
    const std::string padding(250000, 'x');
    for (const int id : {1, 2, 3}) line(id, padding);
    serve(limits);
    EventStream slow = stalledReader();
    for (int round = 0; round < 3; ++round) {  // as many changes as the picture's log holds
        for (const int id : {1, 2}) line(id, std::to_string(round) + padding);
        builder.publish();
    }
    deleteLine(3);
    line(99, "the last");
    builder.publish();
    slow.awaitRow("lines", 99);
    Rows rows;
    addRowsAt(rows, service::get(port, "/api/v1/lines").body, "/items");
    EXPECT_EQ("", differenceOf(rows, slow.rows()));
    EXPECT_EQ(1, slow.resets());
    EXPECT_EQ(std::string::npos, service::get(port, "/metrics").body.find("\npis_changes_coalesced_total 0\n"));
}

// --- Refusals and the end ---

TEST_F(TimeLimits, ThoseThatAreRefusedTakeNobodysRoom) {
    HttpLimits limits = patient();
    limits.connectionsPerAddress = 2;
    limits.ownProbes = 0;
    serve(limits);
    std::vector<Connection> held;
    for (int i = 0; i < 2; ++i) {
        held.emplace_back(port);
        EXPECT_EQ(200, held.back().ask("GET", "/healthz").status);
    }
    std::vector<Connection> refused;
    for (int i = 0; i < 5; ++i) {
        refused.emplace_back(port);
        EXPECT_EQ(429, refused.back().readAnswer().status);
    }
    held.pop_back();
    patience::await("room, while the refused are still heard out",
                    [this] { return service::get(port, "/healthz").status == 200; });
}

TEST_F(TimeLimits, NoMoreThanSomeAreToldWhyThereIsNoRoom) {
    HttpLimits limits = patient();
    limits.connectionsPerAddress = 1;
    limits.refusals = 2;
    limits.ownProbes = 0;
    serve(limits);
    Connection held(port);
    EXPECT_EQ(200, held.ask("GET", "/healthz").status);
    std::vector<Connection> refused;
    for (int i = 0; i < 2; ++i) {
        refused.emplace_back(port);
        EXPECT_EQ(429, refused.back().readAnswer().status);
    }
    EXPECT_TRUE(Connection(port).isClosed());
}

TEST_F(TimeLimits, WhoSaysNothingHoldsNoPlaceOfTheMachinesOwn) {
    HttpLimits limits = patient();
    limits.connectionsPerAddress = 1;
    limits.refusals = 2;
    limits.ownProbes = 2;
    serve(limits);
    Connection held(port);
    EXPECT_EQ(200, held.ask("GET", "/healthz").status);
    std::vector<Connection> silent;
    for (int i = 0; i < 10; ++i) {
        silent.emplace_back(port);
        if (i % 2 == 0) silent.back().send("GET /healthz HTT");
    }
    for (int i = 0; i < 5; ++i) EXPECT_EQ(200, service::get(port, "/readyz").status) << i;
    // The first ones heard why, as many as there is room for; the others were just closed.
    for (int i = 0; i < 9; ++i) {
        const int status = silent[static_cast<std::size_t>(i)].readHead().status;
        EXPECT_EQ(i < 2 ? 429 : 0, status) << i;
    }
}

TEST_F(TimeLimits, WhoSaysNothingOnAPlaceOfTheMachinesOwnIsClosed) {
    HttpLimits limits = patient();
    limits.connectionsPerAddress = 1;
    limits.ownProbe = std::chrono::seconds(1);
    serve(limits);
    Connection held(port);
    EXPECT_EQ(200, held.ask("GET", "/healthz").status);
    Connection silent(port);
    Connection halfway(port);
    halfway.send("GET /healthz HTT");
    EXPECT_TRUE(silent.isClosed());
    EXPECT_TRUE(halfway.isClosed());
}

TEST_F(TimeLimits, ARequestThatIsHalfReadAtTheEndIsAnswered) {
    serve(patient());
    Connection halfway(port);
    halfway.send("GET /healthz HTTP/1.1\r\nHo");
    EventStream stream(port);
    stream.nextRevision();
    // Its bytes lie before the server by now; that they are read is not told to anybody.
    for (int i = 0; i < 3; ++i) EXPECT_EQ(200, service::get(port, "/healthz").status);
    stop();
    Event event = stream.next();
    while (event.kind == "revision") event = stream.next();
    EXPECT_EQ("end", event.kind);
    halfway.send("st: localhost\r\n\r\n");
    const Answer answer = halfway.readAnswer();
    EXPECT_EQ(200, answer.status);
    EXPECT_EQ("close", answer.header("connection"));
    EXPECT_TRUE(halfway.isClosed());
}

TEST_F(TimeLimits, AChunkThatIsHalfWayAtTheEndComesWhole) {
    HttpLimits limits = patient();
    limits.sendBufferBytes = 8192;
    for (int i = 1; i <= 50; ++i) line(i, std::string(100000, 'x'));
    serve(limits);
    EventStream stalled = stalledReader();
    EventStream other(port, "?tables=stations");
    other.nextRevision();
    stop();
    EXPECT_EQ("end", other.next().kind);
    stalled.nextRevision();
    EXPECT_EQ(50U, idsOf(stalled.rows(), "lines").size());
    EXPECT_EQ("end", stalled.next().kind);
}

TEST_F(TimeLimits, WhoStandsStillAtTheEndIsCutOff) {
    HttpLimits limits = patient();
    limits.sendBufferBytes = 8192;
    limits.lastWords = std::chrono::seconds(1);
    for (int i = 1; i <= 50; ++i) line(i, std::string(100000, 'x'));
    serve(limits);
    EventStream stalled = stalledReader();
    Connection halfway(port);
    halfway.send("GET / HT");
    stop();
    thread.join();
    EXPECT_EQ("cut", stalled.next().kind);
    EXPECT_TRUE(halfway.isClosed());
}

TEST_F(TimeLimits, AReaderIsNeverGivenARevisionItDoesNotKnow) {
    HttpLimits limits = patient();
    limits.tick = std::chrono::seconds(1);
    serve(limits);
    EventStream stream(port);
    stream.nextRevision();
    EXPECT_EQ(200, service::get(port, "/healthz").status);  // the stream's first piece is behind the server, too
    // The picture changes, and the server has not been told yet when the time for a tick comes.
    published.setListener([] {});
    line(1, "North");
    builder.publish();
    EXPECT_EQ("update", stream.next().kind);
    EXPECT_EQ(tokens.of(published.current()->revision), stream.next().id);
}

}  // namespace

}  // namespace pis::service
