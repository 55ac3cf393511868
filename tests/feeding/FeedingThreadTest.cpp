// The thread that feeds the store: what readers of the picture see of records, snapshots, falls and requests.
#include "feeding/FeedingThread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>

#include "FedStore.h"
#include "FeedFiles.h"
#include "SignallingSupport.h"
#include "feed/FeedReader.h"
#include "platform/EventQueue.h"
#include "platform/HostLog.h"
#include "platform/SendQueue.h"
#include "records/Members.h"
#include "records/ObserverOperations.h"
#include "records/TableDump.h"
#include "signalling/FileLink.h"

namespace pis::feeding {

using namespace signalling;

namespace {

using std::chrono::milliseconds;
using PicturePointer = std::shared_ptr<const picture::Picture>;

class FeedingThreadTest : public ::testing::Test {
protected:
    FeedingThreadTest() {
        platform::HostLog::setLevel(-1);
        platform::HostLog::writeTo(folder.path("log"));
        published.setListener([this] { publications.push_back(published.current()); });
    }
    ~FeedingThreadTest() override {
        if (feeding) feeding->stop();
        while (platform::EventQueue::instance().pop()) continue;
        platform::HostLog::writeTo("/dev/null");
    }

    /// Starts with a link that does what the test says.
    void start(FeedingOptions options = {}) {
        auto scripted = std::make_unique<ScriptedLink>();
        link = scripted.get();
        start(std::move(scripted), options);
    }

    void start(std::unique_ptr<signalling::SignallingLink> any, const FeedingOptions& options = {}) {
        feeding = std::make_unique<FeedingThread>(store, std::move(any), published, options);
        feeding->start();
    }

    void give(signalling::LinkItem item) { link->give(std::move(item)); }

    /// Waits until everything given has been taken.
    void settle() {
        ASSERT_TRUE(eventually([this] { return feeding->figures().inbox == 0; }));
        const auto made = feeding->request([](PassengerInformationServer&) {});
        ASSERT_TRUE(made);
        made->wait();
    }

    /// Waits until the published picture is as it should be.
    template <typename Check>
    bool shows(Check check) {
        return eventually([&] { return check(*published.current()); });
    }

    TempFolder folder;
    PassengerInformationServer store;
    picture::PublishedPicture published;
    std::vector<PicturePointer> publications;  // the feeding thread's until stop()
    ScriptedLink* link = nullptr;
    std::unique_ptr<FeedingThread> feeding;
};

// --- Records ------------------------------------------------------------------------------------

TEST_F(FeedingThreadTest, ARecordIsPublishedWhenTheFeedPauses) {
    start();
    give(updateOf(2, 7, {"North", "N"}));
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.table<Line>().find(7) != nullptr; }));
    EXPECT_EQ((*published.current()->table<Line>().find(7))->record.getName(), "North");
    give(updateOf(9, 90, {"80", "70", "21600"}));
    EXPECT_TRUE(
        shows([](const picture::Picture& picture) { return picture.table<ServiceStop>().find(90) != nullptr; }));
    give(deletionOf(0, 0));
    EXPECT_TRUE(shows([](const picture::Picture& picture) {
        return picture.table<Line>().empty() && picture.table<ServiceStop>().empty();
    }));
}

TEST_F(FeedingThreadTest, SaysHowTheFeedIs) {
    FeedingOptions options;
    options.wallClock = [] { return std::chrono::system_clock::from_time_t(4711); };
    const auto moment = std::chrono::steady_clock::now() - std::chrono::hours(1);
    options.steadyClock = [moment] { return moment; };
    start(options);
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.feed.linkName == "scripted"; }));
    EXPECT_EQ(published.current()->feed.link, feed::FeedStatus::CONNECTING);
    EXPECT_FALSE(published.current()->feed.lastRecord);

    give(signalling::LinkChange{feed::FeedStatus::UP, ""});
    feed::FeedRecord status = updateOf(98, 1, {"", "", "1"});
    status.at = 18000.5;
    give(status);
    give(updateOf(13, 1, {"Y"}));
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.feed.automaticMessages; }));
    const feed::FeedStatus feed = published.current()->feed;
    EXPECT_EQ(feed.link, feed::FeedStatus::UP);
    EXPECT_TRUE(feed.serverOnline);
    EXPECT_EQ(feed.at, 18000.5);
    EXPECT_EQ(feed.lastRecord, options.wallClock());
    EXPECT_EQ(feed.lastRecordSteady, moment) << "by the clock that nobody sets";
    EXPECT_EQ(feed.linkSince, options.wallClock());
    EXPECT_FALSE(feed.ready) << "nothing is known of any element yet";

    give(updateOf(2, 7, {"North"}));
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.feed.ready; }));
}

