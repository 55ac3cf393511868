// The signalling storage: raw contents, what becomes of each record, snapshots, the bound on elements.
#include "feeding/SignallingStorage.h"

#include <gtest/gtest.h>

#include <map>
#include <new>
#include <stdexcept>

#include "SignallingSupport.h"
#include "platform/EventQueue.h"
#include "platform/HostLog.h"

namespace pis::feeding {

using namespace signalling;

namespace {

class SignallingStorageTest : public ::testing::Test {
protected:
    SignallingStorageTest() {
        platform::HostLog::setLevel(-1);
        emptyEvents();
    }
    ~SignallingStorageTest() override { emptyEvents(); }

    static void emptyEvents() {
        while (platform::EventQueue::instance().pop()) continue;
    }

    feed::Outcome take(const feed::FeedRecord& record) {
        ++now;
        const feed::Outcome outcome = storage.take(record);
        emptyEvents();
        return outcome;
    }

    /// "delivered ignored malformed refused failed" of a row of the counts.
    std::string countsOf(const std::string& name) const {
        for (const feed::TypeCounts& type : storage.counts()) {
            if (type.name != name) continue;
            std::string text;
            for (const feed::OutcomeCount& count : type.outcomes)
                text += (text.empty() ? "" : " ") + std::to_string(count.count);
            return text;
        }
        return "no such type";
    }

    /// Reason and time of the last record of a type with that outcome: "why @3".
    std::string lastOf(const std::string& name, feed::Outcome outcome) const {
        for (const feed::TypeCounts& type : storage.counts()) {
            if (type.name != name) continue;
            const feed::OutcomeCount& count = type.of(outcome);
            return count.lastReason + " @" + std::to_string(std::chrono::system_clock::to_time_t(count.lastTime));
        }
        return "no such type";
    }

    /// The texts of a raw record: "North|null"; "none" where there is none.
    std::string raw(int type, int id) const {
        const auto* record = storage.find(type, id);
        if (record == nullptr) return "none";
        std::string text;
        for (std::size_t i = 0; i < record->fields.size(); ++i) {
            const char* field = record->fields[i];
            text += (i > 0 ? "|" : "") + std::string(field == nullptr ? "null" : field);
        }
        return text;
    }

