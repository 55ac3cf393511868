// The simulated signalling side as the link: its whole state, its answers, its cuts. What it simulates is its own
// tests' business.
#include "simulator/SimLink.h"

#include <gtest/gtest.h>

#include <future>

#include "FeedFiles.h"
#include "SignallingSupport.h"
#include "platform/HostLog.h"

namespace pis::simulator {

using namespace signalling;

namespace {

class SimLinkTest : public ::testing::Test {
protected:
    SimLinkTest() {
        platform::HostLog::writeTo(folder.path("log"));
        options.networkFile = std::string(PIS_SAMPLES) + "/harbour-line.json";
        options.start = 8 * 3600;
        options.speed = 60;
    }
    ~SimLinkTest() override { platform::HostLog::writeTo("/dev/null"); }

    /// Takes items until one, described, holds this text; false when none ever does.
    static bool comes(signalling::Inbox& inbox, const std::string& part) {
        return eventually([&] {
            const auto item = inbox.pop(std::chrono::steady_clock::now() + std::chrono::milliseconds(100));
            return item && describe(*item).find(part) != std::string::npos;
        });
    }

    SimulationOptions options;
    TempFolder folder;
};

TEST_F(SimLinkTest, SendsTheWholeStateAndThenTheDay) {
    SimLink link(options);
    EXPECT_EQ(link.name(), "sim:" + options.networkFile);
    signalling::Inbox inbox;
    RunningLink running(link, inbox);
    EXPECT_EQ(next(inbox), "link up");
    EXPECT_TRUE(comes(inbox, R"("snapshot":"begin")"));
    EXPECT_TRUE(comes(inbox, R"("update":9)"));
    EXPECT_TRUE(comes(inbox, R"("snapshot":"end")"));
    EXPECT_TRUE(comes(inbox, R"("update":12)"));
}

TEST_F(SimLinkTest, AnswersOperations) {
    SimLink link(options);
    EXPECT_FALSE(link.send({21, "4711,Early Line,E"})) << "it is not connected before it runs";
    signalling::Inbox inbox;
    RunningLink running(link, inbox);
    EXPECT_EQ(next(inbox), "link up");
    EXPECT_TRUE(link.send({21, "4712,Quarry Line,Q"}));
    EXPECT_TRUE(comes(inbox, R"("update":2,"id":4712,"fields":["Quarry Line","Q"])"));
    EXPECT_NE(folder.read("log").find("operation 21 is lost: sim:"), std::string::npos);
    // The records of an answer come before its remark.
    EXPECT_TRUE(eventually([this] {
        return folder.read("log").find("simulated signalling side: operation 21: line 4712 added") != std::string::npos;
    }));
}

TEST_F(SimLinkTest, ACutConnectionIsDownAndComesBackWithTheWholeState) {
    options.faults.disconnect = 0.1;
    SimLink link(options);
    signalling::Inbox inbox;
    RunningLink running(link, inbox);
    EXPECT_EQ(next(inbox), "link up");
    EXPECT_TRUE(comes(inbox, "link down: "));
    EXPECT_EQ(next(inbox), "link up");
    EXPECT_TRUE(comes(inbox, R"("snapshot":"end")"));
}

TEST_F(SimLinkTest, TakesNoOperationWhileTheConnectionIsCut) {
    options.faults.disconnect = 0.05;
    SimLink link(options);
    signalling::Inbox inbox(1'000'000);
    RunningLink running(link, inbox);
    EXPECT_TRUE(eventually([&] { return link.send({21, "1,Line,L"}); }));
    EXPECT_TRUE(eventually([&] { return !link.send({21, "1,Line,L"}); }));
    EXPECT_TRUE(eventually([&] { return link.send({21, "1,Line,L"}); })) << "it connects again";
}

TEST_F(SimLinkTest, EndsWhenNobodyReceivesAnyMore) {
    SimLink link(options);
    signalling::Inbox inbox;
    std::future<void> run = std::async(std::launch::async, [&] { link.run(inbox); });
    EXPECT_EQ(next(inbox), "link up");
    inbox.close();
    const bool ended = run.wait_for(kGenerous) == std::future_status::ready;
    EXPECT_TRUE(ended);
    if (!ended) link.stop();
}

TEST_F(SimLinkTest, GarbledLinesAreMalformedOrAtLeastNoHarm) {
    options.faults.garble = 1;
    SimLink link(options);
    signalling::Inbox inbox;
    RunningLink running(link, inbox);
    EXPECT_TRUE(comes(inbox, "malformed "));
}

TEST_F(SimLinkTest, StopsWhereverItIs) {
    for (const bool inboxIsFull : {false, true}) {
        SimLink link(options);
        signalling::Inbox inbox(inboxIsFull ? 1 : 100000);
        std::future<void> run = std::async(std::launch::async, [&] { link.run(inbox); });
        ASSERT_TRUE(eventually([&] { return inbox.size() > 0; }));
        if (inboxIsFull) inbox.close();
        link.stop();
        EXPECT_EQ(run.wait_for(kGenerous), std::future_status::ready);
    }
}

}  // namespace

}  // namespace pis::simulator
