// The service behind proxies: those that say nothing of whom they speak for, and those that are trusted.
#include "service/TrustedProxies.h"

#include "Nginx.h"
#include "ServiceTest.h"

namespace pis::service {

namespace {

using boost::asio::ip::make_address;

// --- Whom to believe ---

boost::beast::http::fields fieldsOf(const Headers& headers) {
    boost::beast::http::fields fields;
    for (const auto& [name, value] : headers) fields.insert(name, value);
    return fields;
}

TEST(TrustedProxies, AreAddressesAndNetworks) {
    const TrustedProxies proxies({"127.0.0.1", "10.1.0.0/16", "192.0.2.129/25", "::1", "2001:db8::/33"});
    for (const char* trusted : {"127.0.0.1", "10.1.0.0", "10.1.255.255", "192.0.2.128", "192.0.2.255", "::1",
                                "2001:db8::5", "2001:db8:7fff::", "::ffff:10.1.2.3"}) {
        EXPECT_TRUE(proxies.trust(make_address(trusted))) << trusted;
    }
    for (const char* other : {"127.0.0.2", "10.2.0.0", "10.0.255.255", "192.0.2.127", "::2",
                              "2001:db8:8000::", "::10.1.2.3", "::ffff:10.2.0.0"}) {
        EXPECT_FALSE(proxies.trust(make_address(other))) << other;
    }
    EXPECT_FALSE(TrustedProxies().trust(make_address("127.0.0.1")));
    EXPECT_TRUE(TrustedProxies({"0.0.0.0/0"}).trust(make_address("203.0.113.9")));
    EXPECT_FALSE(TrustedProxies({"0.0.0.0/0"}).trust(make_address("2001:db8::1")));
    for (const char* none : {"", "box", "10.0.0.0/33", "::/129", "10.0.0.0/", "10.0.0.0/-1", "10.0.0.0/x", "/8"}) {
        EXPECT_THROW(TrustedProxies({none}), std::runtime_error) << none;
    }
}

TEST(TrustedProxies, AClientIsTheLastWhoIsNotTrusted) {
    const TrustedProxies proxies({"127.0.0.1", "10.0.0.0/8"});
    const auto clientOf = [&proxies](const char* peer, const Headers& headers) {
        return proxies.clientOf(make_address(peer), fieldsOf(headers)).to_string();
    };
    EXPECT_EQ("127.0.0.1", clientOf("127.0.0.1", {}));
    EXPECT_EQ("192.0.2.7", clientOf("127.0.0.1", {{"X-Forwarded-For", "192.0.2.7"}}));
    EXPECT_EQ("192.0.2.7", clientOf("127.0.0.1", {{"X-Forwarded-For", "203.0.113.1, 192.0.2.7 , 10.0.0.3"}}));
    EXPECT_EQ("192.0.2.7",
              clientOf("127.0.0.1", {{"X-Forwarded-For", "203.0.113.1"}, {"X-Forwarded-For", "192.0.2.7,10.0.0.3"}}));
    EXPECT_EQ("10.0.0.4", clientOf("127.0.0.1", {{"X-Forwarded-For", "10.0.0.4, 10.0.0.3"}}));
    EXPECT_EQ("10.0.0.3", clientOf("127.0.0.1", {{"X-Forwarded-For", "192.0.2.7, unknown, 10.0.0.3"}}));
    EXPECT_EQ("127.0.0.1", clientOf("127.0.0.1", {{"X-Forwarded-For", "192.0.2.7,"}}));
    EXPECT_EQ("192.0.2.9", clientOf("192.0.2.9", {{"X-Forwarded-For", "192.0.2.7"}})) << "anybody can say so";
}

TEST(TrustedProxies, TheHostIsTheOneOfTheLastProxy) {
    const auto hostOf = [](const Headers& headers) { return forwardedHost(fieldsOf(headers)).value_or("nothing"); };
    EXPECT_EQ("nothing", hostOf({}));
    EXPECT_EQ("boards.example:81", hostOf({{"X-Forwarded-Host", "boards.example:81"}}));
    EXPECT_EQ("boards.example", hostOf({{"X-Forwarded-Host", "evil.example , boards.example"}}));
    EXPECT_EQ("boards.example", hostOf({{"X-Forwarded-Host", "evil.example"}, {"X-Forwarded-Host", "boards.example"}}));
    EXPECT_EQ("boards.example", hostOf({{"Forwarded", "for=192.0.2.7;Host=boards.example;proto=https"}}));
    EXPECT_EQ("boards.example:81", hostOf({{"Forwarded", "host=evil.example, for=a; host=\"boards.example:81\""}}));
    EXPECT_EQ("nothing", hostOf({{"Forwarded", "host=evil.example, for=192.0.2.7"}}));
    EXPECT_EQ("Boards.example", hostOf({{"X-Forwarded-Host", "boards.example"}, {"Forwarded", "host=Boards.example"}}));
    EXPECT_EQ("", hostOf({{"X-Forwarded-Host", "boards.example"}, {"Forwarded", "host=evil.example"}}))
        << "one of them is the client's own";
}

// --- A trusted proxy ---

class BehindTrusted : public ServiceTest {
protected:
    void serveTrusting(const std::string& proxy, std::vector<std::string> options = {}) {
        options.insert(options.end(), {"--trusted-proxy", proxy, "--allow-host", "boards.example"});
        serve(feed::railway(), options);
    }
};

TEST_F(BehindTrusted, TheForwardedHostIsTheOneThatCounts) {
    serveTrusting("127.0.0.0/8");
    const auto statusOf = [this](const std::string& host, const std::string& origin) {
        Headers headers{{"X-Forwarded-Host", host}};
        if (!origin.empty()) headers.emplace_back("Origin", origin);
        return get("/api/v1/lines", headers).status;
    };
    EXPECT_EQ(200, statusOf("boards.example", ""));
    EXPECT_EQ(200, statusOf("boards.example", "https://boards.example"));
    EXPECT_EQ(200, statusOf("boards.example:8081", "http://Boards.example:8081"));
    EXPECT_EQ(403, statusOf("boards.example", "https://evil.example"));
    EXPECT_EQ(403, statusOf("boards.example", "http://localhost"));
    EXPECT_EQ(421, statusOf("evil.example", "")) << "a name that leads here is not yet ours";
    EXPECT_EQ(421, statusOf("evil.example", "http://evil.example"));
    EXPECT_EQ(400, get("/api/v1/lines", {{"X-Forwarded-Host", "boards.example"}, {"Forwarded", "host=a"}}).status);
    EXPECT_EQ(200, get("/api/v1/lines", {{"Origin", "https://boards.example"}}).status)
        << "it does not say what the browser came by";
    EXPECT_EQ(421, get("/api/v1/lines", {{"Host", "evil.example"}}).status);
    EXPECT_EQ(403, get("/metrics").status) << "who asks is not this machine";
}

TEST_F(BehindTrusted, NobodyElseIsBelieved) {
    serveTrusting("192.0.2.1", {"--connections-per-address", "2"});
    const Headers headers{{"X-Forwarded-Host", "boards.example"}, {"Origin", "http://boards.example"}};
    EXPECT_EQ(403, get("/api/v1/lines", headers).status);
    EXPECT_EQ(200, get("/api/v1/lines", {{"X-Forwarded-Host", "evil.example"}}).status);
    std::vector<Connection> held;
    for (const char* client : {"203.0.113.1", "203.0.113.2"}) {
        patience::await("room for two", [&] {
            held.emplace_back(service->port());
            if (held.back().ask("GET", "/healthz", {{"X-Forwarded-For", client}}).status == 200) return true;
            held.pop_back();
            return false;
        });
    }
    EXPECT_EQ(429, get("/healthz", {{"X-Forwarded-For", "203.0.113.3"}}).status);
}

TEST_F(BehindTrusted, EachClientHasItsOwnLimit) {
    serveTrusting("127.0.0.1", {"--connections-per-address", "2"});
    const auto reader = [this](const std::string& client) {
        Connection connection(service->port());
        connection.send(requestText("GET", "/api/v1/changes?tables=lines", {{"X-Forwarded-For", client}}));
        return connection;
    };
    std::vector<Connection> readers;
    for (const char* client : {"203.0.113.1", "203.0.113.1", "203.0.113.2", "203.0.113.2", "203.0.113.3"}) {
        readers.push_back(reader(client));
        EXPECT_EQ(200, readers.back().readHead().status) << client;
    }
    Connection proxys(service->port());
    const auto ask = [&proxys](const std::string& client) {
        return proxys.ask("GET", "/api/v1/lines/1", {{"X-Forwarded-For", client}});
    };
    EXPECT_PROBLEM(429, "none", ask("203.0.113.1"));
    EXPECT_EQ(429, ask("198.51.100.1, 203.0.113.2").status) << "what the client itself says does not count";
    for (int i = 0; i < 5; ++i) EXPECT_EQ(200, ask("203.0.113.3").status) << "the connection stays the proxy's";
    EXPECT_EQ(200, ask("203.0.113.4").status);
    readers.front().closeSocket();
    patience::await("room", [&] { return ask("203.0.113.1").status == 200; });
    readers.push_back(reader("203.0.113.3"));
    EXPECT_EQ(200, readers.back().readHead().status) << "an answered request takes no room any more";
}

// --- nginx as it comes ---

using BehindNginx = ServiceTest;

TEST_F(BehindNginx, APageWithItsScriptsIsServed) {
    serve();
    const Nginx nginx(service->port());
    const std::string outside = "boards.example:" + std::to_string(nginx.port());
    EXPECT_EQ(200, service::get(nginx.port(), "/board?station=1", {{"Host", outside}}).status);
    // Module scripts are asked for as if they were on another site.
    const Answer script =
        service::get(nginx.port(), "/pages/board.js", {{"Host", outside}, {"Origin", "http://" + outside}});
    EXPECT_EQ(200, script.status) << script.body;
    EXPECT_FALSE(script.has("access-control-allow-origin")) << "pages of other sites read nothing";
    const auto statusFrom = [&](const std::string& site) {
        return service::get(nginx.port(), "/pages/board.js",
                            {{"Host", outside}, {"Origin", "https://" + outside}, {"Sec-Fetch-Site", site}})
            .status;
    };
    EXPECT_EQ(200, statusFrom("same-origin"));
    EXPECT_EQ(200, statusFrom("none"));
    EXPECT_EQ(403, statusFrom("same-site"));
    EXPECT_EQ(403, statusFrom("cross-site"));
    EXPECT_EQ(403, service::get(nginx.port(), "/metrics").status) << "they are for this machine alone";
}

TEST_F(BehindNginx, AStreamComesAsItIsWritten) {
    serve();
    const Nginx nginx(service->port());
    EventStream stream(nginx.port(), "?tables=lines");
    EXPECT_EQ(200, stream.head().status);
    EXPECT_EQ("text/event-stream", stream.head().header("content-type"));
    EXPECT_EQ("reset", stream.next().kind);
    stream.nextRevision();
    service->feed(feed::line(2, "Hill Line"));
    stream.awaitRow("lines", 2);
    service->signal(SIGTERM);
    std::string end;
    while (end != "end" && end != "cut") end = stream.next().kind;
    EXPECT_EQ("end", end);
}

}  // namespace

}  // namespace pis::service
