// The service stops as the store holds them: held against the store itself.
#include "feed/StopTables.h"

#include <random>

#include "StoreTest.h"
#include "feed/StoreEntry.h"

namespace pis::feed {

namespace {

class StopTablesTest : public StoreTest {
protected:
    /// An update of both: deliver(9, 90, {"80", "70"}).
    void deliver(int type, int id, std::initializer_list<std::string> texts) {
        FeedRecord record;
        record.type = type;
        record.id = id;
        for (const std::string& text : texts) record.fields.append(text);
        entry.update(record);
        tables.update(record);
    }

    void deliverDeletion(int type, int id) {
        entry.remove(type, id);
        tables.remove(type, id);
    }

    StoreEntry entry{store};
    StopTables tables;
};

TEST_F(StopTablesTest, AStopTakesOverWhatItsTripStopSaysWhenItComes) {
    deliver(7, 70, {"60", "50", "Y", "300", "330"});
    deliver(9, 90, {"80", "70", "21600", "60", "90"});
    ASSERT_EQ(tables.serviceStops().size(), 1U);
    const ServiceStop stop = tables.serviceStops()[0];
    EXPECT_EQ(stop.getTripId(), 60);
    EXPECT_EQ(stop.getPlatformId(), 50);
    EXPECT_TRUE(stop.isStopping());
    EXPECT_EQ(stop.getSchDepOffset(), 330U);
    EXPECT_EQ(stop.getDepDelay(), 90U);
    EXPECT_EQ(describe(tables.serviceStops()), describe(serviceStopsOf(store)));
}

TEST_F(StopTablesTest, WhatItTookOverStaysUntilItsNextRecord) {
    deliver(7, 70, {"60", "50", "Y", "300", "330"});
    deliver(9, 90, {"80", "70", "21600", "0", "0"});
    deliver(7, 70, {"60", "51", "Y", "300", "330"});
    EXPECT_EQ(tables.serviceStops()[0].getPlatformId(), 50);
    deliverDeletion(7, 70);
    deliver(9, 90, {"80", "70", "21600", "0", "0"});
    EXPECT_EQ(tables.serviceStops()[0].getPlatformId(), 50) << "as it stood";
    deliver(7, 70, {"60", "52", "Y", "300", "330"});
    deliver(9, 90, {"80", "70", "21600", "0", "0"});
    EXPECT_EQ(tables.serviceStops()[0].getPlatformId(), 52);
    EXPECT_EQ(describe(tables.serviceStops()), describe(serviceStopsOf(store)));
}

/// Any updates and deletions, in any order: the same stops in the same order.
TEST_F(StopTablesTest, ItHoldsWhatTheStoreHolds) {
    std::mt19937 random(1);
    const auto below = [&random](unsigned bound) { return static_cast<int>(random() % bound); };
    const auto text = [&](unsigned bound) { return below(8) == 0 ? std::string() : std::to_string(below(bound)); };
    for (int round = 0; round < 3000; ++round) {
        switch (below(12)) {
            case 0: deliverDeletion(9, below(30)); break;
            case 1: deliverDeletion(7, below(20)); break;
            case 2: deliverDeletion(0, 1 + below(30)); break;
            case 3:
                if (below(40) == 0) deliverDeletion(0, 0);
                break;
            case 4:
            case 5:
            case 6: deliver(7, below(20), {text(5), text(9), below(2) == 0 ? "Y" : "N", text(900), text(900)}); break;
            default: deliver(9, below(30), {text(9), text(20), text(86400), text(600), text(600)}); break;
        }
        ASSERT_EQ(describe(tables.serviceStops()), describe(serviceStopsOf(store))) << "after round " << round;
    }
    EXPECT_FALSE(tables.serviceStops().empty());
}

}  // namespace

}  // namespace pis::feed