TEST_F(FeedingThreadTest, LinesThatAreNoRecordsAreCountedAndLoggedButNotEachOfThem) {
    start();
    for (int i = 0; i < 5000; ++i) give(signalling::MalformedLine{9, "\"id\" is missing"});
    settle();
    const feed::IntakeCounts counts = feeding->counts();
    const auto stops = std::find_if(counts.begin(), counts.end(),
                                    [](const feed::TypeCounts& type) { return type.name == "service stop"; });
    EXPECT_EQ(stops->of(feed::Outcome::MALFORMED).count, 5000U);
    const std::string log = folder.read("log");
    EXPECT_NE(log.find("malformed line: \"id\" is missing\n"), std::string::npos) << log;
    EXPECT_LT(std::count(log.begin(), log.end(), '\n'), 2500) << "a line a second, however slow the machine";
    EXPECT_FALSE(published.current()->feed.ready);
}

TEST_F(FeedingThreadTest, WhatIsRefusedReachesNeitherStoreNorPicture) {
    FeedingOptions options;
    options.maxElements = 1;
    start(options);
    give(updateOf(9, 1, {"80"}));
    give(updateOf(9, 2, {"80"}));
    give(updateOf(2, 3, {"North"}));
    give(updateOf(9, 1, {"81"}));
    settle();
    EXPECT_TRUE(shows([](const picture::Picture& picture) {
        return picture.table<ServiceStop>().size() == 1 &&
               (*picture.table<ServiceStop>().find(1))->record.getServiceId() == 81;
    }));
    EXPECT_TRUE(store.getLines().empty());
    EXPECT_TRUE(published.current()->table<Line>().empty());
    EXPECT_EQ(feeding->figures().elements, 1U);
    EXPECT_NE(folder.read("log").find("service stop 2 was refused: id 2 is new"), std::string::npos);
}

// --- Snapshots ----------------------------------------------------------------------------------

TEST_F(FeedingThreadTest, NobodySeesHalfASnapshot) {
    FeedingOptions options;
    options.snapshotPatience = std::chrono::hours(1);
    start(options);
    give(updateOf(2, 1, {"old"}));
    give(updateOf(2, 2, {"old"}));
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.table<Line>().size() == 2; }));
    give(updateOf(2, 3, {"old"}));
    give(snapshotBegin());
    for (int id = 11; id <= 20; ++id) {
        give(updateOf(2, id, {"new"}));
        settle();
        const auto paused = PublicationTimer::Clock::now() + PublicationTimer::kPause;
        ASSERT_TRUE(eventually([&] { return PublicationTimer::Clock::now() > paused; }));
        settle();  // what was due was done
    }
    give(snapshotEnd());
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.table<Line>().find(20) != nullptr; }));
    feeding->stop();

    std::set<std::size_t> sizes;
    for (const PicturePointer& picture : publications) sizes.insert(picture->table<Line>().size());
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{2}}) sizes.erase(size);
    EXPECT_EQ(sizes, (std::set<std::size_t>{3, 10})) << "what came before it is seen, then all of it";
    EXPECT_EQ(publications.back()->table<Line>().find(1), nullptr);
}

