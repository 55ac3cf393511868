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
        boost::asio::post(context, [this] { server->stop(); });
        thread.join();
    }

    /// Limits that no test waits for, but for those that it sets.
    static HttpLimits patient() {
        HttpLimits limits;
        limits.request = limits.idle = limits.progress = limits.comment = limits.tick = std::chrono::seconds(600);
        return limits;
    }

    void serve(const HttpLimits& limits) {
        builder.feed().ready = true;
        publish();
        server.emplace(context, limits, api, changes, published, metrics);
        port = server->listen("127.0.0.1", 0);
        published.setListener([this] { boost::asio::post(context, [this] { server->pictureChanged(); }); });
        thread = std::thread([this] { context.run(); });
    }

    boost::asio::io_context context{1};
    picture::ServiceClock clock{picture::ClockOptions{}};
    RevisionTokens tokens{base::WallTime(std::chrono::seconds(1700000000))};
    FeedReport report{tokens, clock, 90};
    Api api{{published, clock, report, tokens,
             [this] {
                 return metrics.text({feeding, observer, published, report}, base::WallTime());
             },
             [] { return feed::IntakeCounts(); }, [] { return base::WallTime(); }},
            {{"localhost"}, false}};
    ChangeStream changes{tokens, [this](const picture::Picture& of) { return report.tick(of, base::WallTime()); }};
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
