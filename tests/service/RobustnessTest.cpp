// What the service does with clients that mean it harm, know no better, or are too many.
#include "ServiceTest.h"

namespace pis::service {

namespace {

using namespace std::string_literals;  // NUL characters stand in them

class Robustness : public ServiceTest {
protected:
    /// What comes back for some bytes; the connection must be closed then.
    Answer answerTo(const std::string& bytes) const {
        Connection connection(service->port());
        connection.send(bytes);
        Answer answer = connection.readAnswer();
        EXPECT_TRUE(connection.isClosed()) << bytes.substr(0, 60);
        return answer;
    }

    void expectStillServing() const { EXPECT_EQ(200, get("/healthz").status); }
};

TEST_F(Robustness, GarbageIsNoRequest) {
    serve("");
    for (const std::string& bytes :
         {std::string("garbage\r\n\r\n"), "\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03zzzzzzzzzzzzzzzzzzzzzzzzzz"s,
          std::string("GET / HTTP/1.1\r\nHost localhost\r\n\r\n"),
          std::string("GET / HTTP/9.9\r\nHost: localhost\r\n\r\n"), "GET / HTTP/1.1\r\nHost: local\0host\r\n\r\n"s,
          std::string("GET /\x01 HTTP/1.1\r\nHost: localhost\r\n\r\n"),
          std::string("GET  / HTTP/1.1\r\nHost: localhost\r\n\r\n"),
          std::string("GET / HTTP/1.1\r\n: localhost\r\n\r\n"),
          std::string("GET / HTTP/1.1\nHost: localhost\n\n") + std::string(40, ' ')}) {
        const Answer answer = answerTo(bytes);
        EXPECT_PROBLEM(400, "none", answer);
    }
    expectStillServing();
    EXPECT_EQ(9, metric(R"(pis_http_answers_total{route="none",status="400"})"));
}

TEST_F(Robustness, NulBytesEndNoName) {
    serve();
    EXPECT_PROBLEM(404, "none", get("/api/v1/lines%00"));
    EXPECT_PROBLEM(404, "none", get("/healthz%00"));
    EXPECT_PROBLEM(400, "tables", get("/api/v1/changes?tables=lines%00"));
    EXPECT_EQ(400, get("/api/v1/changes?tables%00=lines").status);
    EXPECT_EQ(400, answerTo("GET /\0 HTTP/1.1\r\nHost: localhost\r\n\r\n"s).status);
}

TEST_F(Robustness, TargetsThatAreNoPaths) {
    serve("");
    for (const char* target : {"healthz", "/%zz", "/%", "/a b", "?x", "*", "/#healthz"}) {
        Connection connection(service->port());
        connection.send(std::string("GET ") + target + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
        EXPECT_PROBLEM(400, "none", connection.readAnswer());
    }
}

TEST_F(Robustness, PathsAreTakenAsTheyStand) {
    serve();
    EXPECT_EQ(200, get("/%68ealthz").status);
    EXPECT_EQ(200, get("/pages/board%2Ejs").status);
    EXPECT_EQ(200, get("/api/v1/lines/%31").status);
    for (const char* path : {"/./healthz",
                             "/.//healthz",
                             "/%2e/healthz",
                             "/../healthz",
                             "//healthz",
                             "/healthz/",
                             "/healthz/.",
                             "/healthz/..",
                             "/%2fhealthz",
                             "/x/../healthz",
                             "/HEALTHZ",
                             "/healthz;x",
                             "/healthz%3f",
                             "/healthz%20",
                             "/pages%2fboard.js",
                             "/pages%2Fboard.js",
                             "/pages//board.js",
                             "/pages/./board.js",
                             "/./board",
                             "/%2f",
                             "//",
                             "/.",
                             "/..",
                             "/api%2fv1/lines",
                             "/api/v1/lines%2f1",
                             "/api/v1/lines//1",
                             "/api/v1//lines",
                             "/./api/v1/lines",
                             "http://localhost/./healthz",
                             "http://localhost//healthz"}) {
        EXPECT_EQ(404, get(path).status) << path;
    }
    for (const char* path : {"/api/v1/lines/+1", "/api/v1/lines/1%20", "/api/v1/lines/1%00", "/api/v1/lines/1%2f",
                             "/api/v1/lines/0x1", "/api/v1/lines/", "/api/v1/lines/99999999999", "/api/v1/lines/%d9%a1",
                             "/\xff", "/\xc3\xa9", "/\\", "/<x>", "/[", "/healthz#x"}) {
        EXPECT_EQ(400, get(path).status) << path;
    }
}

TEST_F(Robustness, AHeaderThatIsTooLong) {
    serve("");
    EXPECT_EQ(404, get("/" + std::string(7000, 'x')).status);
    EXPECT_PROBLEM(431, "none", answerTo(requestText("GET", "/" + std::string(9000, 'x'))));
    EXPECT_PROBLEM(431, "none", answerTo(requestText("GET", "/", {{"X-Long", std::string(100000, 'x')}})));
    std::string many = "GET / HTTP/1.1\r\n";
    for (int i = 0; i < 5000; ++i) many += "X-" + std::to_string(i) + ": y\r\n";
    EXPECT_PROBLEM(431, "none", answerTo(many + "\r\n"));
    expectStillServing();
}

TEST_F(Robustness, ABodyThatIsTooLong) {
    serve("");
    EXPECT_PROBLEM(413, "none",
                   answerTo(requestText("POST", "/", {{"Content-Length", "16385"}}) + std::string(16385, 'x')));
    EXPECT_PROBLEM(413, "none", answerTo(requestText("GET", "/", {{"Content-Length", "18446744073709551615"}})));
    std::string chunks = requestText("POST", "/", {{"Transfer-Encoding", "chunked"}});
    for (int i = 0; i < 100; ++i) chunks += "400\r\n" + std::string(1024, 'x') + "\r\n";
    EXPECT_PROBLEM(413, "none", answerTo(chunks));
    EXPECT_PROBLEM(405, "none", ask("POST", "/", {{"Content-Length", "0"}}));
    Connection connection(service->port());
    connection.send(requestText("POST", "/", {{"Content-Length", "16384"}}) + std::string(16384, 'x'));
    EXPECT_PROBLEM(405, "none", connection.readAnswer());
    EXPECT_EQ(200, connection.ask("GET", "/healthz").status) << "the body was read";
}

TEST_F(Robustness, AChunkHeadWithoutEndTakesNoMemory) {
    serve("");
    const long before = service->memory();
    Connection connection(service->port());
    connection.send(requestText("POST", "/", {{"Transfer-Encoding", "chunked"}}) + "5;extension=");
    const std::string more(1 << 20, 'x');
    for (int i = 0; i < 64 && connection.send(more); ++i) {
    }
    expectMemoryBelow(before + 16384);
    expectStillServing();
}

TEST_F(Robustness, ClientsThatLeaveHalfWay) {
    serve();
    for (int i = 0; i < 30; ++i) {
        const std::string request = requestText("GET", "/api/v1/changes");
        Connection connection(service->port());
        connection.send(request.substr(0, request.size() * static_cast<std::size_t>(i) / 29));
    }
    expectStillServing();
    patience::await("their end", [this] { return metric("pis_http_connections") == 1; });
    EXPECT_EQ(0, metric("pis_changes_readers"));
}

// --- Too many ---

TEST_F(Robustness, ConnectionsPerAddressAreLimited) {
    serve("", {"--connections-per-address", "4"});
    std::vector<Connection> held;
    for (int i = 0; i < 4; ++i) {
        held.emplace_back(service->port());
        EXPECT_EQ(200, held.back().ask("GET", "/healthz").status);
    }
    for (int i = 0; i < 10; ++i) {
        const Answer answer = get("/");
        EXPECT_PROBLEM(429, "none", answer);
        EXPECT_EQ("close", answer.header("connection"));
        EXPECT_EQ("10", answer.header("retry-after"));
    }
    EXPECT_EQ(200, held.front().ask("GET", "/healthz").status);
    held.pop_back();
    patience::await("room", [this] { return get("/").status == 200; });
    patience::await("the count", [this] { return metric("pis_http_connections_refused_total") >= 10; });
}

TEST_F(Robustness, ConnectionsInAllAreLimited) {
    serve("", {"--connections", "3"});
    std::vector<Connection> held;
    for (int i = 0; i < 3; ++i) {
        held.emplace_back(service->port());
        EXPECT_EQ(200, held.back().ask("GET", "/healthz").status);
    }
    EXPECT_PROBLEM(503, "none", get("/"));
    held.clear();
    patience::await("room", [this] { return get("/").status == 200; });
}

TEST_F(Robustness, RefusalsWithoutEndLeaveTheServiceAlone) {
    serve("", {"--connections-per-address", "1"});
    Connection held(service->port());
    EXPECT_EQ(200, held.ask("GET", "/healthz").status);
    std::vector<Connection> flood;
    for (int i = 0; i < 200; ++i) flood.emplace_back(service->port());
    for (Connection& connection : flood) connection.takeRest();
    EXPECT_EQ(200, held.ask("GET", "/healthz").status);
}

// --- This machine's own ---

TEST_F(Robustness, WhetherTheServiceIsWellIsAnsweredThoughAllIsTaken) {
    serve(feed::railway(), {"--connections", "3"});
    std::vector<Connection> held;
    patience::await("all of them taken", [&] {
        held.emplace_back(service->port());
        if (held.back().ask("GET", "/healthz").header("connection") == "close") held.pop_back();
        return held.size() == 3;
    });
    for (int i = 0; i < 200; ++i) held.emplace_back(service->port());  // all refusals, too
    for (int i = 0; i < 10; ++i) {
        for (const char* target : {"/healthz", "/readyz", "/healthz?", "/metrics"}) {
            Connection probe(service->port());
            const Answer answer = probe.ask("GET", target);
            EXPECT_EQ(200, answer.status) << target;
            EXPECT_EQ("close", answer.header("connection"));
            EXPECT_TRUE(probe.isClosed());
        }
        Connection old(service->port());
        old.send("GET /readyz HTTP/1.0\r\n\r\n");
        EXPECT_EQ(200, old.readAnswer().status);
    }
    EXPECT_EQ(3, metric("pis_http_connections"));
}

TEST_F(Robustness, NobodyElseIsAnsweredThere) {
    serve("", {"--connections", "2", "--connections-per-address", "1"});
    Connection held(service->port());
    EXPECT_EQ(200, held.ask("GET", "/").status);
    for (const char* target :
         {"/", "/api/v1/lines", "/api/v1/changes", "/healthzz", "/healthz/", "//healthz", "/x?/healthz"}) {
        Connection refused(service->port());
        refused.send(requestText("GET", target) + requestText("GET", "/healthz"));
        const Answer answer = refused.readAnswer();
        EXPECT_PROBLEM(429, "none", answer);
        EXPECT_EQ("10", answer.header("retry-after"));
        EXPECT_TRUE(refused.isClosed()) << "what was sent along is not read";
    }
    Connection head(service->port());
    head.send(requestText("HEAD", "/"));
    EXPECT_EQ(429, head.readHead().status);
    EXPECT_EQ("", head.takeRest()) << "an answer to HEAD has no body";
    EXPECT_EQ(429, get("/healthz", {{"X-Forwarded-For", "203.0.113.1"}}).status);
    EXPECT_EQ(429, get("/healthz", {{"Forwarded", "for=203.0.113.1"}}).status);
    Connection proxys(service->port());
    proxys.send("GET /healthz HTTP/1.0\r\nHost: localhost\r\n\r\n");
    EXPECT_EQ(429, proxys.readAnswer().status);
    EXPECT_EQ(200, get("/healthz").status);
    EXPECT_EQ(421, get("/healthz", {{"Host", "example.org"}}).status);
    EXPECT_EQ(400, answerTo("nonsense\r\n\r\n").status);
    EXPECT_GE(metric("pis_http_connections_refused_total"), 10);
}

TEST_F(Robustness, ATrustedProxyIsNotThisMachine) {
    serve("", {"--connections", "1", "--trusted-proxy", "127.0.0.1"});
    Connection held(service->port());
    EXPECT_EQ(200, held.ask("GET", "/healthz").status);
    EXPECT_PROBLEM(503, "none", get("/healthz"));
}

TEST_F(Robustness, PathsWithoutEndTakeNoMemoryThatStays) {
    serve();
    Connection connection(service->port());
    const auto ask = [&connection](int i) {
        const std::string zeros(7000 + static_cast<std::size_t>(i % 700), '0');
        return connection.ask("GET", "/api/v1/stations/" + zeros + "3/departures?limit=" + std::to_string(1 + i / 700))
            .status;
    };
    for (int i = 0; i < 50; ++i) ask(i);
    const long before = service->memory();
    for (int i = 50; i < 4000; ++i) ASSERT_EQ(200, ask(i));
    expectMemoryBelow(before + 12288);
}

}  // namespace

}  // namespace pis::service