TEST_F(FeedingThreadTest, TheFirstSnapshotMakesReadyAtItsEnd) {
    start();
    give(updateOf(98, 1, {"", "", "1"}));
    give(snapshotBegin());
    give(updateOf(2, 7, {"North"}));
    settle();
    give(snapshotEnd());
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.feed.ready; }));
    feeding->stop();
    for (const PicturePointer& picture : publications) {
        EXPECT_EQ(picture->feed.ready, picture->table<Line>().size() == 1) << "ready without what the snapshot brings";
    }
    EXPECT_EQ(feeding->figures().snapshots, 1U);
}

TEST_F(FeedingThreadTest, ASnapshotThatLastsTooLongIsShownAsFarAsItCame) {
    FeedingOptions options;
    options.snapshotPatience = milliseconds(20);
    start(options);
    give(snapshotBegin());
    give(updateOf(2, 7, {"North"}));
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.table<Line>().size() == 1; }));
    EXPECT_TRUE(published.current()->feed.ready) << "what streams hand out can be asked for";
    EXPECT_TRUE(published.current()->feed.partOfSnapshot);
    give(snapshotEnd());
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return !picture.feed.partOfSnapshot; }));
    EXPECT_TRUE(published.current()->feed.ready);
    feeding->stop();
    for (const PicturePointer& picture : publications) {
        EXPECT_EQ(picture->feed.ready, picture->table<Line>().size() == 1);
    }
}

TEST_F(FeedingThreadTest, ALaterSnapshotIsShownInPartsByTheSameRule) {
    FeedingOptions options;
    options.snapshotPatience = milliseconds(20);
    start(options);
    give(snapshotBegin());
    give(snapshotEnd());
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.feed.ready; }));
    EXPECT_FALSE(published.current()->feed.partOfSnapshot);
    give(snapshotBegin());
    give(updateOf(2, 7, {"North"}));
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.feed.partOfSnapshot; }));
    EXPECT_EQ(published.current()->table<Line>().size(), 1U);
    give(signalling::LinkChange{feed::FeedStatus::DOWN, "cut"});
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return !picture.feed.partOfSnapshot; }))
        << "nothing is still arriving";
    EXPECT_TRUE(published.current()->feed.ready);
}

TEST_F(FeedingThreadTest, InsideASnapshotPartsAreShownNoMoreOftenThanPatienceAllows) {
    FeedingOptions options;
    options.snapshotPatience = milliseconds(200);
    start(options);
    give(snapshotBegin());
    const auto begin = PublicationTimer::Clock::now();
    for (int id = 1; id <= 100; ++id) {
        give(updateOf(2, id, {"North"}));
        const auto paused = PublicationTimer::Clock::now() + PublicationTimer::kPause;
        ASSERT_TRUE(eventually([&] { return PublicationTimer::Clock::now() > paused; }));
    }
    settle();
    const auto allowed = (PublicationTimer::Clock::now() - begin) / options.snapshotPatience;
    feeding->stop();
    std::set<std::size_t> sizes;
    for (const PicturePointer& picture : publications) sizes.insert(picture->table<Line>().size());
    sizes.erase(0);
    EXPECT_LE(sizes.size(), static_cast<std::size_t>(allowed));
}

TEST_F(FeedingThreadTest, WhatAnAbandonedFirstSnapshotBroughtCanBeAskedFor) {
    FeedingOptions options;
    options.snapshotPatience = std::chrono::hours(1);
    start(options);
    give(snapshotBegin());
    give(updateOf(2, 7, {"North"}));
    give(signalling::LinkChange{feed::FeedStatus::DOWN, "cut"});
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.table<Line>().size() == 1; }));
    EXPECT_TRUE(published.current()->feed.ready);
    EXPECT_FALSE(published.current()->feed.partOfSnapshot);
}

TEST_F(FeedingThreadTest, ASnapshotThatHasBroughtNothingMakesNothingReady) {
    FeedingOptions options;
    options.snapshotPatience = milliseconds(1);
    start(options);
    give(snapshotBegin());
    give(updateOf(98, 1, {"", "", "1"}));
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.feed.serverOnline; }));
    EXPECT_FALSE(published.current()->feed.ready);
    EXPECT_FALSE(published.current()->feed.partOfSnapshot);
}

