// A signalling side on TCP: records in, operations out, back-pressure, and connections that fall.
#include "signalling/TcpLink.h"

#include <gtest/gtest.h>
#include <netdb.h>

#include <future>
#include <vector>

#include "FeedFiles.h"
#include "LoopbackServer.h"
#include "SignallingSupport.h"
#include "platform/HostLog.h"

namespace pis::signalling {

namespace {

using std::chrono::milliseconds;

/// A machine may have no name for itself.
bool isKnown(const std::string& host) {
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, nullptr, &found) != 0) return false;
    freeaddrinfo(found);
    return true;
}

class TcpLinkTest : public ::testing::Test {
protected:
    TcpLinkTest() { platform::HostLog::writeTo(folder.path("log")); }
    ~TcpLinkTest() override { platform::HostLog::writeTo("/dev/null"); }

    static TcpTiming quick() {
        TcpTiming timing;
        timing.firstPause = milliseconds(1);
        timing.longestPause = milliseconds(8);
        return timing;
    }

    TcpLink linkToServer(TcpTiming timing = quick()) const { return TcpLink({"127.0.0.1", server.port()}, timing); }

    bool logged(const std::string& text) const { return folder.read("log").find(text) != std::string::npos; }

    const std::string record = "{\"update\":2,\"id\":7,\"fields\":[\"North\"]}";
    LoopbackServer server;
    TempFolder folder;
};

TEST_F(TcpLinkTest, PutsRecordsIntoTheInbox) {
    TcpLink link = linkToServer();
    Inbox inbox;
    RunningLink running(link, inbox);
    Peer peer = server.accept();
    EXPECT_EQ(next(inbox), "link up");
    peer.send(record + "\n\n{\"snapshot\":\"be");
    EXPECT_EQ(next(inbox), record);
    peer.send("gin\"}\r\n" + record + "\n");
    EXPECT_EQ(next(inbox), "{\"snapshot\":\"begin\"}");
    EXPECT_EQ(next(inbox), record);
}

TEST_F(TcpLinkTest, FindsHostsByNameAndByBothKindsOfAddress) {
    EXPECT_EQ(TcpLink({"box.example", 4711}).name(), "tcp://box.example:4711");
    EXPECT_EQ(TcpLink({"::1", 4711}).name(), "tcp://[::1]:4711");

    const LoopbackServer server6(16, AF_INET6);
    for (const std::string& host : {std::string("localhost"), std::string("::1")}) {
        if (host == "::1" && !server6.works()) continue;
        if (host == "localhost" && !isKnown(host)) continue;
        const LoopbackServer& to = host == "::1" ? server6 : server;
        TcpLink link({host, to.port()}, quick());
        Inbox inbox;
        RunningLink running(link, inbox);
        Peer peer = to.accept();
        EXPECT_EQ(next(inbox), "link up") << host;
        peer.send(record + "\n");
        EXPECT_EQ(next(inbox), record) << host;
    }
}

TEST_F(TcpLinkTest, LinesThatAreNoRecordsArePassedOverOneByOne) {
    TcpLink link = linkToServer();
    Inbox inbox;
    RunningLink running(link, inbox);
    Peer peer = server.accept();
    EXPECT_EQ(next(inbox), "link up");
    peer.send("GET / HTTP/1.1\n" + record + "\n\xff\xfe\n{\"update\":9,\"id\":1}\n" + std::string(3 << 20, 'x') + "\n" +
              record + "\n");
    EXPECT_EQ(next(inbox), "malformed 0: not JSON: the line is cut short, or a bracket, comma or colon stands wrong");
    EXPECT_EQ(next(inbox), record);
    EXPECT_EQ(next(inbox), "malformed 0: not JSON: the text is not UTF-8");
    EXPECT_EQ(next(inbox), "malformed 9: \"fields\" is missing");
    EXPECT_EQ(next(inbox), "malformed 0: the line is longer than 1 MiB");
    EXPECT_EQ(next(inbox), record);
}

