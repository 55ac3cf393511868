// Where one request ends and the next begins: what leaves that in doubt is refused, and nothing behind it is read.
#include "Nginx.h"
#include "ServiceTest.h"
#include "service/RequestReading.h"

namespace pis::service {

namespace {

using namespace std::string_literals;  // NUL characters stand in them

/// What an attacker would like to be read as a request of somebody else's.
const std::string kSmuggled = "GET /metrics HTTP/1.1\r\nHost: localhost\r\n\r\n";

/// A request with the header lines given, and what stands behind its header.
std::string post(const std::string& lines, const std::string& body = "0\r\n\r\n", const std::string& version = "1.1") {
    return "POST /healthz HTTP/" + version + "\r\nHost: localhost\r\n" + lines + "\r\n" + body;
}

std::size_t timesIn(const std::string& text, const std::string& part) {
    std::size_t times = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++times;
    return times;
}

class Framing : public ServiceTest {
protected:
    Framing() { serve(""); }

    /// All that comes back for some bytes, up to the end of the connection.
    std::string everythingFor(const std::string& bytes) const {
        Connection connection(service->port());
        connection.send(bytes);
        return connection.takeRest();
    }

    /// Expects exactly one answer to a request with something smuggled behind it, and then the end.
    void expectRefusal(int status, const std::string& request) const {
        const std::string text = everythingFor(request + kSmuggled + kSmuggled);
        EXPECT_EQ(0U, text.find("HTTP/1.1 " + std::to_string(status) + " ")) << request << "\n---\n" << text;
        EXPECT_EQ(1U, timesIn(text, "HTTP/1.1 ")) << request << "\n---\n" << text;
        EXPECT_NE(std::string::npos, text.find("Connection: close\r\n")) << text;
        EXPECT_EQ(std::string::npos, text.find("pis_")) << request;
    }
};

TEST_F(Framing, OtherCodingsThanChunkedAreRefused) {
    for (const char* coding : {"",
                               " ",
                               "xchunked",
                               "chunkedx",
                               "x chunked",
                               "identity",
                               "chunked, identity",
                               "identity, chunked",
                               "gzip, chunked",
                               "chunked, gzip",
                               "gzip",
                               "chunked, chunked",
                               "chunked,",
                               ",chunked",
                               "\"chunked\"",
                               "chunked;q=1",
                               "'chunked'",
                               "\tchunked",
                               "chunked\t",
                               "\x0b"
                               "chunked",
                               "chun\xe2\x84\xaa"
                               "ed",
                               "[chunked]"}) {
        expectRefusal(400, post("Transfer-Encoding:" + std::string(coding) + "\r\n"));
        expectRefusal(400, post("Transfer-Encoding: " + std::string(coding) + "\r\n"));
    }
    expectRefusal(400, post("Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n"));
    expectRefusal(400, post("Transfer-Encoding: chunked\r\nTransfer-Encoding: identity\r\n"));
    expectRefusal(400, post("Transfer-Encoding: identity\r\ntransfer-encoding: chunked\r\n"));
    expectRefusal(400, post("Transfer-Encoding: gzip\r\nX: y\r\nTRANSFER-ENCODING: gzip\r\n"));
}

TEST_F(Framing, TwoWordsForOneLengthAreRefused) {
    for (const char* coding : {"chunked", "Chunked", "identity", "gzip", "xchunked"}) {
        for (const char* length : {"0", "5", "49"}) {
            const std::string a = "Transfer-Encoding: " + std::string(coding) + "\r\n";
            const std::string b = "Content-Length: " + std::string(length) + "\r\n";
            expectRefusal(400, post(a + b));
            expectRefusal(400, post(b + a));
            expectRefusal(400, post(b + "X: y\r\n" + a));
        }
    }
}

TEST_F(Framing, HTTP10HasNoCodings) {
    expectRefusal(400, post("Transfer-Encoding: chunked\r\n", "0\r\n\r\n", "1.0"));
    expectRefusal(400, post("Connection: keep-alive\r\nTransfer-Encoding: chunked\r\n", "0\r\n\r\n", "1.0"));
    expectRefusal(400, post("Connection: keep-alive\r\nTransfer-Encoding: identity\r\n", "", "1.0"));
}

TEST_F(Framing, LengthsThatAreNoSingleNumberAreRefused) {
    for (const char* length : {"",
                               " ",
                               ",",
                               ", ",
                               "+5",
                               "-5",
                               "-0",
                               "0x5",
                               "5, 5",
                               "5,5",
                               "0, 0",
                               "0,",
                               ",0",
                               "5, 6",
                               "5 5",
                               "5;",
                               "5.0",
                               "5e0",
                               "five",
                               "\t5",
                               "5\t",
                               "\"5\"",
                               "18446744073709551616",
                               "99999999999999999999999",
                               "\xd9\xa5"}) {
        expectRefusal(400, post("Content-Length: " + std::string(length) + "\r\n", "hello"));
    }
    expectRefusal(400, post("Content-Length: 5\r\nContent-Length: 5\r\n", "hello"));
    expectRefusal(400, post("Content-Length: 5\r\ncontent-length: 6\r\n", "hello"));
    expectRefusal(400, post("Content-Length: 0\r\nX: y\r\nContent-Length: 0\r\n", ""));
    expectRefusal(413, post("Content-Length: 18446744073709551615\r\n", "hello"));
    expectRefusal(413, post("Content-Length: 16385\r\n", "hello"));
}

TEST_F(Framing, LinesThatSomeReadOtherwiseAreRefused) {
    for (const std::string& lines : {"Transfer-Encoding:\r\n chunked\r\n"s,
                                     "Transfer-Encoding: chunked\r\n\tx\r\n"s,
                                     "X: y\r\n z\r\n"s,
                                     "X: y\r\n \r\n"s,
                                     "X:\r\n\tTransfer-Encoding: chunked\r\n"s,
                                     " X: y\r\n"s,
                                     "\tX: y\r\n"s,
                                     "Transfer-Encoding : chunked\r\n"s,
                                     "Content-Length : 5\r\n"s,
                                     "Content-Length\t: 5\r\n"s,
                                     "Content Length: 5\r\n"s,
                                     "X\r\n"s,
                                     ": y\r\n"s,
                                     "X: y\nTransfer-Encoding: chunked\r\n"s,
                                     "X: y\rTransfer-Encoding: chunked\r\n"s,
                                     "X: y\r\r\n"s,
                                     "X: \0\r\n"s,
                                     "X\0: y\r\n"s,
                                     "Transfer-Encoding\0: chunked\r\n"s,
                                     "Transfer-Encoding: chunked\0\r\n"s,
                                     "X: \x7f\r\n"s,
                                     "X\xe9: y\r\n"s,
                                     "(X): y\r\n"s,
                                     "X@: y\r\n"s,
                                     "\n"s,
                                     "\r"s,
                                     "\nX: y\r\n"s}) {
        expectRefusal(400, post(lines));
    }
    for (const std::string& front :
         {"GET / HTTP/1.1\nHost: localhost\n\n"s, "GET / HTTP/1.1\nHost: localhost\r\n\r\n"s,
          "GET / HTTP/1.1 \r\nHost: localhost\r\n\r\n"s, "GET /\tHTTP/1.1\r\nHost: localhost\r\n\r\n"s,
          "GET\t/ HTTP/1.1\r\nHost: localhost\r\n\r\n"s, " GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"s, "GET /\r\n"s,
          "GET /healthz\r\n\r\n"s, "GET /healthz HTTP/2.0\r\n\r\n"s, "GET /healthz HTTP/1.2\r\n\r\n"s,
          "GET /healthz HTTP/0.9\r\n\r\n"s, "GET /healthz http/1.1\r\n\r\n"s, "GET /healthz HTTP/1.10\r\n\r\n"s,
          "GET /healthz HTTP/01.1\r\n\r\n"s, "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n"s, "GET\r\n\r\n"s, "\0"s}) {
        expectRefusal(400, front);
    }
}

TEST_F(Framing, ChunksThatAreNoneAreRefused) {
    const std::string lines = "Transfer-Encoding: chunked\r\n";
    for (const std::string& body : {"\r\n"s,
                                    "x\r\n\r\n"s,
                                    "-1\r\n\r\n"s,
                                    "+1\r\na\r\n0\r\n\r\n"s,
                                    "0x1\r\na\r\n0\r\n\r\n"s,
                                    " 1\r\na\r\n0\r\n\r\n"s,
                                    "1 \r\na\r\n0\r\n\r\n"s,
                                    "1\na\r\n0\r\n\r\n"s,
                                    "1\r\nab\r\n0\r\n\r\n"s,
                                    "2\r\na\r\n0\r\n\r\n"s,
                                    "1\r\na0\r\n\r\n"s,
                                    "1\r\na\n0\r\n\r\n"s,
                                    "1;\r\na\r\n0\r\n\r\n"s,
                                    "1;=x\r\na\r\n0\r\n\r\n"s,
                                    "1;a=\"\r\"\na\r\n0\r\n\r\n"s,
                                    "1;a=b c\r\na\r\n0\r\n\r\n"s,
                                    "1;a\nb\r\na\r\n0\r\n\r\n"s,
                                    "1;a\rb\r\na\r\n0\r\n\r\n"s,
                                    "0;\r\n\r\n"s,
                                    "0 \r\n\r\n"s,
                                    "0\r\nX\r\n\r\n"s,
                                    "0\r\nX y: z\r\n\r\n"s,
                                    "0\r\nX: y\nZ: z\r\n\r\n"s,
                                    "0\r\nContent-Length: 5\r\n\r\n"s,
                                    "0\r\nTransfer-Encoding: chunked\r\n\r\n"s,
                                    "10000000000000000\r\n\r\n"s,
                                    "ffffffffffffffffffff\r\n\r\n"s}) {
        expectRefusal(400, post(lines, body));
    }
    for (const char* size : {"4001", "ffffffffffffffff", "8000000000000000", "7fffffff"}) {
        expectRefusal(413, post(lines, std::string(size) + "\r\na"));
    }
    Connection quoted(service->port());  // is waited for, until its time is over
    quoted.send(post(lines, "1;a=\"\r\na\r\n0\r\n\r\n") + kSmuggled);
    quoted.endSending();
    EXPECT_EQ("", quoted.takeRest());
    expectRefusal(431, post(lines, "1;x=" + std::string(20000, 'x')));
    expectRefusal(431, post(lines, "0\r\nX: " + std::string(20000, 'x')));
}

// --- What is in order ---

TEST_F(Framing, BodiesInOrderArePassedOverAndTheNextRequestIsRead) {
    for (const std::string& request :
         {post("Content-Length: 5\r\n", "hello"), post("content-length:5  \r\n", "GET /"),
          post("Content-Length: 0005\r\n", "\r\n\r\n\r"), post("Content-Length: 0\r\n", ""), post("", ""),
          post("Transfer-Encoding: chunked\r\n"), post("TRANSFER-encoding:chunKED \r\n", "0\r\n\r\n"),
          post("Transfer-Encoding: chunked\r\n", "5\r\nhello\r\n0000\r\n\r\n"),
          post("Transfer-Encoding: chunked\r\n", "0005;a;b=c;d=\"e f\"\r\nhello\r\nA\r\n0123456789\r\n0;z\r\n\r\n"),
          post("Transfer-Encoding: chunked\r\n", "1\r\n\r\r\n0\r\nX: y\r\nZ: z\r\n\r\n")}) {
        for (const bool inPieces : {false, true}) {
            Connection connection(service->port());
            const std::string all = request + requestText("GET", "/nowhere");
            for (std::size_t at = 0; at < all.size(); at += inPieces ? 1 : all.size()) {
                ASSERT_TRUE(connection.send(inPieces ? all.substr(at, 1) : all));
            }
            EXPECT_EQ(405, connection.readAnswer().status) << request;
            EXPECT_EQ(404, connection.readAnswer().status) << request;
        }
    }
}

TEST(RequestReader, TakesWhatComesByteByByte) {
    for (const std::string& body : {"0\r\n\r\n"s, "0\r\nX: y\r\n\r\n"s, "5;a=b\r\nhello\r\n0\r\nX: y\r\n\r\n"s}) {
        const HttpLimits limits;
        RequestReader reader(limits);
        const std::string all = "\r\n" + post("Transfer-Encoding: chunked\r\n", body);
        std::size_t headers = 0;
        for (std::size_t at = 0; at < all.size(); ++at) {
            *static_cast<char*>(reader.room().data()) = all[at];
            reader.came(1);
            RequestReader::Progress progress = reader.readOn();
            if (progress == RequestReader::HEADER) {
                ++headers;
                progress = reader.readOn();
            }
            EXPECT_EQ(at == 1                ? RequestReader::NOTHING
                      : at + 1 == all.size() ? RequestReader::WHOLE
                                             : RequestReader::HALFWAY,
                      progress)
                << all << at;
        }
        EXPECT_EQ(1U, headers);
        reader.next();
        EXPECT_EQ(RequestReader::NOTHING, reader.readOn());
    }
}

TEST_F(Framing, WhatStandsBehindABodyIsNoHeader) {
    const std::string chunked = "Transfer-Encoding: chunked\r\n";
    Connection connection(service->port());
    connection.send("GET /healthz HTTP/1.1\r\n" + chunked + "\r\n0\r\nHost: localhost\r\n\r\n");
    EXPECT_EQ(400, connection.readAnswer().status) << "no Host";
    connection.send("GET /healthz HTTP/1.1\r\nHost: localhost\r\n" + chunked +
                    "\r\n0\r\nHost: localhost\r\nOrigin: null\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(200, connection.readAnswer().status);
    EXPECT_EQ(200, connection.ask("GET", "/healthz").status) << "it goes on";
}

TEST_F(Framing, AHeaderThatComesLineByLineIsNoLongerThanAnother) {
    Connection connection(service->port());
    connection.send("GET /healthz HTTP/1.1\r\nHost: localhost\r\n");
    int lines = 0;
    patience::await("as many as are too many, each read for itself", [&] {
        connection.send("X-" + std::to_string(lines) + ": " + std::string(200, 'y') + "\r\n");
        return ++lines == 100;
    });
    EXPECT_EQ(431, connection.readAnswer().status);
}

// --- Behind a proxy ---

TEST_F(Framing, NothingGetsPastAProxysGuard) {
    const Nginx nginx(service->port(),
                      "proxy_http_version 1.1; proxy_set_header Connection \"\"; location = /metrics { return 403; }");
    EXPECT_EQ(403, service::get(nginx.port(), "/metrics").status);
    EXPECT_EQ(200, service::get(nginx.port(), "/healthz").status);
    for (const std::string& lines :
         {"Transfer-Encoding: gzip\r\n"s, "Transfer-Encoding: chunked, identity\r\n"s,
          "Transfer-Encoding: xchunked\r\n"s, "Transfer-Encoding:\tchunked\r\n"s, "Transfer-Encoding:\r\n chunked\r\n"s,
          "Transfer_Encoding: chunked\r\n"s, "Transfer-Encoding : chunked\r\n"s,
          "Transfer-Encoding: chunked\r\nTransfer-Encoding: identity\r\n"s,
          "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n"s, "Content-Length: 5\r\nContent-Length: 0\r\n"s,
          "Content-Length: +5\r\n"s, "Content-Length: 5, 5\r\n"s,
          "Connection: Content-Length\r\nContent-Length: 46\r\n"s,
          "Connection: Transfer-Encoding\r\nTransfer-Encoding: chunked\r\n"s,
          "Expect: 100-continue\r\nContent-Length: 46\r\n"s, "X: y\nTransfer-Encoding: gzip\r\n"s}) {
        for (const std::string& front : {"0\r\n\r\n"s, ""s}) {
            Connection connection(nginx.port());
            connection.send(post(lines, front + kSmuggled) + kSmuggled);
            connection.endSending();
            EXPECT_EQ(std::string::npos, connection.takeRest().find("pis_")) << lines;
        }
    }
}

}  // namespace

}  // namespace pis::service