// --- A snapshot's end that takes long -------------------------------------------------------------

/// Does something at the first removals of lines that it is told of.
class AtRemovals : public records::ObserverOfAll<AtRemovals> {
public:
    std::vector<std::function<void()>> actions;

    template <typename What>
    void told(Operation operation, const What&) {
        if (operation != Operation::LINE_REMOVED) return;
        const std::size_t removal = _removals++;
        if (removal < actions.size()) actions[removal]();
    }
    std::size_t removals() const { return _removals; }

private:
    std::size_t _removals = 0;
};

class LongEndOfSnapshot : public FeedingThreadTest {
protected:
    static constexpr std::size_t kLines = 5;

    ~LongEndOfSnapshot() override {
        if (feeding) feeding->stop();  // the store tells the observer
    }

    /// Gives lines 1 to kLines, and a snapshot that leaves them out.
    void leaveLinesOut(const FeedingOptions& options = {}) {
        store.registerObserver(&observer);
        start(options);
        for (std::size_t id = 1; id <= kLines; ++id) give(updateOf(2, static_cast<int>(id), {"old"}));
        EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.table<Line>().size() == kLines; }));
        give(snapshotBegin());
        give(updateOf(4, 1, {"new"}));
        give(snapshotEnd());
    }

    AtRemovals observer;
};

TEST_F(LongEndOfSnapshot, RequestsAreMadeBetweenTwoDeletions) {
    std::optional<std::future<void>> made;
    std::size_t lines = 0;
    observer.actions = {
        [&] { made = feeding->request([&](PassengerInformationServer& to) { lines = to.getLines().size(); }); }};
    leaveLinesOut();
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.table<Line>().empty(); }));
    feeding->stop();
    ASSERT_TRUE(made);
    EXPECT_NO_THROW(made->get());
    EXPECT_EQ(lines, kLines - 1) << "whole tables, and not the last ones";
    EXPECT_EQ(feeding->figures().snapshots, 1U);
}

TEST_F(LongEndOfSnapshot, IsShownInPartsThatAreSaidToBeSome) {
    FeedingOptions options;
    options.snapshotPatience = milliseconds(0);
    observer.actions = {[] {
        const auto waited = PublicationTimer::Clock::now() + PublicationTimer::kLongestWait;
        eventually([&] { return PublicationTimer::Clock::now() > waited; });
    }};
    leaveLinesOut(options);
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.table<Line>().empty(); }));
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return !picture.feed.partOfSnapshot; }));
    feeding->stop();
    std::set<std::size_t> parts;
    for (const PicturePointer& picture : publications) {
        if (picture->feed.partOfSnapshot) parts.insert(picture->table<Line>().size());
    }
    EXPECT_EQ(parts.count(kLines - 1), 1U) << "after a removal that took long";
    EXPECT_FALSE(publications.back()->feed.partOfSnapshot);
}

TEST_F(LongEndOfSnapshot, IsAbandonedWhenTheThreadIsToStop) {
    std::promise<std::future<void>> stopping;
    observer.actions = {[] {},
                        [&] {
                            stopping.set_value(std::async(std::launch::async, [this] { feeding->stop(); }));
                            EXPECT_TRUE(eventually([this] { return link->stopped(); }));
                        }};
    leaveLinesOut();
    ASSERT_TRUE(eventually([&] { return folder.read("log").find("the end of a snapshot") != std::string::npos; }));
    stopping.get_future().get().get();
    EXPECT_EQ(observer.removals(), 2U);
    EXPECT_EQ(store.getLines().size(), kLines - 2);
    EXPECT_EQ(feeding->figures().elements, kLines - 1) << "with the station";
    EXPECT_EQ(feeding->figures().snapshots, 0U);
    for (const feed::TypeCounts& type : feeding->counts()) {
        EXPECT_EQ(type.leftOut, type.name == "line" ? 2U : 0U);
        EXPECT_EQ(type.of(feed::Outcome::FAILED).count, type.name == "snapshot" ? 1U : 0U);
    }
    EXPECT_NE(folder.read("log").find("the end of a snapshot failed: told to stop before everything that it leaves out "
                                      "was deleted"),
              std::string::npos);
}