TEST_F(TcpLinkTest, ASenderThatIsFasterIsSlowedDownAndNothingIsLost) {
    constexpr std::size_t kMost = std::size_t{64} << 20;
    TcpLink link = linkToServer();
    Inbox inbox(4);
    RunningLink running(link, inbox);
    Peer peer = server.accept();

    const auto lineOf = [](int id) {
        return "{\"update\":2,\"id\":" + std::to_string(id) + ",\"fields\":[\"" + std::string(1000, 'x') + "\"]}\n";
    };
    std::string unsent;
    int lines = 0;
    std::size_t sent = 0;
    while (sent < kMost) {
        if (unsent.empty()) {
            for (int i = 0; i < 60; ++i) unsent += lineOf(++lines);
        }
        const std::size_t more = peer.sendSome(unsent, 0, 300);
        if (more == 0) break;
        sent += more;
        unsent.erase(0, more);
    }
    EXPECT_LT(sent, kMost) << "nobody takes from the inbox, and the sender may go on sending";
    EXPECT_LE(inbox.size(), 4U);

    std::future<void> rest = std::async(std::launch::async, [&] { peer.send(unsent); });
    EXPECT_EQ(next(inbox), "link up");
    for (int id = 1; id <= lines; ++id) {
        const auto item = inbox.pop(std::chrono::steady_clock::now() + kGenerous);
        ASSERT_TRUE(item) << id;
        ASSERT_EQ(std::get<feed::FeedRecord>(*item).id, id);
    }
    rest.get();
}

TEST_F(TcpLinkTest, ConnectsAgainWhenTheConnectionFalls) {
    TcpLink link = linkToServer();
    Inbox inbox;
    RunningLink running(link, inbox);
    const std::string name = base::textOf({"127.0.0.1", server.port()});
    for (int round = 0; round < 5; ++round) {
        Peer peer = server.accept();
        EXPECT_EQ(next(inbox), "link up");
        peer.send(record + "\n");
        EXPECT_EQ(next(inbox), record);
        if (round % 2 == 0) {
            peer.close();
            EXPECT_EQ(next(inbox), "link down: " + name + " closed the connection");
        } else {
            peer.reset();
            EXPECT_EQ(next(inbox), "link down: " + name + ": Connection reset by peer");
        }
    }
}

TEST_F(TcpLinkTest, AConnectionThatBroughtRecordsMakesTheNextPauseAFirstOne) {
    TcpTiming timing = quick();
    timing.longestPause = milliseconds(3600000);
    TcpLink link = linkToServer(timing);
    Inbox inbox;
    RunningLink running(link, inbox);
    for (int round = 0; round < 24; ++round) {  // the pause would be hours long by the end
        Peer peer = server.accept();
        ASSERT_EQ(next(inbox), "link up");
        peer.send(record + "\n");
        ASSERT_EQ(next(inbox), record);
        peer.close();
        ASSERT_EQ(next(inbox), "link down: " + base::textOf({"127.0.0.1", server.port()}) + " closed the connection")
            << "each time, though it is the same again";
    }
}

TEST_F(TcpLinkTest, ALineThatIsCutOffWithTheConnectionIsMalformed) {
    TcpLink link = linkToServer();
    Inbox inbox;
    RunningLink running(link, inbox);
    {
        Peer peer = server.accept();
        EXPECT_EQ(next(inbox), "link up");
        peer.send(record + "\n" + record.substr(0, 20));
    }
    EXPECT_EQ(next(inbox), record);
    EXPECT_EQ(next(inbox).rfind("malformed 0: not JSON", 0), 0U);
    EXPECT_EQ(next(inbox).rfind("link down", 0), 0U);
    Peer again = server.accept();
    EXPECT_EQ(next(inbox), "link up");
    again.send(record + "\n");
    EXPECT_EQ(next(inbox), record) << "nothing of the line before is left";
}

TEST_F(TcpLinkTest, SaysOnceThatNobodyIsThereAndGoesOnTrying) {
    std::uint16_t port = 0;
    {
        const LoopbackServer gone;
        port = gone.port();
    }
    TcpLink link({"127.0.0.1", port}, quick());
    Inbox inbox;
    RunningLink running(link, inbox);
    EXPECT_EQ(next(inbox), "link down: cannot connect to 127.0.0.1:" + std::to_string(port) + ": Connection refused");
    EXPECT_FALSE(inbox.pop(std::chrono::steady_clock::now() + milliseconds(50))) << "the same fault again";
}

