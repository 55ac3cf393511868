// How the service speaks HTTP: tags, compression, methods, parameters, who may ask.
#include <ctime>

#include "ServiceTest.h"

namespace pis::service {

namespace {

using Http = ServiceTest;

// --- Tags and compression ---

TEST_F(Http, WhatAClientHoldsIsNotSentAgain) {
    serve();
    for (const char* target :
         {"/api/v1/stations", "/api/v1/stations/1", "/api/v1/trips?station=1", "/api/v1/stations/1/departures"}) {
        SCOPED_TRACE(target);
        const std::string tag = get(target).header("etag");
        ASSERT_GT(tag.size(), 2U);
        EXPECT_EQ('"', tag.front());
        for (const std::string& held : std::vector<std::string>{tag, "W/" + tag, "\"other\", " + tag,
                                                                "\"other\" ,W/" + tag + " , \"more\"", "*"}) {
            const Answer answer = get(target, {{"If-None-Match", held}});
            EXPECT_EQ(304, answer.status) << held;
            EXPECT_EQ(tag, answer.header("etag"));
            EXPECT_EQ("Accept-Encoding", answer.header("vary"));
            EXPECT_FALSE(answer.has("content-length"));
        }
        for (const std::string& held :
             std::vector<std::string>{"\"other\"", tag.substr(1), ",", std::string("w/" + tag)}) {
            EXPECT_EQ(200, get(target, {{"If-None-Match", held}}).status) << held;
        }
    }
}

TEST_F(Http, ATagChangesWithItsTableAlone) {
    serve();
    const std::string stations = get("/api/v1/stations").header("etag");
    const std::string lines = get("/api/v1/lines").header("etag");
    const std::string row = get("/api/v1/stations/2").header("etag");
    feedWhole(feed::station(1, "West End", "11!12"));
    EXPECT_NE(stations, get("/api/v1/stations").header("etag"));
    EXPECT_EQ(row, get("/api/v1/stations/2").header("etag"));
    EXPECT_EQ(200, get("/api/v1/lines", {{"If-None-Match", stations}}).status);
    EXPECT_NE(lines, get("/api/v1/lines").header("etag")) << "the marker line came and went";
}

TEST_F(Http, GzipWhenItIsAskedFor) {
    serve();
    const Answer plain = get("/api/v1/service-stops");
    const Answer packed = get("/api/v1/service-stops", {{"Accept-Encoding", "br;q=1, GZip;q=0.5"}});
    EXPECT_EQ("", plain.header("content-encoding"));
    EXPECT_EQ("gzip", packed.header("content-encoding"));
    EXPECT_EQ(plain.body, gunzipped(packed.body));
    EXPECT_LT(packed.body.size(), plain.body.size());
    EXPECT_NE(plain.header("etag"), packed.header("etag"));
    EXPECT_EQ("Accept-Encoding", plain.header("vary"));
    EXPECT_EQ("Accept-Encoding", packed.header("vary"));
    EXPECT_EQ(
        304,
        get("/api/v1/service-stops", {{"Accept-Encoding", "gzip"}, {"If-None-Match", packed.header("etag")}}).status);
    EXPECT_EQ(200, get("/api/v1/service-stops", {{"If-None-Match", packed.header("etag")}}).status);
    for (const char* refusal : {"gzip;q=0", "gzip; q=0.000", "gzip ;Q=0", "identity", "", "gzipped", "deflate"}) {
        EXPECT_EQ("", get("/api/v1/service-stops", {{"Accept-Encoding", refusal}}).header("content-encoding"))
            << refusal;
    }
}

TEST_F(Http, LargeTablesAreTheSameInEveryForm) {
    constexpr int kLines = 900;
    std::string records = feed::railway();
    for (int id = 1001; id <= 1000 + kLines; ++id) {
        records += feed::line(id, std::string(static_cast<std::size_t>(id) % 1500, static_cast<char>('a' + id % 26)));
    }
    serve(records);
    Connection connection(service->port());
    const Answer plain = connection.ask("GET", "/api/v1/lines");
    ASSERT_GT(plain.body.size(), 500000U);
    Rows rows;
    addRowsAt(rows, plain.body, "/items");
    EXPECT_EQ(std::to_string(kLines + 1), valueAt(plain.body, "/count"));
    EXPECT_EQ(static_cast<std::size_t>(kLines) + 1, rows["lines"].size());
    for (const long id : {1L, 1001L, 1450L, 1900L}) {
        EXPECT_EQ(withoutUpdatedAt(get("/api/v1/lines/" + std::to_string(id)).body), rows["lines"][id]);
    }
    const Answer packed = connection.ask("GET", "/api/v1/lines", {{"Accept-Encoding", "gzip"}});
    EXPECT_EQ("gzip", packed.header("content-encoding"));
    EXPECT_LT(packed.body.size(), plain.body.size() / 4);
    EXPECT_EQ(plain.body, gunzipped(packed.body));
    EXPECT_NE(plain.header("etag"), packed.header("etag"));

    EXPECT_EQ(plain.header("content-length"), connection.ask("HEAD", "/api/v1/lines").header("content-length"));
    EXPECT_EQ(304, connection.ask("GET", "/api/v1/lines", {{"If-None-Match", plain.header("etag")}}).status);
    EXPECT_EQ(
        304,
        connection.ask("GET", "/api/v1/lines", {{"If-None-Match", packed.header("etag")}, {"Accept-Encoding", "gzip"}})
            .status);
    Connection old(service->port());
    old.send("GET /api/v1/lines HTTP/1.0\r\nHost: localhost\r\nAccept-Encoding: gzip\r\n\r\n");
    const Answer whole = old.readAnswer();
    EXPECT_EQ(plain.body, whole.body) << "who speaks HTTP/1.0 knows no chunks";
    EXPECT_EQ("", whole.header("transfer-encoding"));

    Connection impatient(service->port());
    for (int i = 0; i < 3; ++i) impatient.send(requestText("GET", "/api/v1/lines"));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(plain.body, impatient.readAnswer().body);
}

// --- Methods ---

TEST_F(Http, HeadIsGetWithoutTheBody) {
    serve();
    Connection connection(service->port());
    for (const char* target : {"/api/v1/service-stops", "/api/v1/lines/99", "/healthz", "/", "/metrics"}) {
        SCOPED_TRACE(target);
        const Answer head = connection.ask("HEAD", target);
        const Answer whole = connection.ask("GET", target);
        EXPECT_EQ(whole.status, head.status);
        EXPECT_EQ(whole.header("etag"), head.header("etag"));
        EXPECT_EQ(whole.header("content-type"), head.header("content-type"));
        if (std::string(target) != "/metrics") {
            EXPECT_EQ(std::to_string(whole.body.size()), head.header("content-length"));
        }
    }
    EXPECT_EQ("text/event-stream", connection.ask("HEAD", "/api/v1/changes").header("content-type"));
    EXPECT_EQ(200, connection.ask("GET", "/healthz").status);
}

TEST_F(Http, OtherMethodsAreRefused) {
    serve();
    for (const char* method : {"POST", "PUT", "DELETE", "PATCH", "OPTIONS", "TRACE", "BREW"}) {
        const Answer answer = ask(method, "/api/v1/lines", {{"Content-Length", "0"}});
        EXPECT_PROBLEM(405, "none", answer);
        EXPECT_EQ("GET, HEAD", answer.header("allow")) << method;
    }
    EXPECT_PROBLEM(400, "none", ask("OPTIONS", "*"));
    for (const char* target : {"localhost:80", "/", "http://localhost/"}) {
        Connection connection(service->port());
        connection.send(requestText("CONNECT", target) + requestText("GET", "/metrics"));
        const int status = connection.readAnswer().status;
        EXPECT_TRUE(status == 400 || status == 405) << status;
        EXPECT_TRUE(connection.isClosed()) << "what follows would be another protocol's";
    }
}

// --- Parameters ---

TEST_F(Http, ParametersThatAreNotKnownAreNamed) {
    serve();
    EXPECT_PROBLEM(400, "statoin", get("/api/v1/platforms?statoin=1"));
    EXPECT_PROBLEM(400, "station", get("/api/v1/platforms?station=1&station=1"));
    EXPECT_PROBLEM(400, "x", get("/api/v1/lines/1?x"));
    EXPECT_PROBLEM(400, "x", get("/healthz?x=1"));
    EXPECT_PROBLEM(400, "tables", get("/api/v1/changes?tables=lines,planets"));
    EXPECT_PROBLEM(400, "tables", get("/api/v1/changes?tables="));
    EXPECT_PROBLEM(400, "tables", get("/api/v1/changes?tables=,"));
    EXPECT_PROBLEM(404, "station", get("/api/v1/changes?station=99"));
    EXPECT_EQ(200, get("/api/v1/platforms?st%61tion=%31").status);
    EXPECT_EQ(200, get("/api/v1/lines?").status);
    EXPECT_EQ(get("/api/v1/lines").header("etag"), get("/api/v1/lines?").header("etag"));
    EXPECT_EQ(200, get("/healthz?").status);
    EXPECT_EQ(200, get("/?").status);
    for (const char* query : {"?&", "?=", "??", "?=x", "?%20"}) {
        EXPECT_EQ(400, get(std::string("/api/v1/lines") + query).status) << query;
    }
}

TEST_F(Http, WhatAClientSendsComesBackAsCleanJson) {
    serve();
    for (const char* name : {"%ff", "%00", "%22%5c", "%e2%80%a8", "%0d%0aX-Header:%201", "<script>"}) {
        const Answer answer = get(std::string("/api/v1/lines?") + name + "=1");
        EXPECT_EQ(400, answer.status) << name;
        EXPECT_EQ("400", valueAt(answer.body, "/status")) << name << " " << answer.body;
        EXPECT_FALSE(answer.has("x-header"));
    }
    EXPECT_PROBLEM(421, "none", get("/", {{"Host", "\xff\xfe"}}));
}

// --- Who may ask ---

TEST_F(Http, HostMustBeOneOfOurs) {
    serve("", {"--allow-host", "Boards.Example", "--allow-host", "::2"});
    const std::string port = ":" + std::to_string(service->port());
    for (const std::string& host :
         std::vector<std::string>{"localhost", "localhost" + port, "LOCALHOST:1", "127.0.0.1" + port, "[::1]" + port,
                                  "[::1]", "boards.example", "BOARDS.example:443", "[::2]:80"}) {
        EXPECT_EQ(200, get("/healthz", {{"Host", host}}).status) << host;
    }
    for (const char* host : {"example.org", "localhost.example.org", "127.0.0.1.example.org", "127.0.0.2", "::1",
                             "[::3]", "localhost@example.org", "example.org:localhost", "localhost:x", "localhost:80x",
                             "localhost:-1", "localhost:80:80", "localhost.", "localhost/", "[::1]x", "[::1]]",
                             "[localhost]", "localhost,example.org", "local host"}) {
        EXPECT_PROBLEM(421, "none", get("/healthz", {{"Host", host}}));
    }
    EXPECT_PROBLEM(400, "none", get("/healthz", {{"Host", ""}}));
    EXPECT_PROBLEM(400, "none", get("/healthz", {{"Host", "localhost"}, {"Host", "example.org"}}));
    Connection without(service->port());
    without.send("GET /healthz HTTP/1.1\r\n\r\n");
    EXPECT_PROBLEM(400, "none", without.readAnswer());
}

TEST_F(Http, OriginMustBeOurs) {
    serve("");
    const std::string host = "localhost:" + std::to_string(service->port());
    for (const std::string& origin :
         std::vector<std::string>{"http://" + host, "https://" + host, "HTTP://LOCALHOST" + host.substr(9)}) {
        EXPECT_EQ(200, get("/healthz", {{"Host", host}, {"Origin", origin}}).status) << origin;
    }
    for (const std::string& origin : std::vector<std::string>{
             "null", "", "http://example.org", host, "http://localhost", "http://127.0.0.1" + host.substr(9),
             "http://" + host + ".example.org", "http://" + host + "0", "ftp://" + host, "file://" + host,
             "ws://" + host, "chrome-extension://" + host, "httpx://" + host, "http:/" + host, "http:// " + host,
             "http://" + host + "/", "http://" + host + " http://" + host, "http://" + host + ", http://example.org"}) {
        EXPECT_PROBLEM(403, "none", get("/api/v1/changes", {{"Host", host}, {"Origin", origin}}));
    }
}

TEST_F(Http, TwoOriginsAreRefused) {
    serve("");
    const std::string host = "localhost:" + std::to_string(service->port());
    const std::string ours = "http://" + host;
    for (const std::string& other : std::vector<std::string>{ours, "http://example.org", "null", ""}) {
        EXPECT_PROBLEM(400, "none", get("/healthz", {{"Host", host}, {"Origin", ours}, {"Origin", other}}));
        EXPECT_PROBLEM(400, "none", get("/healthz", {{"Host", host}, {"Origin", other}, {"origin", ours}}));
    }
    EXPECT_PROBLEM(400, "none", get("/healthz", {{"Sec-Fetch-Site", "same-origin"}, {"Sec-Fetch-Site", "cross-site"}}));
}

TEST_F(Http, WhatHasNoSiteIsNoPageOfOurs) {
    serve("");
    for (const char* origin : {"null", "file://", "chrome-extension://abc", "", "http", "ftp://localhost"}) {
        for (const char* site : {"same-origin", "none"}) {
            EXPECT_PROBLEM(403, "none", get("/healthz", {{"Origin", origin}, {"Sec-Fetch-Site", site}}));
        }
        Connection proxys(service->port());
        proxys.send("GET /healthz HTTP/1.0\r\nHost: localhost\r\nOrigin: " + std::string(origin) + "\r\n\r\n");
        EXPECT_PROBLEM(403, "none", proxys.readAnswer());
    }
}

TEST_F(Http, ATargetMayBeAWholeAddress) {
    serve("");
    const std::string ours = "localhost:" + std::to_string(service->port());
    const auto ask = [this](const std::string& target, const Headers& headers = {}) {
        return get(target, headers).status;
    };
    EXPECT_EQ(200, ask("http://" + ours + "/healthz"));
    EXPECT_EQ(200, ask("HTTP://LocalHost/healthz"));
    EXPECT_EQ(200, ask("https://[::1]:8443/healthz"));
    EXPECT_EQ(200, ask("http://localhost"));
    EXPECT_EQ(200, ask("http://localhost?"));
    EXPECT_EQ(404, ask("http://localhost//healthz"));
    EXPECT_PROBLEM(400, "x", get("http://localhost/healthz?x=1"));
    // Its host is the one that counts.
    EXPECT_EQ(200, ask("http://localhost/healthz", {{"Host", "example.org"}}));
    EXPECT_EQ(421, ask("http://example.org/healthz", {{"Host", "localhost"}}));
    EXPECT_EQ(200, ask("http://" + ours + "/healthz", {{"Host", "x"}, {"Origin", "http://" + ours}}));
    EXPECT_EQ(403, ask("http://" + ours + "/healthz", {{"Host", "example.org"}, {"Origin", "http://example.org"}}));
    // A Host there must be, once.
    EXPECT_EQ(400, ask("http://localhost/healthz", {{"Host", "localhost"}, {"Host", "localhost"}}));
    Connection without(service->port());
    without.send("GET http://localhost/healthz HTTP/1.1\r\n\r\n");
    EXPECT_EQ(400, without.readAnswer().status);
    const auto askOld = [this](const std::string& request) {
        Connection connection(service->port());
        connection.send(request);
        return connection.readAnswer().status;
    };
    EXPECT_EQ(200, askOld("GET http://localhost/ HTTP/1.0\r\n\r\n"));
    EXPECT_EQ(421, askOld("GET http://example.org/ HTTP/1.0\r\n\r\n"));
    EXPECT_EQ(421, askOld("GET http://example.org/ HTTP/1.0\r\nHost: localhost\r\n\r\n"));
    for (const char* target : {"http:///healthz", "http://:80/healthz", "http://a@localhost/healthz", "http:/healthz",
                               "http:healthz", "ftp://localhost/healthz", "localhost/healthz", "http://localhost:x/",
                               "http://localhost/#x", "http://localhost/%zz", "http://@localhost/", "http://"}) {
        EXPECT_PROBLEM(400, "none", get(target));
    }
}

TEST_F(Http, ABrowserThatSaysWhoAsksIsBelieved) {
    serve("");
    const auto statusFrom = [this](const std::string& site, const std::string& origin) {
        return get("/healthz", {{"Origin", origin}, {"Sec-Fetch-Site", site}}).status;
    };
    EXPECT_EQ(200, statusFrom("same-origin", "http://localhost"));
    EXPECT_EQ(200, statusFrom("same-origin", "https://boards.example"));
    EXPECT_EQ(403, statusFrom("same-site", "http://localhost"));
    EXPECT_EQ(403, statusFrom("cross-site", "http://localhost"));
    EXPECT_EQ(403, statusFrom("cross-site", "http://example.org"));
    EXPECT_EQ(403, statusFrom("", "http://example.org"));
    EXPECT_EQ(200, get("/", {{"Sec-Fetch-Site", "cross-site"}}).status) << "a link may lead here";
}

TEST_F(Http, OldProbesNeedNotNameAHost) {
    serve();
    const auto answerTo = [this](const std::string& target, const std::string& rest) {
        Connection connection(service->port());
        connection.send("GET " + target + " HTTP/" + rest + "\r\n\r\n");
        Answer answer = connection.readAnswer();
        EXPECT_TRUE(connection.isClosed() || rest.substr(0, 3) == "1.1");
        return answer.status;
    };
    EXPECT_EQ(200, answerTo("/healthz", "1.0"));
    EXPECT_EQ(200, answerTo("/readyz", "1.0"));
    EXPECT_EQ(400, answerTo("/api/v1/lines", "1.0"));
    EXPECT_EQ(400, answerTo("/", "1.0"));
    EXPECT_EQ(400, answerTo("/healthz", "1.1\r\nConnection: close"));
    EXPECT_EQ(400, answerTo("/healthz", "1.0\r\nHost: localhost\r\nHost: example.org"));
    EXPECT_EQ(400, answerTo("/healthz", "1.0\r\nHost:"));
    EXPECT_EQ(421, answerTo("/healthz", "1.0\r\nHost: example.org"));
}

TEST_F(Http, AnswersBearStatusDateAndTitle) {
    serve("", {"--connections-per-address", "2"});
    const auto expect = [](int status, const std::string& phrase, const Answer& answer) {
        EXPECT_EQ(status, answer.status);
        EXPECT_EQ(phrase, answer.phrase);
        if (status >= 400) {
            EXPECT_EQ(phrase, valueAt(answer.body, "/title"));
        }
    };
    const std::time_t before = std::time(nullptr);
    const Answer alive = get("/healthz");
    expect(200, "OK", alive);
    std::tm date{};
    const std::string when = alive.header("date");
    const char* const end = strptime(when.c_str(), "%a, %d %b %Y %H:%M:%S GMT", &date);
    ASSERT_TRUE(end != nullptr && *end == '\0') << when;
    const int weekday = date.tm_wday;
    const std::time_t said = timegm(&date);
    EXPECT_EQ(weekday, date.tm_wday);
    EXPECT_GE(said, before);
    EXPECT_LE(said, std::time(nullptr));
    EXPECT_EQ(std::string("Sat, 21 Nov 2026 22:00:00 GMT").size(), when.size());

    expect(304, "Not Modified", get("/", {{"If-None-Match", get("/").header("etag")}}));
    expect(400, "Bad Request", get("/healthz?x"));
    expect(403, "Forbidden", get("/", {{"Origin", "null"}}));
    expect(404, "Not Found", get("/nowhere"));
    expect(405, "Method Not Allowed", ask("POST", "/", {{"Content-Length", "0"}}));
    expect(413, "Content Too Large", ask("POST", "/", {{"Content-Length", "99999"}}));
    expect(421, "Misdirected Request", get("/", {{"Host", "example.org"}}));
    expect(431, "Request Header Fields Too Large", get("/" + std::string(9000, 'x')));
    expect(503, "Service Unavailable", get("/api/v1/lines"));
    EXPECT_EQ("Service Unavailable", get("/readyz").phrase);
}

TEST_F(Http, EveryAnswerBearsTheSecurityHeaders) {
    serve();
    const std::string tag = get("/api/v1/lines").header("etag");
    std::vector<Answer> answers{get("/"),
                                get("/api/v1/lines"),
                                get("/api/v1/lines", {{"If-None-Match", tag}}),
                                get("/nowhere"),
                                get("/", {{"Host", "example.org"}}),
                                ask("POST", "/"),
                                ask("HEAD", "/"),
                                get("/metrics")};
    Connection garbage(service->port());
    garbage.send("garbage\r\n\r\n");
    answers.push_back(garbage.readAnswer());
    EventStream stream(service->port());
    answers.push_back(stream.head());
    EXPECT_EQ("no", stream.head().header("x-accel-buffering")) << "a proxy must not hold events back";
    for (const Answer& answer : answers) {
        SCOPED_TRACE(answer.status);
        EXPECT_EQ("nosniff", answer.header("x-content-type-options"));
        EXPECT_EQ("no-referrer", answer.header("referrer-policy"));
        EXPECT_EQ("same-origin", answer.header("cross-origin-resource-policy"));
        EXPECT_NE(std::string::npos, answer.header("content-security-policy").find("default-src 'none'"));
        EXPECT_EQ(std::string::npos, answer.header("content-security-policy").find("unsafe"));
        EXPECT_FALSE(answer.has("access-control-allow-origin"));
        EXPECT_TRUE(answer.has("date"));
        EXPECT_TRUE(answer.has("cache-control"));
    }
}

// --- Requests one after the other ---

TEST_F(Http, OneConnectionTakesManyRequests) {
    serve();
    Connection connection(service->port());
    for (int i = 0; i < 5; ++i) EXPECT_EQ(200, connection.ask("GET", "/api/v1/lines").status);
    EXPECT_EQ("close", connection.ask("GET", "/healthz", {{"Connection", "close"}}).header("connection"));
    EXPECT_TRUE(connection.isClosed());
}

TEST_F(Http, EmptyLinesBeforeARequestArePassedOver) {
    serve();
    Connection connection(service->port());
    for (const std::string& lines : std::vector<std::string>{"\r\n", "", "\r\n\r\n\r\n\r\n", "\r\n"}) {
        connection.send(lines + requestText("GET", "/healthz"));
        EXPECT_EQ(200, connection.readAnswer().status);
    }
    connection.send(requestText("POST", "/", {{"Content-Length", "1"}}) + "x\r\n" + requestText("GET", "/healthz"));
    EXPECT_EQ(405, connection.readAnswer().status);
    EXPECT_EQ(200, connection.readAnswer().status);
    for (const char character : "\r\n\r\n" + requestText("GET", "/healthz")) {
        connection.send(std::string(1, character));
    }
    EXPECT_EQ(200, connection.readAnswer().status);
    for (const std::string& lines :
         std::vector<std::string>{"\n", "\r", "\r\r\n", "\r\n\n", "\r\n ", "\r\n\r\n\r\n\r\n\r\n"}) {
        Connection refused(service->port());
        refused.send(lines + requestText("GET", "/healthz") + requestText("GET", "/healthz"));
        EXPECT_EQ(400, refused.readAnswer().status);
        EXPECT_TRUE(refused.isClosed());
    }
}

TEST_F(Http, OnlyThoseWhoWaitForItAreAskedForTheirBody) {
    serve("");
    const auto firstLine = [this](const std::string& version, const std::string& expected) {
        Connection connection(service->port());
        connection.send("POST / HTTP/" + version + "\r\nHost: localhost\r\nContent-Length: 5\r\nExpect: " + expected +
                        "\r\n\r\n");
        // One who is not asked sends the body all the same, later on.
        if (version == "1.1" && expected.size() == 12) {
            EXPECT_EQ(100, connection.readHead().status);
        }
        connection.send("hello");
        return connection.readAnswer().status;
    };
    EXPECT_EQ(405, firstLine("1.1", "100-continue"));
    EXPECT_EQ(405, firstLine("1.1", "100-Continue"));
    EXPECT_EQ(405, firstLine("1.0", "100-continue"));
    EXPECT_EQ(405, firstLine("1.1", "something-else"));
}

TEST_F(Http, PipelinedRequestsAreAnsweredInOrder) {
    serve();
    Connection connection(service->port());
    std::string requests;
    for (int i = 0; i < 300; ++i) requests += requestText("GET", i % 2 == 0 ? "/api/v1/lines/1" : "/api/v1/lines/99");
    connection.send(requests);
    for (int i = 0; i < 300; ++i) ASSERT_EQ(i % 2 == 0 ? 200 : 404, connection.readAnswer().status) << i;
}

TEST_F(Http, AClientThatHasSaidItAllIsStillAnswered) {
    serve();
    Connection connection(service->port());
    connection.send(requestText("GET", "/api/v1/lines"));
    connection.endSending();
    EXPECT_EQ(200, connection.readAnswer().status);
    EXPECT_TRUE(connection.isClosed());
}

TEST_F(Http, OlderClientsAreAnswered) {
    serve();
    Connection connection(service->port());
    connection.send("GET /api/v1/lines HTTP/1.0\r\nHost: localhost\r\n\r\n");
    EXPECT_EQ(200, connection.readAnswer().status);
    EXPECT_TRUE(connection.isClosed());
}

TEST_F(Http, AStreamForAnOlderClientIsNotInChunks) {
    serve();
    Connection connection(service->port());
    connection.send("GET /api/v1/changes?tables=stations HTTP/1.0\r\nHost: localhost\r\n\r\n");
    const Answer head = connection.readHead();
    EXPECT_EQ(200, head.status);
    EXPECT_FALSE(head.has("transfer-encoding"));
    EXPECT_EQ("close", head.header("connection"));
    service->signal(SIGTERM);
    const std::string text = connection.takeRest();
    EXPECT_EQ(0U, text.find("event: reset\n"));
    EXPECT_EQ("\n\n", text.substr(text.size() - 2));
}

}  // namespace

}  // namespace pis::service