TEST_F(FeedingThreadTest, AFallInsideASnapshotDeletesNothing) {
    FeedingOptions options;
    options.snapshotPatience = std::chrono::hours(1);
    start(options);
    give(updateOf(2, 1, {"a"}));
    give(updateOf(2, 2, {"b"}));
    give(snapshotBegin());
    give(updateOf(2, 2, {"b"}));
    give(signalling::LinkChange{feed::FeedStatus::DOWN, "cut"});
    give(signalling::LinkChange{feed::FeedStatus::UP, ""});
    give(updateOf(2, 3, {"c"}));
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.table<Line>().size() == 3; }))
        << "nothing is held back";
    give(snapshotEnd());
    settle();
    EXPECT_EQ(store.getLines().size(), 3U);
    give(snapshotBegin());
    give(updateOf(2, 1, {"a"}));
    give(snapshotEnd());
    EXPECT_TRUE(shows([](const picture::Picture& picture) {
        return picture.table<Line>().size() == 1 && picture.table<Line>().find(1) != nullptr;
    }));
    EXPECT_NE(folder.read("log").find("nothing that it leaves out was deleted"), std::string::npos);
}

// --- The link -----------------------------------------------------------------------------------

TEST_F(FeedingThreadTest, AFallenLinkMeansThatTheServerIsOfflineAndTheBoardsStay) {
    start();
    give(signalling::LinkChange{feed::FeedStatus::UP, ""});
    give(updateOf(98, 1, {"", "", "1"}));
    give(updateOf(2, 7, {"North"}));
    EXPECT_TRUE(shows([](const picture::Picture& picture) {
        return picture.feed.serverOnline && picture.table<Line>().size() == 1;
    }));

    give(signalling::LinkChange{feed::FeedStatus::DOWN, "somebody cut the cable"});
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.feed.link == feed::FeedStatus::DOWN; }));
    EXPECT_FALSE(store.getServerStatus());
    EXPECT_FALSE(published.current()->feed.serverOnline);
    EXPECT_EQ(published.current()->feed.linkDetail, "somebody cut the cable");
    EXPECT_TRUE(published.current()->feed.ready);
    EXPECT_EQ(published.current()->table<Line>().size(), 1U);
    EXPECT_NE(folder.read("log").find("[warning] signalling link scripted: down: somebody cut the cable\n"),
              std::string::npos);

    give(signalling::LinkChange{feed::FeedStatus::UP, ""});
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.feed.link == feed::FeedStatus::UP; }));
    EXPECT_FALSE(published.current()->feed.serverOnline) << "that is for the signalling side to say";
}

TEST_F(FeedingThreadTest, AFeedThatEndsLeavesTheServerOnline) {
    start();
    give(updateOf(98, 1, {"", "", "1"}));
    give(signalling::LinkChange{feed::FeedStatus::ENDED, "read to its end"});
    EXPECT_TRUE(shows([](const picture::Picture& picture) { return picture.feed.link == feed::FeedStatus::ENDED; }));
    EXPECT_TRUE(store.getServerStatus());
    EXPECT_TRUE(published.current()->feed.serverOnline);
}

// --- Requests -----------------------------------------------------------------------------------

