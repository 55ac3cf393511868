// The operator's word for a link: its forms, and what is said of one that is none.
#include "service/MakeLink.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "FeedFiles.h"
#include "SignallingSupport.h"

namespace pis::service {

using namespace signalling;

namespace {

std::string nameOf(const std::string& word) {
    LinkOptions options;
    options.link = word;
    try {
        return makeLink(options)->name();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

TEST(MakeLink, KnowsFilesAndStandardInput) {
    EXPECT_EQ(nameOf("file:feed.jsonl"), "file:feed.jsonl");
    EXPECT_EQ(nameOf("file:/a b/c:d"), "file:/a b/c:d");
    EXPECT_EQ(nameOf("file:-"), "file:-");
    EXPECT_EQ(nameOf("-"), "file:-");
}

TEST(MakeLink, KnowsTcpByNameAndAddress) {
    EXPECT_EQ(nameOf("tcp://box.example:4711"), "tcp://box.example:4711");
    EXPECT_EQ(nameOf("tcp://127.0.0.1:1"), "tcp://127.0.0.1:1");
    EXPECT_EQ(nameOf("tcp://[::1]:65535"), "tcp://[::1]:65535");
}

TEST(MakeLink, RefusesWhatOnlyARailwayTakes) {
    const auto faultOf = [](const std::string& word, simulator::SimulationOptions railway) {
        LinkOptions options;
        options.link = word;
        options.simulation = railway;
        try {
            return makeLink(options)->name();
        } catch (const std::runtime_error& error) {
            return std::string(error.what());
        }
    };
    simulator::SimulationOptions fast;
    fast.speed = 10;
    EXPECT_EQ(faultOf("-", fast), "file:-");
    EXPECT_EQ(faultOf("tcp://[::1]:7", fast), "link \"tcp://[::1]:7\": takes no --speed; a simulated railway does");
    simulator::SimulationOptions early;
    early.start = 0;
    EXPECT_EQ(faultOf("file:a", early), "link \"file:a\": takes no --start; a simulated railway does");
    simulator::SimulationOptions spoilt;
    spoilt.faults.drop = 0.5;
    EXPECT_EQ(faultOf("-", spoilt), "link \"-\": takes no --fault; a simulated railway does");
}

TEST(MakeLink, SaysWhatIsWrongAndWhichFormsThereAre) {
    const std::string forms =
        "; a link is file:PATH (- or file:- for standard input), tcp://HOST:PORT ([HOST] for an IPv6 address) or "
        "sim:FILE";
    EXPECT_EQ(nameOf(""), "link \"\": is none" + forms);
    EXPECT_EQ(nameOf("feed.jsonl"), "link \"feed.jsonl\": is none" + forms);
    EXPECT_EQ(nameOf("udp://a:1"), "link \"udp://a:1\": is none" + forms);
    EXPECT_EQ(nameOf("file:"), "link \"file:\": the path is missing" + forms);
    EXPECT_EQ(nameOf("sim:"), "link \"sim:\": the network file is missing" + forms);
    EXPECT_EQ(nameOf("tcp://a"), "link \"tcp://a\": the port is missing" + forms);
    EXPECT_EQ(nameOf("tcp://a:"), "link \"tcp://a:\": the port is missing" + forms);
    EXPECT_EQ(nameOf("tcp://a:0"), "link \"tcp://a:0\": there is no port 0 to connect to" + forms);
    for (const std::string port : {"65536", "99999", "99999999999999999999"}) {
        EXPECT_EQ(nameOf("tcp://a:" + port),
                  "link \"tcp://a:" + port + "\": the port is no number up to 65535" + forms);
    }
    for (const std::string port : {"x", "1x", "-1", "+1", " 1"}) {
        EXPECT_EQ(nameOf("tcp://a:" + port), "link \"tcp://a:" + port + "\": that is no HOST:PORT" + forms);
    }
    EXPECT_EQ(nameOf("tcp://:1"), "link \"tcp://:1\": the host is missing" + forms);
    for (const std::string host : {"::1", "[::1", "::1]", "[]", "a/b", "a b", "user@a"}) {
        EXPECT_EQ(nameOf("tcp://" + host + ":1"), "link \"tcp://" + host + ":1\": that is no HOST:PORT" + forms);
    }
}

TEST(MakeLink, ANetworkFileWithFaultsIsNamed) {
    const TempFolder folder;
    const std::string missing = folder.path("none.json");
    EXPECT_NE(nameOf("sim:" + missing).find(missing), std::string::npos);
}

}  // namespace

}  // namespace pis::service