TEST_F(TcpLinkTest, AnAttemptToConnectHasALimit) {
    const LoopbackServer silent(0);
    const Peer filling[] = {silent.fill(), silent.fill(), silent.fill(), silent.fill()};
    TcpTiming timing = quick();
    timing.connectLimit = milliseconds(50);
    TcpLink link({"127.0.0.1", silent.port()}, timing);
    Inbox inbox;
    RunningLink running(link, inbox);
    EXPECT_EQ(next(inbox), "link down: cannot connect to " + base::textOf({"127.0.0.1", silent.port()}) +
                               ": no answer within 50 ms");
}

/// A look-up that takes as long as the test likes; it ends with the test.
class HangingLookUp {
public:
    ~HangingLookUp() { _end.set_value(); }

    TcpLink::LookUp lookUp() {
        return [this, end = _end.get_future().share()](const std::string& host) -> std::vector<std::string> {
            {
                const std::lock_guard<std::mutex> guard(_mutex);
                _asked = host;
            }
            end.wait();  // from here on this is gone
            return {};
        };
    }

    std::string asked() {
        const std::lock_guard<std::mutex> guard(_mutex);
        return _asked;
    }

private:
    std::promise<void> _end;
    std::mutex _mutex;
    std::string _asked;  // guarded by _mutex
};

TEST_F(TcpLinkTest, ALookUpThatHangsEndsWithTheLimit) {
    HangingLookUp hanging;
    TcpTiming timing;
    timing.connectLimit = milliseconds(50);
    timing.firstPause = timing.longestPause = milliseconds(600000);
    TcpLink link({"box.example", 4711}, timing, hanging.lookUp());
    Inbox inbox;
    RunningLink running(link, inbox);
    EXPECT_EQ(next(inbox), "link down: cannot connect to box.example:4711: its address was not found within 50 ms");
    EXPECT_TRUE(eventually([&] { return hanging.asked() == "box.example"; }));
}

TEST_F(TcpLinkTest, ALookUpThatHangsEndsWithAStop) {
    HangingLookUp hanging;
    TcpTiming timing;
    timing.connectLimit = milliseconds(600000);
    TcpLink link({"box.example", 4711}, timing, hanging.lookUp());
    Inbox inbox;
    std::future<void> run = std::async(std::launch::async, [&] { link.run(inbox); });
    EXPECT_TRUE(eventually([&] { return hanging.asked() == "box.example"; }));
    link.stop();
    EXPECT_EQ(run.wait_for(kGenerous), std::future_status::ready);
    EXPECT_EQ(inbox.size(), 0U) << "a stop is no fault";
}

TEST_F(TcpLinkTest, TriesEveryAddressOfAName) {
    std::string asked;
    TcpLink link({"box.example", server.port()}, quick(), [&asked](const std::string& host) {
        asked = host;
        return std::vector<std::string>{"127.0.0.2", "127.0.0.1"};
    });
    Inbox inbox;
    RunningLink running(link, inbox);
    Peer peer = server.accept();
    EXPECT_EQ(next(inbox), "link up");
    EXPECT_EQ(asked, "box.example");
}

TEST_F(TcpLinkTest, ANameThatIsNotFoundIsSaid) {
    TcpLink link({"box.example", 4711}, quick(),
                 [](const std::string&) -> std::vector<std::string> { throw std::runtime_error("no such host"); });
    Inbox inbox;
    RunningLink running(link, inbox);
    EXPECT_EQ(next(inbox), "link down: cannot connect to box.example:4711: no such host");
}

TEST_F(TcpLinkTest, TheSystemFindsAddresses) {
    EXPECT_EQ(addressesOf("127.0.0.1"), std::vector<std::string>{"127.0.0.1"});
    try {
        addressesOf(std::string(300, 'x'));
        ADD_FAILURE() << "that is no name";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()).find('['), std::string::npos) << error.what();
    }
}