TEST_F(FeedingThreadTest, RequestsAreMadeInTheirOrderOnOneThreadAndGoToTheLink) {
    start();
    std::vector<std::thread::id> threads;
    std::vector<std::future<void>> made;
    for (int id = 1; id <= 100; ++id) {
        give(updateOf(2, id, {"a"}));
        auto request = feeding->request([id, &threads](PassengerInformationServer& to) {
            threads.push_back(std::this_thread::get_id());
            to.deleteLine(id);
            to.deleteStation(id);
        });
        ASSERT_TRUE(request);
        made.push_back(std::move(*request));
    }
    for (std::future<void>& request : made) request.get();
    EXPECT_EQ(std::set<std::thread::id>(threads.begin(), threads.end()).size(), 1U);
    EXPECT_NE(threads.front(), std::this_thread::get_id());
    const std::vector<std::string> sent = link->sent();
    ASSERT_EQ(sent.size(), 200U);
    for (std::size_t i = 0; i < 100; ++i) {
        EXPECT_EQ(sent[2 * i], toJsonLine(platform::SendOperation{22, std::to_string(i + 1)}));
        EXPECT_EQ(sent[2 * i + 1], toJsonLine(platform::SendOperation{43, std::to_string(i + 1)}));
    }
    EXPECT_EQ(feeding->figures().requests, 100U);
}

TEST_F(FeedingThreadTest, WhatARequestThrowsReachesWhoAsked) {
    start();
    auto wrong =
        feeding->request([](PassengerInformationServer& to) { to.activatePositioningProtocol(PP_KELT_CBTC, 1); });
    ASSERT_TRUE(wrong);
    EXPECT_THROW(wrong->get(), std::out_of_range);
    auto right = feeding->request([](PassengerInformationServer&) {});
    ASSERT_TRUE(right);
    EXPECT_NO_THROW(right->get()) << "the thread goes on";
}

TEST_F(FeedingThreadTest, ThereIsABoundToRequestsThatWait) {
    start();
    std::promise<void> mayGoOn;
    auto first = feeding->request([&](PassengerInformationServer&) { mayGoOn.get_future().wait(); });
    ASSERT_TRUE(eventually([&] { return feeding->figures().requestsWaiting == 0; }));
    std::vector<std::future<void>> waiting;
    for (std::size_t i = 0; i < FeedingThread::kMostRequests; ++i) {
        auto request = feeding->request([](PassengerInformationServer&) {});
        ASSERT_TRUE(request) << i;
        waiting.push_back(std::move(*request));
    }
    EXPECT_FALSE(feeding->request([](PassengerInformationServer&) {}));
    EXPECT_EQ(feeding->figures().requestsWaiting, FeedingThread::kMostRequests);
    EXPECT_EQ(feeding->figures().requestsRefused, 1U);
    mayGoOn.set_value();
    for (std::future<void>& request : waiting) EXPECT_NO_THROW(request.get());
    EXPECT_TRUE(feeding->request([](PassengerInformationServer&) {}));
}

TEST_F(FeedingThreadTest, RequestsThatWaitWhenItStopsFail) {
    start();
    std::promise<void> mayGoOn;
    auto first = feeding->request([&](PassengerInformationServer&) { mayGoOn.get_future().wait(); });
    ASSERT_TRUE(eventually([&] { return feeding->figures().requestsWaiting == 0; }));
    auto second = feeding->request([](PassengerInformationServer&) {});
    std::future<void> stop = std::async(std::launch::async, [&] { feeding->stop(); });
    ASSERT_TRUE(eventually([&] { return link->stopped(); }));
    mayGoOn.set_value();
    stop.get();
    EXPECT_NO_THROW(first->get()) << "what was begun is made whole";
    EXPECT_THROW(second->get(), std::runtime_error);
    EXPECT_FALSE(feeding->request([](PassengerInformationServer&) {}));
}

TEST_F(FeedingThreadTest, WhoeverCannotWaitHearsThatItStillRuns) {
    start();
    std::promise<void> mayGoOn;
    auto held = feeding->request([&](PassengerInformationServer&) { mayGoOn.get_future().wait(); });
    ASSERT_TRUE(eventually([&] { return feeding->figures().requestsWaiting == 0; }));
    auto waiting = feeding->request([](PassengerInformationServer&) {});
    EXPECT_FALSE(feeding->stopWithin(milliseconds(1)));
    EXPECT_FALSE(feeding->stopWithin(milliseconds(0)));
    EXPECT_EQ(feeding->figures().requestsWaiting, 1U) << "it can be said what is left";
    mayGoOn.set_value();
    EXPECT_TRUE(feeding->stopWithin(kGenerous));
    EXPECT_TRUE(feeding->stopWithin(milliseconds(0)));
    EXPECT_NO_THROW(held->get());
    EXPECT_THROW(waiting->get(), std::runtime_error);
}