    PassengerInformationServer store;
    std::string removals;
    std::time_t now = 0;
    SignallingStorage storage{
        store, {5, [this] { return std::chrono::system_clock::from_time_t(now); }}, [this](int type, int id) {
            removals += std::to_string(type) + ":" + std::to_string(id) + " ";
        }};
};

// --- Outcomes -----------------------------------------------------------------------------------

TEST_F(SignallingStorageTest, HandsRecordsToTheStoreAndCountsThem) {
    EXPECT_EQ(take(updateOf(2, 7, {"North", "N"})), feed::Outcome::DELIVERED);
    EXPECT_EQ(take(updateOf(2, 7, {"South", "S"})), feed::Outcome::DELIVERED);
    EXPECT_EQ(take(updateOf(98, 1, {"", "", "1"})), feed::Outcome::DELIVERED);
    EXPECT_EQ(take(updateOf(13, 1, {"Y"})), feed::Outcome::DELIVERED);
    EXPECT_EQ(store.getLines().at(0).getName(), "South");
    EXPECT_TRUE(store.getServerStatus());
    EXPECT_TRUE(store.isAutomaticMessageGenerationEnabled());
    EXPECT_EQ(countsOf("line"), "2 0 0 0 0");
    EXPECT_EQ(lastOf("line", feed::Outcome::DELIVERED), " @2");
    EXPECT_EQ(countsOf("signalling server status"), "1 0 0 0 0");
    EXPECT_GT(storage.inStore().count(), 0);
}

TEST_F(SignallingStorageTest, CountsWhatMeansNothingToTheStoreAsIgnored) {
    EXPECT_EQ(take(updateOf(2, 0, {"North"})), feed::Outcome::IGNORED);
    EXPECT_EQ(lastOf("line", feed::Outcome::IGNORED), "the id is 0 @1");
    EXPECT_EQ(take(updateOf(98, 2, {"", "", "1"})), feed::Outcome::IGNORED);
    EXPECT_EQ(lastOf("signalling server status", feed::Outcome::IGNORED), "the record is not number 1 @2");
    EXPECT_EQ(take(updateOf(13, -1, {"Y"})), feed::Outcome::IGNORED);
    EXPECT_EQ(take(deletionOf(10, 1)), feed::Outcome::IGNORED);
    EXPECT_EQ(lastOf("vehicle state", feed::Outcome::IGNORED), "the type cannot be deleted @4");
    EXPECT_EQ(take(deletionOf(98, 0)), feed::Outcome::IGNORED);
    EXPECT_EQ(take(snapshotEnd()), feed::Outcome::IGNORED);
    EXPECT_EQ(lastOf("snapshot", feed::Outcome::IGNORED), "the snapshot that ends here has not begun @6");
    EXPECT_EQ(storage.elements(), 0U);
    EXPECT_FALSE(store.getServerStatus());
    EXPECT_EQ(countsOf("signalling server status"), "0 2 0 0 0");
}

TEST_F(SignallingStorageTest, UnknownCodesAreCountedTogetherAndNotKept) {
    for (int code = 1000; code < 3000; ++code) {
        ASSERT_EQ(take(updateOf(code, code, {"x"})), feed::Outcome::IGNORED);
        ASSERT_EQ(take(deletionOf(-code, 1)), feed::Outcome::IGNORED);
    }
    EXPECT_EQ(countsOf("unknown"), "0 4000 0 0 0");
    EXPECT_EQ(lastOf("unknown", feed::Outcome::IGNORED), "type code -2999 is not known @4000");
    EXPECT_EQ(storage.counts().size(), 16U) << "thirteen types, every type, snapshots, unknown";
    EXPECT_EQ(raw(1000, 1000), "none");
}

TEST_F(SignallingStorageTest, CountsMalformedLinesByTypeAsFarAsTheyTellOne) {
    storage.countMalformed(9, "\"id\" is missing");
    storage.countMalformed(0, "not JSON");
    storage.countMalformed(4711, "\"fields\" is missing");
    EXPECT_EQ(countsOf("service stop"), "0 0 1 0 0");
    EXPECT_EQ(lastOf("service stop", feed::Outcome::MALFORMED), "\"id\" is missing @0");
    EXPECT_EQ(countsOf("unknown"), "0 0 2 0 0");
    EXPECT_EQ(countsOf("every type"), "0 0 0 0 0");
}

TEST_F(SignallingStorageTest, WhatTheStoreThrowsIsCountedAndTheNextRecordIsTaken) {
    struct Throwing : PassengerInformationObserver {
        void onServerStatusUpdated(bool) override {}
        void onLineUpdated(Line line) override {
            if (line.getId() == 7) throw std::runtime_error("no room");
            if (line.getId() == 8) throw 8;
        }
        void onLineRemoved(Line) override {}
        void onVehicleUpdated(Vehicle) override {}
        void onVehicleRemoved(Vehicle) override {}
        void onStationUpdated(Station) override {}
        void onStationRemoved(Station) override {}
        void onPlatformInfoUpdated(PlatformInfo) override {}
        void onPlatformInfoRemoved(PlatformInfo) override {}
        void onServiceUpdated(Service) override {}
        void onServiceRemoved(Service) override {}
        void onTripUpdated(Trip) override {}
        void onTripRemoved(Trip) override {}
    } observer;
    store.registerObserver(&observer);
    EXPECT_EQ(take(updateOf(2, 7, {"North"})), feed::Outcome::FAILED);
    EXPECT_EQ(storage.lastReason(), "the store threw: no room");
    EXPECT_EQ(take(updateOf(2, 8, {"North"})), feed::Outcome::FAILED);
    EXPECT_EQ(take(updateOf(2, 9, {"North"})), feed::Outcome::DELIVERED);
    EXPECT_EQ(storage.lastReason(), "");
    EXPECT_EQ(countsOf("line"), "1 0 0 0 2");
    EXPECT_EQ(store.getLines().size(), 3U);
}

// --- Bound --------------------------------------------------------------------------------------

TEST_F(SignallingStorageTest, RefusesNewElementsBeyondTheLimitAlone) {
    for (int id = 1; id <= 5; ++id) EXPECT_EQ(take(updateOf(2 + id % 3, id, {"a"})), feed::Outcome::DELIVERED);
    EXPECT_EQ(storage.elements(), 5U);
    EXPECT_EQ(take(updateOf(2, 6, {"a"})), feed::Outcome::REFUSED);
    EXPECT_EQ(lastOf("line", feed::Outcome::REFUSED), "id 6 is new, and 5 elements are the most @6");
    EXPECT_EQ(raw(2, 6), "none");
    EXPECT_EQ(store.getLines().size(), 1U) << "it did not reach the store";

    EXPECT_EQ(take(updateOf(2, 3, {"b"})), feed::Outcome::DELIVERED) << "what is known may change";
    EXPECT_EQ(take(updateOf(13, 1, {"Y"})), feed::Outcome::DELIVERED) << "a status is no element";
    EXPECT_EQ(take(deletionOf(2, 3)), feed::Outcome::DELIVERED);
    EXPECT_EQ(storage.elements(), 4U);
    EXPECT_EQ(take(updateOf(2, 6, {"a"})), feed::Outcome::DELIVERED) << "there is room again";
    EXPECT_EQ(take(updateOf(2, 8, {"a"})), feed::Outcome::REFUSED);
    EXPECT_EQ(countsOf("line"), "4 0 0 2 0");
}

TEST_F(SignallingStorageTest, AStateBelongsToItsElement) {
    take(updateOf(3, 1, {"Vehicle"}));
    take(updateOf(10, 1, {"Y"}));
    EXPECT_EQ(storage.elements(), 1U);
    take(updateOf(10, 2, {"Y"}));
    EXPECT_EQ(storage.elements(), 2U);
    take(deletionOf(3, 1));
    EXPECT_EQ(raw(3, 1), "none");
    EXPECT_EQ(raw(10, 1), "none");
    EXPECT_EQ(raw(10, 2), "Y");
    EXPECT_EQ(storage.elements(), 1U);
}

// --- Raw contents -------------------------------------------------------------------------------

TEST_F(SignallingStorageTest, KeepsTheLastRecordOfEachElementAsItCame) {
    feed::FeedRecord record = updateOf(9, 90, {"80", "70", "21600", "4294967236", "x"});
    record.fields.appendMissing();
    take(record);
    EXPECT_EQ(raw(9, 90), "80|70|21600|4294967236|x|null");
    EXPECT_EQ(std::chrono::system_clock::to_time_t(storage.find(9, 90)->cameAt), 1);
    take(updateOf(9, 90, {"81"}));
    EXPECT_EQ(raw(9, 90), "81");
    EXPECT_EQ(std::chrono::system_clock::to_time_t(storage.find(9, 90)->cameAt), 2);
    EXPECT_EQ(raw(8, 90), "none");
    EXPECT_EQ(raw(9, 91), "none");
}

TEST_F(SignallingStorageTest, EveryFormOfDeletionTakesTheRecordsAway) {
    const auto fill = [this] {
        for (const int type : {2, 7, 9, 10}) take(updateOf(type, 1, {"a"}));
        take(updateOf(9, 2, {"a"}));
        take(updateOf(98, 1, {"", "", "1"}));
    };
    fill();
    take(deletionOf(9, 0));
    EXPECT_EQ(raw(9, 1) + raw(9, 2) + raw(7, 1), "nonenonea");
    fill();
    take(deletionOf(0, 1));
    EXPECT_EQ(raw(2, 1) + raw(7, 1) + raw(9, 1) + raw(10, 1) + raw(9, 2), "nonenonenonenonea");
    fill();
    take(deletionOf(0, 0));
    EXPECT_EQ(raw(2, 1) + raw(7, 1) + raw(9, 1) + raw(10, 1) + raw(9, 2), "nonenonenonenonenone");
    EXPECT_EQ(raw(98, 1), "||1") << "a status is no element";
    EXPECT_EQ(storage.elements(), 0U);
    EXPECT_EQ(removals, "9:0 0:1 0:0 ");
    EXPECT_EQ(countsOf("every type"), "2 0 0 0 0");
}

// --- Snapshots ----------------------------------------------------------------------------------

TEST_F(SignallingStorageTest, WhatASnapshotLeavesOutIsRemovedAndTold) {
    take(updateOf(2, 1, {"a"}));
    take(updateOf(2, 2, {"b"}));
    take(updateOf(9, 3, {"c"}));
    take(updateOf(10, 4, {"Y"}));
    take(snapshotBegin());
    EXPECT_TRUE(storage.inSnapshot());
    take(updateOf(2, 2, {"b"}));
    EXPECT_EQ(take(snapshotEnd()), feed::Outcome::DELIVERED);
    EXPECT_EQ(removals, "2:1 3:4 9:3 ");
    EXPECT_EQ(raw(2, 1) + raw(9, 3) + raw(10, 4) + raw(2, 2), "nonenonenoneb");
    EXPECT_EQ(storage.elements(), 1U);
    EXPECT_EQ(storage.snapshots(), 1U);
    EXPECT_EQ(countsOf("snapshot"), "2 0 0 0 0");
}

TEST_F(SignallingStorageTest, AnAbandonedSnapshotDeletesNothingAndTheNextStartsOver) {
    take(updateOf(2, 1, {"a"}));
    take(snapshotBegin());
    take(updateOf(2, 2, {"b"}));
    storage.abandonSnapshot();
    EXPECT_FALSE(storage.inSnapshot());
    EXPECT_EQ(take(snapshotEnd()), feed::Outcome::IGNORED);
    EXPECT_EQ(store.getLines().size(), 2U);
    EXPECT_EQ(removals, "");

    take(snapshotBegin());
    take(updateOf(2, 1, {"a"}));
    take(snapshotEnd());
    EXPECT_EQ(removals, "2:2 ") << "what the abandoned one brought does not count";
    EXPECT_EQ(storage.snapshots(), 1U);
}

TEST_F(SignallingStorageTest, TellsTheStoreThatTheServerIsOffline) {
    take(updateOf(98, 1, {"", "", "1"}));
    take(updateOf(13, 1, {"Y"}));
    EXPECT_EQ(storage.tellOffline(), "");
    EXPECT_FALSE(store.getServerStatus());
    EXPECT_TRUE(store.isAutomaticMessageGenerationEnabled());
    EXPECT_EQ(countsOf("signalling server status"), "1 0 0 0 0") << "it is no record of the feed";
}

}  // namespace

}  // namespace pis::feeding
