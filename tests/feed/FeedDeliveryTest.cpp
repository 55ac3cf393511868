// Feed records on their way into the store: entry points, snapshots, what is counted.
#include "feed/FeedDelivery.h"

#include "StoreTest.h"
#include "records/TableDump.h"

namespace pis::feed {

namespace {

class FeedDeliveryTest : public StoreTest {
protected:
    /// Delivers an update: deliver(2, 7, "North", "N").
    template <typename... Text>
    void deliver(int type, int id, const Text&... texts) {
        FeedRecord record;
        record.kind = FeedRecord::UPDATE;
        record.type = type;
        record.id = id;
        const std::vector<FieldText> fieldTexts{FieldText(texts)...};
        for (const FieldText& text : fieldTexts) {
            if (text.get() == nullptr) {
                record.fields.appendMissing();
            } else {
                record.fields.append(text.get());
            }
        }
        delivery.deliver(record);
    }

    void deliverDeletion(int type, int id) {
        FeedRecord record;
        record.kind = FeedRecord::DELETION;
        record.type = type;
        record.id = id;
        delivery.deliver(record);
    }

    void begin() { deliverMark(FeedRecord::SNAPSHOT_BEGIN); }
    void end() { deliverMark(FeedRecord::SNAPSHOT_END); }

    /// What the store does at the end of a snapshot, but for the lock.
    std::string transcriptOfEnd() {
        host.clear();
        end();
        return host.transcriptWithoutLock();
    }

    /// "table id" of everything that the store holds.
    std::string contents() {
        std::string ids;
        const auto add = [&ids](const char* table, const auto& records) {
            for (const auto& record : records) ids += std::string(table) + " " + std::to_string(record.getId()) + "\n";
        };
        add("line", linesOf(store));
        add("vehicle", vehiclesOf(store));
        add("station", stationsOf(store));
        add("platform", platformsOf(store));
        add("trip", tripsOf(store));
        add("trip stop", tripStopsOf(store));
        add("service", servicesOf(store));
        add("service stop", serviceStopsOf(store));
        return ids;
    }

    /// "updates of which with id 0, deletions, left out" of a code.
    std::string count(int type) const {
        const auto found = delivery.counts().find(type);
        if (found == delivery.counts().end()) return "none";
        const FeedDelivery::Count& of = found->second;
        return std::to_string(of.updates) + "/" + std::to_string(of.updatesOfIdZero) + " " +
               std::to_string(of.deletions) + " " + std::to_string(of.leftOut);
    }