TEST_F(FeedingThreadTest, OneThatNeverBeganHasEnded) {
    feeding = std::make_unique<FeedingThread>(store, std::make_unique<ScriptedLink>(), published);
    EXPECT_TRUE(feeding->stopWithin(milliseconds(0)));
}

// --- A whole feed -------------------------------------------------------------------------------

/// Every record of the tables, in no order.
std::multiset<std::string> contentsOf(PassengerInformationServer& of, const std::vector<ServiceStop>& stops) {
    std::multiset<std::string> lines;
    records::dumpTables(of, stops, [&](const std::string& line) { lines.insert(line); });
    return lines;
}

std::multiset<std::string> contentsOf(const picture::Picture& picture) {
    std::multiset<std::string> lines;
    records::forEachTable([&](auto of) {
        using Record = typename decltype(of)::Record;
        if (std::is_same_v<Record, ServiceStop>) return;  // joined at another moment than in the store
        picture.table<Record>().forEach([&](int, const auto& row) { lines.insert(records::dumpLine(row->record)); });
    });
    return lines;
}

TEST_F(FeedingThreadTest, ThePictureOfAMorningEqualsTheStore) {
    const std::string sample = std::string(PIS_SAMPLES) + "/harbour-morning.jsonl";
    start(std::make_unique<signalling::FileLink>(sample, 0));
    ASSERT_TRUE(shows([](const picture::Picture& picture) { return picture.feed.link == feed::FeedStatus::ENDED; }));
    feeding->stop();
    const PicturePointer picture = published.current();
    EXPECT_GT(picture->table<Service>().size(), 0U);

    PassengerInformationServer replayed;
    FedStore fed(replayed);
    feed::FeedReader reader(sample);
    std::size_t read = 0;
    for (feed::FeedRecord record; reader.next(record) == feed::FeedReader::Next::RECORD; ++read) fed.accept(record);
    EXPECT_EQ(contentsOf(store, {}), contentsOf(replayed, {}));
    EXPECT_EQ(contentsOf(*picture), contentsOf(replayed, {}));
    EXPECT_EQ(picture->table<ServiceStop>().size(), fed.stops.serviceStops().size());
    for (const ServiceStop& stop : fed.stops.serviceStops()) {
        const auto* shown = picture->record<ServiceStop>(stop.getId());
        ASSERT_NE(shown, nullptr) << stop.getId();
        EXPECT_TRUE(records::sameRecord(*shown, stop, records::Extent::ITS_OWN)) << records::dumpLine(stop);
    }
    EXPECT_EQ(feeding->figures().elements, fed.intake.elements());

    std::size_t counted = 0;
    for (const feed::TypeCounts& type : feeding->counts()) counted += type.of(feed::Outcome::DELIVERED).count;
    EXPECT_EQ(counted, read) << "every record of the sample is delivered";
    EXPECT_GT(feeding->figures().secondsInStore, 0);
    EXPECT_LT(feeding->figures().publications, read);
}

TEST_F(FeedingThreadTest, StopsInTheMiddleOfAFlood) {
    std::string feed;
    for (int id = 1; id <= 100000; ++id) feed += "{\"delete\":9,\"id\":" + std::to_string(id) + "}\n";
    FeedingOptions options;
    options.inboxCapacity = 8;
    start(std::make_unique<signalling::FileLink>(folder.write("feed", feed), 0), options);
    ASSERT_TRUE(eventually([&] { return published.current()->feed.lastRecord.has_value(); }));
    feeding->stop();
    feeding->stop();
    SUCCEED() << "it came back, twice";
}

}  // namespace

}  // namespace pis::feeding