TEST_F(TcpLinkTest, StopsWhateverItWaitsFor) {
    const LoopbackServer silent(0);
    const Peer filling[] = {silent.fill(), silent.fill(), silent.fill(), silent.fill()};
    std::uint16_t refusing = 0;
    {
        const LoopbackServer gone;
        refusing = gone.port();
    }
    TcpTiming timing;
    timing.connectLimit = timing.firstPause = timing.longestPause = milliseconds(600000);
    const auto endsWhenStopped = [&](std::uint16_t port, const std::function<void(Inbox&)>& meanwhile) {
        TcpLink link({"127.0.0.1", port}, timing);
        Inbox inbox;
        std::future<void> run = std::async(std::launch::async, [&] { link.run(inbox); });
        meanwhile(inbox);
        link.stop();
        return run.wait_for(kGenerous) == std::future_status::ready;
    };
    EXPECT_TRUE(endsWhenStopped(silent.port(), [](Inbox&) {})) << "for an answer";
    EXPECT_TRUE(endsWhenStopped(refusing, [](Inbox& inbox) { EXPECT_EQ(next(inbox).rfind("link down", 0), 0U); }))
        << "for the end of a pause";
    EXPECT_TRUE(endsWhenStopped(server.port(), [](Inbox& inbox) { EXPECT_EQ(next(inbox), "link up"); }))
        << "for records";
}

TEST_F(TcpLinkTest, StopsWhenTheInboxIsFullAndClosed) {
    TcpLink link = linkToServer();
    Inbox inbox(1);
    std::future<void> run = std::async(std::launch::async, [&] { link.run(inbox); });
    Peer peer = server.accept();
    peer.send(record + "\n" + record + "\n");
    ASSERT_TRUE(eventually([&] { return inbox.size() == 1; }));
    inbox.close();
    link.stop();
    EXPECT_EQ(run.wait_for(kGenerous), std::future_status::ready);
}

// --- Operations ---------------------------------------------------------------------------------

TEST_F(TcpLinkTest, OperationsGoOutAsLinesInTheirOrder) {
    TcpLink link = linkToServer();
    Inbox inbox;
    RunningLink running(link, inbox);
    Peer peer = server.accept();
    EXPECT_EQ(next(inbox), "link up");
    ASSERT_TRUE(eventually([&] { return link.send({21, "3,\"North\",N"}); }));
    EXPECT_TRUE(link.send({22, "*"}));
    EXPECT_EQ(peer.line(), R"({"operation":21,"text":"3,\"North\",N"})");
    EXPECT_EQ(peer.line(), R"({"operation":22,"text":"*"})");
    for (int i = 0; i < 500; ++i) ASSERT_TRUE(link.send({67, std::to_string(i)}));
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(peer.line(), R"({"operation":67,"text":")" + std::to_string(i) + "\"}");
    }
}

TEST_F(TcpLinkTest, OperationsAreRefusedWithoutAConnection) {
    TcpLink link = linkToServer();
    EXPECT_FALSE(link.send({21, "3,North,N"}));
    EXPECT_TRUE(
        logged("operation 21 is lost: there is no connection to " + base::textOf({"127.0.0.1", server.port()})));
    Inbox inbox;
    RunningLink running(link, inbox);
    Peer peer = server.accept();
    EXPECT_EQ(next(inbox), "link up");
    ASSERT_TRUE(eventually([&] { return link.send({22, "1"}); }));
    EXPECT_EQ(peer.line(), R"({"operation":22,"text":"1"})") << "what was refused does not come later";
    peer.close();
    EXPECT_EQ(next(inbox).rfind("link down", 0), 0U);
    Peer again = server.accept();
    EXPECT_EQ(next(inbox), "link up");
}

TEST_F(TcpLinkTest, OperationsThatNobodyReadsAreRefusedInTheEnd) {
    TcpLink link = linkToServer();
    Inbox inbox;
    RunningLink running(link, inbox);
    Peer peer = server.accept();
    EXPECT_EQ(next(inbox), "link up");
    const std::string text(100000, 'x');
    ASSERT_TRUE(eventually([&] { return link.send({66, text}); }));
    int taken = 1;
    while (taken < 100000 && link.send({66, text})) ++taken;
    EXPECT_GE(taken, static_cast<int>(TcpLink::kMostWaiting));
    EXPECT_LT(taken, 100000);
    EXPECT_TRUE(logged("operation 66 is lost: 1024 operations wait for 127.0.0.1:"));
    peer.reset();
    EXPECT_EQ(next(inbox).rfind("link down", 0), 0U);
    EXPECT_TRUE(logged("operations are lost: the connection to 127.0.0.1:"));
    Peer again = server.accept();
    EXPECT_EQ(next(inbox), "link up");
    ASSERT_TRUE(eventually([&] { return link.send({22, "1"}); }));
    EXPECT_EQ(again.line(), R"({"operation":22,"text":"1"})") << "what was lost does not come later";
}

}  // namespace

}  // namespace pis::signalling