    FeedDelivery delivery{store};

private:
    void deliverMark(FeedRecord::Kind kind) {
        FeedRecord record;
        record.kind = kind;
        delivery.deliver(record);
    }
};

// --- Entry points -------------------------------------------------------------------------------

TEST_F(FeedDeliveryTest, AnUpdateIsAnUpdateOfTheStore) {
    RecordingObserver observer;
    store.registerObserver(&observer);
    EXPECT_EQ(host.during([this] { deliver(2, 7, "North Line", "N"); }),
              "enter\n"
              "debug 2 updateLine: lineId >7< added to list. Total Lines >1<\n"
              "observer onLineUpdated line 7 \"North Line\" \"N\"\n"
              "event 26 7\n"
              "leave\n");
}

TEST_F(FeedDeliveryTest, ADeletionIsADeletionInTheStore) {
    deliver(2, 7, "North Line", "N");
    EXPECT_EQ(
        host.during([this] { deliverDeletion(2, 7); }),
        "enter\nevent 27 7\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_LINE lineId >7< deleted\nleave\n");
    EXPECT_EQ(contents(), "");
}

TEST_F(FeedDeliveryTest, EveryCodeDoesWhatTheEntryPointDoes) {
    for (int code = -2; code <= 100; ++code) {
        const std::string direct = host.during([&] { update(code, 1, "1", "2", "1", "Y", "4", "5", "6", "7", "8"); });
        const std::string tables = describe(store);
        const std::string removed = host.during([&] { store.deletePassengerInformation(code, 1); });
        store.deletePassengerInformation(0, 0);

        EXPECT_EQ(host.during([&] { deliver(code, 1, "1", "2", "1", "Y", "4", "5", "6", "7", "8"); }), direct) << code;
        EXPECT_EQ(describe(store), tables) << code;
        EXPECT_EQ(host.during([&] { deliverDeletion(code, 1); }), removed) << code;
        store.deletePassengerInformation(0, 0);
    }
}

TEST_F(FeedDeliveryTest, AMissingTextIsAMissingField) {
    deliver(2, 7, null, "N");
    EXPECT_EQ(describe(linesOf(store)), "line 7 \"Unknown Line\" \"N\"\n");
    deliver(2, 7, "North", null);
    EXPECT_EQ(describe(linesOf(store)), "line 7 \"North\" \"UNK\"\n");
}

TEST_F(FeedDeliveryTest, AnUpdateWithoutFieldsGivesTheDefaults) {
    deliver(2, 7);
    EXPECT_EQ(describe(linesOf(store)), "line 7 \"Unknown Line\" \"UNK\"\n");
}

TEST_F(FeedDeliveryTest, NoFieldsOfTheRecordBeforeAreLeftOver) {
    deliver(10, 1, "Y", "km 1", "1", "in service", "2", "1", "left", "2", "right");
    deliver(2, 7, "North");
    deliver(2, 8, "South", "S", "and", "some", "more");
    deliver(2, 9);
    EXPECT_EQ(describe(linesOf(store)),
              "line 7 \"North\" \"UNK\"\nline 8 \"South\" \"S\"\nline 9 \"Unknown Line\" \"UNK\"\n");
}

TEST_F(FeedDeliveryTest, TheStoreReadsTheFieldsOfAListOfAnyLength) {
    FeedRecord record;
    record.type = 2;
    record.id = 7;
    record.fields.append("North");
    record.fields.append("N");
    for (int i = 0; i < 10000; ++i) record.fields.append("a field that nobody reads");
    delivery.deliver(record);
    EXPECT_EQ(describe(linesOf(store)), "line 7 \"North\" \"N\"\n");
}

TEST_F(FeedDeliveryTest, WhatTheStoreThrowsPassesThrough) {
    host.at("event 26", [] { throw std::string("no room for events"); });
    EXPECT_THROW(deliver(2, 7, "North", "N"), std::string);
    EXPECT_TRUE(host.allLocksFree());
    deliver(2, 8, "South", "S");
    EXPECT_EQ(contents(), "line 7\nline 8\n");
}

// --- Snapshots ----------------------------------------------------------------------------------

TEST_F(FeedDeliveryTest, TheEndOfASnapshotDeletesWhatItLeavesOut) {
    deliver(2, 7, "North", "N");
    deliver(2, 8, "South", "S");
    begin();
    EXPECT_TRUE(delivery.inSnapshot());
    deliver(2, 8, "South", "S");
    EXPECT_EQ(contents(), "line 7\nline 8\n") << "nothing goes before the end";
    EXPECT_EQ(
        host.during([this] { end(); }),
        "enter\nevent 27 7\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_LINE lineId >7< deleted\nleave\n");
    EXPECT_FALSE(delivery.inSnapshot());
    EXPECT_EQ(delivery.snapshots(), 1U);
    EXPECT_EQ(contents(), "line 8\n");
}

TEST_F(FeedDeliveryTest, WhatIsLeftOutGoesInTheOrderOfTypesAndIds) {
    deliver(9, 90, "80");
    deliver(8, 80, "60");
    deliver(7, 70, "60");
    deliver(6, 60, "Trip", "30");
    deliver(5, 50, "40");
    deliver(4, 40, "Station");
    deliver(3, 30, "Vehicle");
    for (const int id : {10, 2147483647, -4, 9, 100}) deliver(2, id, "Line");
    begin();
    EXPECT_EQ(transcriptOfEnd(),
              "event 27 -4\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_LINE lineId >-4< deleted\n"
              "event 27 9\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_LINE lineId >9< deleted\n"
              "event 27 10\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_LINE lineId >10< deleted\n"
              "event 27 100\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_LINE lineId >100< deleted\n"
              "event 27 2147483647\n"
              "debug 1 deletePassengerInformation: PI_STORAGE_ELEM_LINE lineId >2147483647< deleted\n"
              "event 29 30\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_VEHICLE vehicleId >30< deleted\n"
              "event 31 40\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_STATION stationId >40< deleted\n"
              "event 33 50\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_PLATFORM platformId >50< deleted\n"
              "event 37 60\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_TRIP tripId >60< deleted\n"
              "debug 1 deletePassengerInformation: PI_STORAGE_ELEM_TRIP_STOP tripStopId >70< deleted\n"
              "event 35 80\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_SERVICE serviceId >80< deleted\n"
              "debug 1 deletePassengerInformation: PI_STORAGE_ELEM_SERVICE_STOP serviceStopId >90< deleted\n");
    EXPECT_EQ(contents(), "");
}

TEST_F(FeedDeliveryTest, AWholeSnapshotDeletesNothing) {
    deliver(2, 7, "North", "N");
    deliver(9, 90, "80");
    begin();
    deliver(9, 90, "81");
    deliver(2, 7, "North", "N");
    deliver(4, 40, "Station");
    EXPECT_EQ(transcriptOfEnd(), "");
    EXPECT_EQ(contents(), "line 7\nstation 40\nservice stop 90\n");
}

TEST_F(FeedDeliveryTest, ASnapshotOfAnEmptyStoreDeletesNothing) {
    begin();
    EXPECT_EQ(transcriptOfEnd(), "");
    EXPECT_EQ(delivery.snapshots(), 1U);
}

TEST_F(FeedDeliveryTest, AStateCountsAsItsElement) {
    deliver(3, 1, "Vehicle");
    deliver(5, 2, "1");
    deliver(8, 3, "1");
    deliver(3, 11, "Vehicle");
    deliver(5, 12, "1");
    deliver(8, 13, "1");
    begin();
    deliver(10, 1, "Y");
    deliver(11, 2, "1");
    deliver(12, 3, "", "1");
    end();
    EXPECT_EQ(contents(), "vehicle 1\nplatform 2\nservice 3\n");
}

TEST_F(FeedDeliveryTest, AnElementThatAStateCreatedIsLeftOutAsAnyOther) {
    deliver(10, 1, "Y");
    deliver(11, 2, "1");
    deliver(12, 3, "", "1");
    EXPECT_EQ(contents(), "vehicle 1\nplatform 2\nservice 3\n");
    begin();
    end();
    EXPECT_EQ(contents(), "");
}

TEST_F(FeedDeliveryTest, AServiceStopDoesNotCountAsItsTripStopOrService) {
    deliver(7, 1, "1");
    deliver(8, 2, "1");
    deliver(9, 3, "2", "1");
    begin();
    deliver(9, 3, "2", "1");
    end();
    EXPECT_EQ(contents(), "service stop 3\n");
}

TEST_F(FeedDeliveryTest, WhatIsDeletedInsideASnapshotIsNotDeletedAgain) {
    deliver(2, 1, "a");
    deliver(2, 2, "b");
    begin();
    deliver(2, 1, "a");
    deliverDeletion(2, 1);
    deliverDeletion(2, 2);
    EXPECT_EQ(transcriptOfEnd(), "");
    EXPECT_EQ(contents(), "");
}

TEST_F(FeedDeliveryTest, WhatComesAgainAfterItsDeletionInsideASnapshotStays) {
    begin();
    deliver(2, 1, "a");
    deliverDeletion(2, 1);
    deliver(2, 1, "a");
    EXPECT_EQ(transcriptOfEnd(), "");
    EXPECT_EQ(contents(), "line 1\n");
}

TEST_F(FeedDeliveryTest, DeletionsOfAllAreRemembered) {
    deliver(2, 1, "a");
    deliver(3, 1, "a");
    deliver(4, 1, "a");
    deliverDeletion(2, 0);
    EXPECT_EQ(contents(), "vehicle 1\nstation 1\n");
    begin();
    deliver(3, 1, "a");
    deliver(4, 1, "a");
    EXPECT_EQ(transcriptOfEnd(), "");

    deliverDeletion(0, 0);
    EXPECT_EQ(contents(), "");
    begin();
    EXPECT_EQ(transcriptOfEnd(), "");
}

TEST_F(FeedDeliveryTest, ADeletionOfOneIdInEveryTypeIsRemembered) {
    for (const int type : {2, 3, 9}) {
        deliver(type, 1, "1");
        deliver(type, 2, "2");
    }
    deliverDeletion(0, 1);
    EXPECT_EQ(contents(), "line 2\nvehicle 2\nservice stop 2\n");
    EXPECT_EQ(delivery.elements(2), 1U);
    EXPECT_EQ(delivery.elements(3), 1U);
    EXPECT_EQ(delivery.elements(9), 1U);
    begin();
    EXPECT_EQ(transcriptOfEnd(),
              "event 27 2\n"
              "debug 1 deletePassengerInformation: PI_STORAGE_ELEM_LINE lineId >2< deleted\n"
              "event 29 2\n"
              "debug 1 deletePassengerInformation: PI_STORAGE_ELEM_VEHICLE vehicleId >2< deleted\n"
              "debug 1 deletePassengerInformation: PI_STORAGE_ELEM_SERVICE_STOP serviceStopId >2< "
              "deleted\n");
}

TEST_F(FeedDeliveryTest, ADeletionOfAStateRemovesNothingAndForgetsNothing) {
    deliver(10, 1, "Y");
    deliverDeletion(10, 1);
    deliverDeletion(10, 0);
    EXPECT_EQ(contents(), "vehicle 1\n");
    EXPECT_EQ(delivery.elements(3), 1U);
    begin();
    end();
    EXPECT_EQ(contents(), "");
}

TEST_F(FeedDeliveryTest, ANestedBeginStartsTheSnapshotAnew) {
    deliver(2, 1, "a");
    begin();
    deliver(2, 2, "b");
    begin();
    deliver(2, 3, "c");
    end();
    EXPECT_EQ(contents(), "line 3\n");
    EXPECT_EQ(delivery.snapshots(), 1U);
    EXPECT_FALSE(delivery.inSnapshot());
}

TEST_F(FeedDeliveryTest, AnEndWithoutABeginDoesNothing) {
    deliver(2, 1, "a");
    EXPECT_EQ(transcriptOfEnd(), "");
    begin();
    deliver(2, 1, "a");
    end();
    EXPECT_EQ(transcriptOfEnd(), "");
    EXPECT_EQ(contents(), "line 1\n");
    EXPECT_EQ(delivery.snapshots(), 1U);
}

TEST_F(FeedDeliveryTest, EachSnapshotLooksAtWhatCameSinceItsOwnBegin) {
    begin();
    deliver(2, 1, "a");
    deliver(2, 2, "b");
    end();
    deliver(2, 3, "c");
    begin();
    deliver(2, 1, "a");
    end();
    EXPECT_EQ(contents(), "line 1\n");
    EXPECT_EQ(delivery.snapshots(), 2U);
}

TEST_F(FeedDeliveryTest, ARecordOfIdZeroIsNotSeen) {
    begin();
    deliver(2, 0, "a");
    EXPECT_EQ(transcriptOfEnd(), "");
    EXPECT_EQ(contents(), "");
    EXPECT_EQ(delivery.elements(2), 0U);
}

TEST_F(FeedDeliveryTest, StatusRecordsAreNoElements) {
    deliver(13, 1, "Y");
    deliver(98, 1, "", "", "1");
    begin();
    EXPECT_EQ(transcriptOfEnd(), "");
    EXPECT_TRUE(store.isAutomaticMessageGenerationEnabled());
    EXPECT_TRUE(store.getServerStatus());
}

TEST_F(FeedDeliveryTest, ASnapshotMakesAReceiverRightAgainThatMissedSomething) {
    const auto morning = [this] {
        deliver(2, 7, "North", "N");
        deliver(6, 100, "Trip", "7", "1", "2", "express");
        deliver(8, 3021, "100", "21600");
        deliver(8, 3022, "100", "25200");
        deliver(12, 3022, "", "1", "running");
    };
    const auto wholeState = [this] {
        begin();
        deliver(2, 7, "North", "N");
        deliver(6, 100, "Trip", "7", "1", "2", "express");
        deliver(8, 3022, "100", "25200");
        deliver(12, 3022, "", "7", "terminated");
        end();
    };
    morning();
    deliverDeletion(8, 3021);
    deliver(12, 3022, "", "7", "terminated");
    wholeState();
    const std::string right = describe(store);

    deliverDeletion(0, 0);
    morning();
    EXPECT_NE(describe(store), right);
    wholeState();
    EXPECT_EQ(describe(store), right);
}

// --- Counts -------------------------------------------------------------------------------------

TEST_F(FeedDeliveryTest, CountsWhatWasDeliveredByCode) {
    deliver(2, 1, "a");
    deliver(2, 1, "a");
    deliver(2, 0, "a");
    deliverDeletion(2, 5);
    deliverDeletion(2, 0);
    deliver(10, 1, "Y");
    deliver(10, 0, "Y");
    deliverDeletion(0, 0);
    EXPECT_EQ(count(2), "3/1 2 0");
    EXPECT_EQ(count(10), "2/1 0 0");
    EXPECT_EQ(count(0), "0/0 1 0");
    EXPECT_EQ(count(3), "none") << "the vehicle came as a state";
}

TEST_F(FeedDeliveryTest, CountsUnknownCodesAndTellsTheStoreNonetheless) {
    for (const int code : {1, 14, 97, 99, -1, 2147483647}) {
        EXPECT_EQ(host.during([&] { deliver(code, 1, "a"); }), "") << code;
        EXPECT_EQ(host.during([&] { deliverDeletion(code, 1); }), "enter\nleave\n") << code;
        EXPECT_EQ(count(code), "1/0 1 0") << code;
        EXPECT_EQ(delivery.elements(code), 0U) << code;
    }
    EXPECT_EQ(contents(), "");
}

TEST_F(FeedDeliveryTest, CountsWhatASnapshotLeftOutApartFromDeletions) {
    deliver(2, 1, "a");
    deliver(2, 2, "b");
    deliver(10, 3, "Y");
    deliverDeletion(2, 1);
    begin();
    end();
    EXPECT_EQ(count(2), "2/0 1 1");
    EXPECT_EQ(count(3), "0/0 0 1");
    EXPECT_EQ(count(10), "1/0 0 0");
}

TEST_F(FeedDeliveryTest, MarksOfSnapshotsAreNotCountedAsElements) {
    begin();
    end();
    EXPECT_TRUE(delivery.counts().empty());
}

TEST_F(FeedDeliveryTest, KnowsHowManyElementsTheStoreHolds) {
    EXPECT_EQ(delivery.elements(9), 0U);
    deliver(9, 1, "1");
    deliver(9, 2, "1");
    deliver(9, 2, "2");
    deliver(10, 5, "Y");
    EXPECT_EQ(delivery.elements(9), 2U);
    EXPECT_EQ(delivery.elements(3), 1U);
    EXPECT_EQ(delivery.elements(10), 0U) << "states go into their element's table";
    deliverDeletion(9, 1);
    EXPECT_EQ(delivery.elements(9), 1U);
    begin();
    end();
    EXPECT_EQ(delivery.elements(9), 0U);
}

}  // namespace

}  // namespace pis::feed
