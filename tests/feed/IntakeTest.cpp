// Feed records on their way into the store: verdicts, entry points, snapshots, the bound on elements, what is counted.
#include "feed/Intake.h"

#include "StoreTest.h"
#include "feed/StoreEntry.h"

namespace pis::feed {

namespace {

Intake::Options elementsAtMost(std::size_t count) {
    Intake::Options options;
    options.maxElements = count;
    return options;
}

Intake::Options bytesAtMost(std::uint64_t count) {
    Intake::Options options;
    options.maxBytes = count;
    return options;
}

/// An intake that nobody hears, in few words.
class Alone {
public:
    explicit Alone(const Intake::Options& options) : intake(nullptr, options) {}

    /// The reason where it is refused; empty where it is delivered.
    std::string update(int type, int id, const std::string& text = "") {
        FeedRecord record;
        record.type = type;
        record.id = id;
        if (!text.empty()) record.fields.append(text);
        const Intake::Verdict verdict = intake.accept(record);
        EXPECT_EQ(verdict.outcome, verdict.reason.empty() ? Outcome::DELIVERED : Outcome::REFUSED);
        return verdict.reason;
    }
    /// How many of the ids are delivered.
    int updates(int type, int from, int to) {
        int delivered = 0;
        for (int id = from; id <= to; ++id) delivered += update(type, id).empty() ? 1 : 0;
        return delivered;
    }
    void remove(int type, int id) {
        FeedRecord record;
        record.kind = FeedRecord::DELETION;
        record.type = type;
        record.id = id;
        intake.accept(record);
    }
    void begin() { mark(FeedRecord::SNAPSHOT_BEGIN); }
    void end() { mark(FeedRecord::SNAPSHOT_END); }

    Intake intake;

private:
    void mark(FeedRecord::Kind kind) {
        FeedRecord record;
        record.kind = kind;
        intake.accept(record);
    }
};

class IntakeTest : public StoreTest, protected IntakeReceiver {
protected:
    /// Delivers an update: deliver(2, 7, "North", "N").
    template <typename... Text>
    Intake::Verdict deliver(int type, int id, const Text&... texts) {
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
        return accept(record);
    }

    Intake::Verdict deliverDeletion(int type, int id) {
        FeedRecord record;
        record.kind = FeedRecord::DELETION;
        record.type = type;
        record.id = id;
        return accept(record);
    }

    Intake::Verdict begin() { return deliverMark(FeedRecord::SNAPSHOT_BEGIN); }
    Intake::Verdict end() { return deliverMark(FeedRecord::SNAPSHOT_END); }

    Intake::Verdict accept(const FeedRecord& record) {
        ++now;
        return intake.accept(record);
    }

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

    /// "delivered ignored malformed refused failed, deletions, left out" of a row of the counts.
    std::string countsOf(const std::string& name) const {
        for (const TypeCounts& type : intake.counts()) {
            if (type.name != name) continue;
            std::string text;
            for (const OutcomeCount& count : type.outcomes) text += std::to_string(count.count) + " ";
            text.back() = ',';
            return text + " " + std::to_string(type.deletions) + ", " + std::to_string(type.leftOut);
        }
        return "no such row";
    }

    /// Reason and time of the last record of a row with that outcome: "why @3".
    std::string lastOf(const std::string& name, Outcome outcome) const {
        for (const TypeCounts& type : intake.counts()) {
            if (type.name != name) continue;
            const OutcomeCount& count = type.of(outcome);
            return count.lastReason + " @" + std::to_string(std::chrono::system_clock::to_time_t(count.lastTime));
        }
        return "no such row";
    }

    std::time_t now = 0;
    std::string removals;
    Intake intake{this, {5000, 1 << 20, [this] { return std::chrono::system_clock::from_time_t(now); }}};

private:
    void onUpdate(const FeedRecord& record) override { entry.update(record); }

    void onDeletion(int type, int id) override {
        entry.remove(type, id);
        removals += std::to_string(type) + ":" + std::to_string(id) + " ";
    }

    Intake::Verdict deliverMark(FeedRecord::Kind kind) {
        FeedRecord record;
        record.kind = kind;
        return accept(record);
    }

    StoreEntry entry{store};
};

// --- Entry points -------------------------------------------------------------------------------

TEST_F(IntakeTest, AnUpdateIsAnUpdateOfTheStore) {
    RecordingObserver observer;
    store.registerObserver(&observer);
    EXPECT_EQ(host.during([this] { deliver(2, 7, "North Line", "N"); }),
              "enter\n"
              "debug 2 updateLine: lineId >7< added to list. Total Lines >1<\n"
              "observer onLineUpdated line 7 \"North Line\" \"N\"\n"
              "event 26 7\n"
              "leave\n");
}

TEST_F(IntakeTest, ADeletionIsADeletionInTheStore) {
    deliver(2, 7, "North Line", "N");
    EXPECT_EQ(
        host.during([this] { deliverDeletion(2, 7); }),
        "enter\nevent 27 7\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_LINE lineId >7< deleted\nleave\n");
    EXPECT_EQ(contents(), "");
}

TEST_F(IntakeTest, EveryCodeDoesWhatTheEntryPointDoes) {
    const auto transcriptOf = [this](const auto& act) {
        host.clear();
        act();
        return host.transcriptWithoutLock();
    };
    for (int code = -2; code <= 100; ++code) {
        const std::string direct = transcriptOf([&] { update(code, 1, "1", "2", "1", "Y", "4", "5", "6", "7", "8"); });
        const std::string tables = describe(store);
        const std::string removed = transcriptOf([&] { store.deletePassengerInformation(code, 1); });
        store.deletePassengerInformation(0, 0);

        EXPECT_EQ(transcriptOf([&] { deliver(code, 1, "1", "2", "1", "Y", "4", "5", "6", "7", "8"); }), direct) << code;
        EXPECT_EQ(describe(store), tables) << code;
        EXPECT_EQ(transcriptOf([&] { deliverDeletion(code, 1); }), removed) << code;
        store.deletePassengerInformation(0, 0);
    }
}

TEST_F(IntakeTest, AMissingTextIsAMissingField) {
    deliver(2, 7, null, "N");
    EXPECT_EQ(describe(linesOf(store)), "line 7 \"Unknown Line\" \"N\"\n");
    deliver(2, 7, "North", null);
    EXPECT_EQ(describe(linesOf(store)), "line 7 \"North\" \"UNK\"\n");
}

TEST_F(IntakeTest, AnUpdateWithoutFieldsGivesTheDefaults) {
    deliver(2, 7);
    EXPECT_EQ(describe(linesOf(store)), "line 7 \"Unknown Line\" \"UNK\"\n");
}

TEST_F(IntakeTest, NoFieldsOfTheRecordBeforeAreLeftOver) {
    deliver(10, 1, "Y", "km 1", "1", "in service", "2", "1", "left", "2", "right");
    deliver(2, 7, "North");
    deliver(2, 8, "South", "S", "and", "some", "more");
    deliver(2, 9);
    EXPECT_EQ(describe(linesOf(store)),
              "line 7 \"North\" \"UNK\"\nline 8 \"South\" \"S\"\nline 9 \"Unknown Line\" \"UNK\"\n");
}

TEST_F(IntakeTest, TheStoreReadsTheFieldsOfAListOfAnyLength) {
    FeedRecord record;
    record.type = 2;
    record.id = 7;
    record.fields.append("North");
    record.fields.append("N");
    for (int i = 0; i < 10000; ++i) record.fields.append("a field that nobody reads");
    accept(record);
    EXPECT_EQ(describe(linesOf(store)), "line 7 \"North\" \"N\"\n");
}

TEST_F(IntakeTest, WhatTheStoreThrowsFailsTheRecordAndTheNextIsTaken) {
    host.at("event 26", [] { throw std::runtime_error("no room for events"); });
    const Intake::Verdict verdict = deliver(2, 7, "North", "N");
    EXPECT_EQ(verdict.outcome, Outcome::FAILED);
    EXPECT_EQ(verdict.reason, "the store threw: no room for events");
    EXPECT_TRUE(host.allLocksFree());
    EXPECT_EQ(deliver(2, 8, "South", "S").outcome, Outcome::DELIVERED);
    EXPECT_EQ(contents(), "line 7\nline 8\n");
    EXPECT_EQ(countsOf("line"), "1 0 0 0 1, 0, 0");
    EXPECT_EQ(intake.elements(), 2U) << "the store may hold it";
}

TEST_F(IntakeTest, WhatIsThrownNeedNotBeAnException) {
    host.at("event 26", [] { throw 8; });
    EXPECT_EQ(deliver(2, 7, "North", "N").reason, "the store threw what is no exception");
}

TEST_F(IntakeTest, ADeletionThatFailsForgetsNothing) {
    deliver(2, 7, "North", "N");
    host.at("event 27", [] { throw std::runtime_error("no room for events"); });
    EXPECT_EQ(deliverDeletion(2, 7).outcome, Outcome::FAILED);
    EXPECT_EQ(intake.elements(), 1U);
    begin();
    end();
    EXPECT_EQ(contents(), "") << "the next snapshot makes up for it";
}

TEST_F(IntakeTest, ASnapshotWhoseEndFailsIsAbandoned) {
    deliver(2, 7, "North", "N");
    deliver(2, 8, "South", "S");
    begin();
    host.at("event 27", [] { throw std::runtime_error("no room for events"); });
    EXPECT_EQ(end().outcome, Outcome::FAILED);
    EXPECT_FALSE(intake.inSnapshot());
    EXPECT_EQ(intake.snapshots(), 0U);
    EXPECT_EQ(end().outcome, Outcome::IGNORED);
    begin();
    end();
    EXPECT_EQ(contents(), "");
}

// --- Verdicts -----------------------------------------------------------------------------------

TEST_F(IntakeTest, WhatMeansNothingToTheStoreIsIgnoredAndSaidWhy) {
    EXPECT_EQ(deliver(2, 0, "North").reason, "line 0: a record with id 0 is ignored");
    EXPECT_EQ(lastOf("line", Outcome::IGNORED), "line 0: a record with id 0 is ignored @1");
    EXPECT_EQ(deliver(98, 2, "", "", "1").reason,
              "signalling server status 2: only record 1 is taken, this one is ignored");
    EXPECT_EQ(deliver(13, 0, "Y").reason, "automatic message state 0: only record 1 is taken, this one is ignored");
    EXPECT_EQ(deliverDeletion(10, 1).reason, "a deletion with code 10 removes nothing");
    EXPECT_EQ(deliverDeletion(98, 0).reason, "a deletion with code 98 removes nothing");
    EXPECT_EQ(deliverDeletion(14, 0).reason, "a deletion with code 14 removes nothing");
    EXPECT_EQ(end().reason, "the snapshot that ends here has not begun");
    EXPECT_EQ(lastOf("snapshot", Outcome::IGNORED), "the snapshot that ends here has not begun @7");
    EXPECT_EQ(intake.elements(), 0U);
    EXPECT_FALSE(store.getServerStatus());
    EXPECT_EQ(contents() + removals, "");
    EXPECT_EQ(countsOf("signalling server status"), "0 2 0 0 0, 0, 0");
}

TEST_F(IntakeTest, JudgingAloneChangesAndCountsNothing) {
    FeedRecord record;
    record.type = 2;
    record.id = 7;
    EXPECT_EQ(intake.judge(record).outcome, Outcome::DELIVERED);
    record.id = 0;
    EXPECT_EQ(intake.judge(record).outcome, Outcome::IGNORED);
    EXPECT_EQ(countsOf("line"), "0 0 0 0 0, 0, 0");
    EXPECT_EQ(contents(), "");
}

TEST_F(IntakeTest, WithoutAReceiverRecordsAreJudgedAndCountedAlike) {
    Intake alone(nullptr);
    FeedRecord record;
    record.type = 2;
    record.id = 7;
    EXPECT_EQ(alone.accept(record).outcome, Outcome::DELIVERED);
    EXPECT_EQ(alone.elements(), 1U);
    record.kind = FeedRecord::SNAPSHOT_BEGIN;
    alone.accept(record);
    record.kind = FeedRecord::SNAPSHOT_END;
    alone.accept(record);
    EXPECT_EQ(alone.elements(), 0U);
    EXPECT_EQ(contents(), "");
}

TEST_F(IntakeTest, UnknownCodesAreCountedTogetherAndNotKept) {
    for (int code = 1000; code < 3000; ++code) {
        ASSERT_EQ(deliver(code, code, "x").outcome, Outcome::IGNORED);
        ASSERT_EQ(deliverDeletion(-code, 1).outcome, Outcome::IGNORED);
    }
    EXPECT_EQ(countsOf("unknown"), "0 4000 0 0 0, 0, 0");
    EXPECT_EQ(lastOf("unknown", Outcome::IGNORED), "a deletion with code -2999 removes nothing @4000");
    EXPECT_EQ(intake.counts().size(), 16U) << "thirteen types, every type, snapshots, unknown";
    EXPECT_EQ(intake.elements(), 0U);
}

TEST_F(IntakeTest, MalformedLinesAreCountedByTypeAsFarAsTheyTellOne) {
    intake.countMalformed(9, "\"id\" is missing");
    intake.countMalformed(0, "not JSON");
    intake.countMalformed(4711, "\"fields\" is missing");
    EXPECT_EQ(countsOf("service stop"), "0 0 1 0 0, 0, 0");
    EXPECT_EQ(lastOf("service stop", Outcome::MALFORMED), "\"id\" is missing @0");
    EXPECT_EQ(countsOf("unknown"), "0 0 2 0 0, 0, 0");
    EXPECT_EQ(countsOf("every type"), "0 0 0 0 0, 0, 0");
}

TEST_F(IntakeTest, RefusesNewElementsBeyondTheLimitAlone) {
    Intake small(nullptr, elementsAtMost(5));
    FeedRecord record;
    const auto outcomeOf = [&](int type, int id, FeedRecord::Kind kind = FeedRecord::UPDATE) {
        record.type = type;
        record.id = id;
        record.kind = kind;
        return small.accept(record).outcome;
    };
    for (int id = 1; id <= 5; ++id) EXPECT_EQ(outcomeOf(2 + id % 3, id), Outcome::DELIVERED);
    EXPECT_EQ(small.elements(), 5U);
    EXPECT_EQ(outcomeOf(2, 6), Outcome::REFUSED);
    EXPECT_EQ(small.judge(record).reason, "id 6 is new, and 5 elements are the most");
    EXPECT_EQ(small.elements(), 5U);

    EXPECT_EQ(outcomeOf(2, 3), Outcome::DELIVERED) << "what is known may change";
    EXPECT_EQ(outcomeOf(10, 1), Outcome::DELIVERED) << "a state belongs to its element";
    EXPECT_EQ(outcomeOf(10, 7), Outcome::REFUSED) << "or makes one";
    EXPECT_EQ(outcomeOf(13, 1), Outcome::DELIVERED) << "a status is no element";
    EXPECT_EQ(outcomeOf(2, 3, FeedRecord::DELETION), Outcome::DELIVERED);
    EXPECT_EQ(small.elements(), 4U);
    EXPECT_EQ(outcomeOf(2, 6), Outcome::DELIVERED) << "there is room again";
    EXPECT_EQ(outcomeOf(2, 8), Outcome::REFUSED);
}

// --- Limits -------------------------------------------------------------------------------------

TEST(IntakeLimits, AFullExchangeAtTheLimitIsTakenWhole) {
    Alone alone(elementsAtMost(800));
    EXPECT_EQ(alone.updates(8, 1, 800), 800);
    EXPECT_EQ(alone.updates(8, 801, 801), 0);
    alone.begin();
    EXPECT_EQ(alone.updates(8, 1001, 1900), 800) << "what will stand at the end counts";
    EXPECT_EQ(alone.update(8, 2000), "id 2000 is new, and 800 elements of a snapshot are the most");
    EXPECT_EQ(alone.updates(12, 1001, 1900), 800) << "a state belongs to its element";
    EXPECT_EQ(alone.intake.elements(), 1600U) << "old and new";
    alone.end();
    EXPECT_EQ(alone.intake.elements(), 800U);
    EXPECT_EQ(alone.updates(8, 1, 1), 0);
    EXPECT_EQ(alone.updates(8, 1001, 1001), 1);
}

TEST(IntakeLimits, WhatIsDeletedInsideASnapshotMakesRoomInIt) {
    Alone alone(elementsAtMost(2));
    alone.begin();
    EXPECT_EQ(alone.updates(8, 1, 3), 2);
    alone.remove(8, 1);
    EXPECT_EQ(alone.updates(8, 3, 4), 1);
    alone.remove(0, 0);
    EXPECT_EQ(alone.updates(8, 5, 9), 2);
    alone.begin();
    EXPECT_EQ(alone.updates(8, 5, 9), 2) << "one that begins again has brought nothing";
    alone.end();
    EXPECT_EQ(alone.intake.elements(), 2U);
}

TEST(IntakeLimits, AnAbandonedSnapshotLeavesTwiceTheLimitAtMost) {
    Alone alone(elementsAtMost(10));
    alone.updates(8, 1, 10);
    alone.begin();
    alone.updates(8, 11, 20);
    alone.intake.abandonSnapshot();
    EXPECT_EQ(alone.intake.elements(), 20U);
    EXPECT_EQ(alone.updates(8, 1, 20), 20) << "what is known may change";
    EXPECT_EQ(alone.update(8, 21), "id 21 is new, and 10 elements are the most");

    alone.begin();
    EXPECT_EQ(alone.update(8, 21),
              "id 21 is new, and 20 elements inside a snapshot, old and new together, are the most");
    EXPECT_EQ(alone.updates(8, 11, 20), 10) << "the sender sends again what it had sent";
    alone.end();
    EXPECT_EQ(alone.intake.elements(), 10U);
    alone.begin();
    EXPECT_EQ(alone.updates(8, 21, 40), 10);
    alone.end();
    EXPECT_EQ(alone.intake.elements(), 10U) << "and everything is as it should be";
}

TEST(IntakeLimits, NoLimitIsNoneInsideASnapshotEither) {
    Alone alone{Intake::Options()};
    alone.begin();
    EXPECT_EQ(alone.updates(8, 1, 100), 100);
}

TEST(IntakeLimits, TheTextsOfAllElementsAreLimitedTogether) {
    Alone alone(bytesAtMost(100));
    EXPECT_EQ(alone.update(2, 1, std::string(49, 'x')), "");
    EXPECT_EQ(alone.intake.bytes(), 50U) << "each text with its end";
    EXPECT_EQ(alone.update(3, 1, std::string(39, 'x')), "");
    EXPECT_EQ(alone.update(10, 1, std::string(9, 'x')), "") << "an element's own record and its state count apart";
    EXPECT_EQ(alone.intake.bytes(), 100U);
    EXPECT_EQ(alone.update(10, 1, std::string(10, 'x')),
              "id 1 takes 1 byte more, and 100 bytes of all elements are the most");
    EXPECT_EQ(alone.update(4, 9, "x"), "id 9 takes 2 bytes more, and 100 bytes of all elements are the most");
    EXPECT_EQ(alone.intake.bytes(), 100U) << "what is refused changes nothing";
    EXPECT_EQ(alone.intake.elements(), 2U);
    EXPECT_EQ(alone.update(4, 9), "") << "an element without texts takes none";
    EXPECT_EQ(alone.update(2, 1, std::string(39, 'x')), "");
    EXPECT_EQ(alone.update(10, 1, std::string(19, 'x')), "");
    EXPECT_EQ(alone.update(98, 1, std::string(500, 'x')), "") << "a status is no element";
    alone.remove(3, 1);
    EXPECT_EQ(alone.intake.bytes(), 40U) << "the state goes with its element";
    alone.remove(0, 0);
    EXPECT_EQ(alone.intake.bytes(), 0U);
}

TEST(IntakeLimits, OfTextsCountsWhatWillStandAtASnapshotsEnd) {
    const std::string half(49, 'x');
    Alone alone(bytesAtMost(100));
    alone.update(8, 1, half);
    alone.update(12, 1, half);
    alone.begin();
    EXPECT_EQ(alone.update(8, 2, half), "");
    EXPECT_EQ(alone.update(8, 1, half), "") << "its old state gets its defaults";
    EXPECT_EQ(alone.update(12, 1, half),
              "id 1 takes 50 bytes more, and 100 bytes of all elements of a snapshot are the most");
    EXPECT_EQ(alone.intake.bytes(), 150U);
    alone.end();
    EXPECT_EQ(alone.intake.bytes(), 100U);
    EXPECT_EQ(alone.intake.elements(), 2U);
    alone.begin();
    EXPECT_EQ(alone.update(8, 3, half), "");
    EXPECT_EQ(alone.update(12, 2, half),
              "id 2 takes 100 bytes more, and 100 bytes of all elements of a snapshot are the most")
        << "with its own record, which stays";
    EXPECT_EQ(alone.update(12, 3, half), "");
    alone.end();
    EXPECT_EQ(alone.intake.bytes(), 100U);
    EXPECT_EQ(alone.intake.elements(), 1U);
}

// --- Snapshots that do not end ------------------------------------------------------------------

TEST_F(IntakeTest, AnAbandonedSnapshotDeletesNothingAndTheNextStartsOver) {
    deliver(2, 1, "a");
    begin();
    deliver(2, 2, "b");
    intake.abandonSnapshot();
    EXPECT_FALSE(intake.inSnapshot());
    EXPECT_EQ(end().outcome, Outcome::IGNORED);
    EXPECT_EQ(contents(), "line 1\nline 2\n");
    EXPECT_EQ(removals, "");

    begin();
    deliver(2, 1, "a");
    end();
    EXPECT_EQ(removals, "2:2 ") << "what the abandoned one brought does not count";
    EXPECT_EQ(intake.snapshots(), 1U);
}

TEST_F(IntakeTest, RemovalsAreToldAsTheyCameOrOneByOne) {
    deliver(2, 1, "a");
    deliver(9, 3, "c");
    deliver(10, 4, "Y");
    deliverDeletion(9, 0);
    deliverDeletion(0, 4);
    begin();
    end();
    EXPECT_EQ(removals, "9:0 0:4 2:1 ");
}

TEST_F(IntakeTest, TheStoreIsToldThatTheServerIsOfflineWithoutACount) {
    deliver(98, 1, "", "", "1");
    deliver(13, 1, "Y");
    StoreEntry(store).tellOffline();
    EXPECT_FALSE(store.getServerStatus());
    EXPECT_TRUE(store.isAutomaticMessageGenerationEnabled());
    EXPECT_EQ(countsOf("signalling server status"), "1 0 0 0 0, 0, 0");
}

// --- Snapshots ----------------------------------------------------------------------------------

TEST_F(IntakeTest, TheEndOfASnapshotDeletesWhatItLeavesOut) {
    deliver(2, 7, "North", "N");
    deliver(2, 8, "South", "S");
    begin();
    EXPECT_TRUE(intake.inSnapshot());
    deliver(2, 8, "South", "S");
    EXPECT_EQ(contents(), "line 7\nline 8\n") << "nothing goes before the end";
    EXPECT_EQ(
        host.during([this] { end(); }),
        "enter\nevent 27 7\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_LINE lineId >7< deleted\nleave\n");
    EXPECT_FALSE(intake.inSnapshot());
    EXPECT_EQ(intake.snapshots(), 1U);
    EXPECT_EQ(contents(), "line 8\n");
}

TEST_F(IntakeTest, WhatIsLeftOutGoesInTheOrderOfTypesAndIds) {
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

TEST_F(IntakeTest, AWholeSnapshotDeletesNothing) {
    deliver(2, 7, "North", "N");
    deliver(9, 90, "80");
    begin();
    deliver(9, 90, "81");
    deliver(2, 7, "North", "N");
    deliver(4, 40, "Station");
    EXPECT_EQ(transcriptOfEnd(), "");
    EXPECT_EQ(contents(), "line 7\nstation 40\nservice stop 90\n");
}

TEST_F(IntakeTest, ASnapshotOfAnEmptyStoreDeletesNothing) {
    begin();
    EXPECT_EQ(transcriptOfEnd(), "");
    EXPECT_EQ(intake.snapshots(), 1U);
}

TEST_F(IntakeTest, AStateCountsAsItsElement) {
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

TEST_F(IntakeTest, AnElementThatAStateCreatedIsLeftOutAsAnyOther) {
    deliver(10, 1, "Y");
    deliver(11, 2, "1");
    deliver(12, 3, "", "1");
    EXPECT_EQ(contents(), "vehicle 1\nplatform 2\nservice 3\n");
    begin();
    end();
    EXPECT_EQ(contents(), "");
}

TEST_F(IntakeTest, AServiceStopDoesNotCountAsItsTripStopOrService) {
    deliver(7, 1, "1");
    deliver(8, 2, "1");
    deliver(9, 3, "2", "1");
    begin();
    deliver(9, 3, "2", "1");
    end();
    EXPECT_EQ(contents(), "service stop 3\n");
}

TEST_F(IntakeTest, WhatIsDeletedInsideASnapshotIsNotDeletedAgain) {
    deliver(2, 1, "a");
    deliver(2, 2, "b");
    begin();
    deliver(2, 1, "a");
    deliverDeletion(2, 1);
    deliverDeletion(2, 2);
    EXPECT_EQ(transcriptOfEnd(), "");
    EXPECT_EQ(contents(), "");
}

TEST_F(IntakeTest, WhatComesAgainAfterItsDeletionInsideASnapshotStays) {
    begin();
    deliver(2, 1, "a");
    deliverDeletion(2, 1);
    deliver(2, 1, "a");
    EXPECT_EQ(transcriptOfEnd(), "");
    EXPECT_EQ(contents(), "line 1\n");
}

TEST_F(IntakeTest, DeletionsOfAllAreRemembered) {
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

TEST_F(IntakeTest, ADeletionOfOneIdInEveryTypeIsRemembered) {
    for (const int type : {2, 3, 9}) {
        deliver(type, 1, "1");
        deliver(type, 2, "2");
    }
    deliverDeletion(0, 1);
    EXPECT_EQ(contents(), "line 2\nvehicle 2\nservice stop 2\n");
    begin();
    EXPECT_EQ(transcriptOfEnd(),
              "event 27 2\n"
              "debug 1 deletePassengerInformation: PI_STORAGE_ELEM_LINE lineId >2< deleted\n"
              "event 29 2\n"
              "debug 1 deletePassengerInformation: PI_STORAGE_ELEM_VEHICLE vehicleId >2< deleted\n"
              "debug 1 deletePassengerInformation: PI_STORAGE_ELEM_SERVICE_STOP serviceStopId >2< "
              "deleted\n");
}

TEST_F(IntakeTest, ADeletionOfAStateRemovesNothingAndForgetsNothing) {
    deliver(10, 1, "Y");
    deliverDeletion(10, 1);
    deliverDeletion(10, 0);
    EXPECT_EQ(contents(), "vehicle 1\n");
    begin();
    end();
    EXPECT_EQ(contents(), "");
}

TEST_F(IntakeTest, ANestedBeginStartsTheSnapshotAnew) {
    deliver(2, 1, "a");
    begin();
    deliver(2, 2, "b");
    begin();
    deliver(2, 3, "c");
    end();
    EXPECT_EQ(contents(), "line 3\n");
    EXPECT_EQ(intake.snapshots(), 1U);
    EXPECT_FALSE(intake.inSnapshot());
}

TEST_F(IntakeTest, AnEndWithoutABeginDoesNothing) {
    deliver(2, 1, "a");
    EXPECT_EQ(transcriptOfEnd(), "");
    begin();
    deliver(2, 1, "a");
    end();
    EXPECT_EQ(transcriptOfEnd(), "");
    EXPECT_EQ(contents(), "line 1\n");
    EXPECT_EQ(intake.snapshots(), 1U);
}

TEST_F(IntakeTest, EachSnapshotLooksAtWhatCameSinceItsOwnBegin) {
    begin();
    deliver(2, 1, "a");
    deliver(2, 2, "b");
    end();
    deliver(2, 3, "c");
    begin();
    deliver(2, 1, "a");
    end();
    EXPECT_EQ(contents(), "line 1\n");
    EXPECT_EQ(intake.snapshots(), 2U);
}

TEST_F(IntakeTest, ARecordOfIdZeroIsNotSeen) {
    begin();
    deliver(2, 0, "a");
    EXPECT_EQ(transcriptOfEnd(), "");
    EXPECT_EQ(contents(), "");
}

TEST_F(IntakeTest, StatusRecordsAreNoElements) {
    deliver(13, 1, "Y");
    deliver(98, 1, "", "", "1");
    begin();
    EXPECT_EQ(transcriptOfEnd(), "");
    EXPECT_TRUE(store.isAutomaticMessageGenerationEnabled());
    EXPECT_TRUE(store.getServerStatus());
}

TEST_F(IntakeTest, ASnapshotMakesAReceiverRightAgainThatMissedSomething) {
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

// --- States that a snapshot does not bring ------------------------------------------------------

TEST_F(IntakeTest, AfterAWholeStateEverythingIsAsItSays) {
    const auto elements = [this] {
        deliver(5, 50, "40", "", "Track 1", "km 0");
        deliver(6, 60, "Trip", "7", "1", "2", "express", "70");
        deliver(3, 30, "Train", "T", "4", "80");
        deliver(8, 80, "60", "21600", "30", "70", "1", "40", "1", "7");
    };
    const auto wholeState = [&] {
        begin();
        elements();
        deliver(3, 31, "Other train", "O", "2", "");
        deliver(10, 31, "Y", "km 9", "1", "in service", "80", "1", "left", "2", "right");
        end();
    };
    wholeState();
    const std::string right = describe(store);

    deliverDeletion(0, 0);
    elements();
    deliver(3, 31, "Other train", "O", "2", "");
    deliver(10, 30, "N", "km 1", "2", "switching", "80", "1", "left", "3", "both");
    deliver(10, 31, "N", "km 2", "2", "switching", "81", "3", "both", "1", "left");
    deliver(11, 50, "5", "boarding", "90!91");
    deliver(12, 80, "90!91", "8", "cancelled");
    EXPECT_NE(describe(store), right);
    wholeState();
    EXPECT_EQ(describe(store), right);
    EXPECT_EQ(removals, "0:0 ");
}

TEST_F(IntakeTest, AStateThatASnapshotDoesNotBringGetsItsDefaultsOnce) {
    deliver(8, 80, "60");
    deliver(12, 80, "90", "8", "cancelled");
    begin();
    deliver(8, 80, "60");
    EXPECT_EQ(servicesOf(store).front().getState(), Service::CANCELLED) << "it may come yet";
    EXPECT_EQ(transcriptOfEnd(), "debug 2 updateServiceState: serviceId >80< updated\nevent 34 80\n");
    EXPECT_EQ(servicesOf(store).front().getState(), Service::NOT_STARTED);
    EXPECT_EQ(countsOf("service state"), "1 0 0 0 0, 0, 0");
    begin();
    deliver(8, 80, "60");
    EXPECT_EQ(transcriptOfEnd(), "");
    deliver(12, 80, "", "1", "running");
    begin();
    deliver(12, 80, "", "1", "running");
    EXPECT_EQ(transcriptOfEnd(), "");
    EXPECT_EQ(servicesOf(store).front().getState(), Service::RUNNING);
}

TEST_F(IntakeTest, StatesGetTheirDefaultsBeforeAnythingIsDeleted) {
    deliver(8, 80, "60");
    deliver(5, 52, "40");
    deliver(5, 51, "40");
    deliver(9, 90, "80");
    deliver(11, 52, "5", "boarding", "90");
    deliver(11, 51, "5", "boarding", "90");
    deliver(12, 80, "90", "1", "running");
    begin();
    deliver(5, 51, "40");
    deliver(5, 52, "40");
    EXPECT_EQ(transcriptOfEnd(),
              "debug 2 updatePlatformState: platformId >51< updated\nevent 32 51\n"
              "debug 2 updatePlatformState: platformId >52< updated\nevent 32 52\n"
              "event 35 80\ndebug 1 deletePassengerInformation: PI_STORAGE_ELEM_SERVICE serviceId >80< deleted\n"
              "debug 1 deletePassengerInformation: PI_STORAGE_ELEM_SERVICE_STOP serviceStopId >90< deleted\n")
        << "a platform does not name a stop that is gone";
    EXPECT_EQ(countsOf("service state"), "1 0 0 0 0, 0, 0") << "it went with its service";
}

TEST_F(IntakeTest, ADeletedElementLeavesNoStateBehind) {
    deliver(12, 80, "90", "8", "cancelled");
    deliver(11, 50, "5", "boarding", "90");
    deliverDeletion(8, 80);
    deliverDeletion(0, 0);
    begin();
    deliver(8, 80, "60");
    deliver(5, 50, "40");
    EXPECT_EQ(transcriptOfEnd(), "") << "there is nothing to put right";
}

TEST_F(IntakeTest, AStateOfAnAbandonedSnapshotIsNoneOfTheNext) {
    deliver(8, 80, "60");
    begin();
    deliver(12, 80, "90", "8", "cancelled");
    intake.abandonSnapshot();
    begin();
    deliver(8, 80, "60");
    end();
    EXPECT_EQ(servicesOf(store).front().getState(), Service::NOT_STARTED);
}

TEST_F(IntakeTest, DefaultsThatFailAreMadeUpForByTheNextSnapshot) {
    deliver(8, 80, "60");
    deliver(12, 80, "90", "8", "cancelled");
    begin();
    deliver(8, 80, "60");
    host.at("event 34", [] { throw std::runtime_error("no room for events"); });
    EXPECT_EQ(end().outcome, Outcome::FAILED);
    EXPECT_FALSE(intake.inSnapshot());
    host.clear();
    begin();
    deliver(8, 80, "60");
    EXPECT_EQ(transcriptOfEnd(), "event 34 80\n") << "asked again, though the store had it before it threw";
}

TEST_F(IntakeTest, CountsTheStatesThatGotTheirDefaults) {
    deliver(8, 80, "60");
    deliver(12, 80, "90", "8", "cancelled");
    begin();
    deliver(8, 80, "60");
    end();
    for (const TypeCounts& type : intake.counts()) EXPECT_EQ(type.reset, type.name == "service state" ? 1U : 0U);
}

// --- Counts -------------------------------------------------------------------------------------

TEST_F(IntakeTest, CountsWhatWasDeliveredByType) {
    deliver(2, 1, "a");
    deliver(2, 1, "a");
    deliver(2, 0, "a");
    deliverDeletion(2, 5);
    deliverDeletion(2, 0);
    deliver(10, 1, "Y");
    deliver(10, 0, "Y");
    deliverDeletion(0, 0);
    EXPECT_EQ(countsOf("line"), "4 1 0 0 0, 2, 0");
    EXPECT_EQ(countsOf("vehicle state"), "1 1 0 0 0, 0, 0");
    EXPECT_EQ(countsOf("every type"), "1 0 0 0 0, 1, 0");
    EXPECT_EQ(countsOf("vehicle"), "0 0 0 0 0, 0, 0") << "the vehicle came as a state";
}

TEST_F(IntakeTest, CountsWhatASnapshotLeftOutApartFromDeletions) {
    deliver(2, 1, "a");
    deliver(2, 2, "b");
    deliver(10, 3, "Y");
    deliverDeletion(2, 1);
    begin();
    end();
    EXPECT_EQ(countsOf("line"), "3 0 0 0 0, 1, 1");
    EXPECT_EQ(countsOf("vehicle"), "0 0 0 0 0, 0, 1");
    EXPECT_EQ(countsOf("vehicle state"), "1 0 0 0 0, 0, 0");
    EXPECT_EQ(countsOf("snapshot"), "2 0 0 0 0, 0, 0");
}

TEST_F(IntakeTest, KnowsHowManyElementsTheStoreHolds) {
    EXPECT_EQ(intake.elements(), 0U);
    deliver(9, 1, "1");
    deliver(9, 2, "1");
    deliver(9, 2, "2");
    deliver(3, 5, "Vehicle");
    deliver(10, 5, "Y");
    EXPECT_EQ(intake.elements(), 3U) << "states go into their element's table";
    deliverDeletion(9, 1);
    EXPECT_EQ(intake.elements(), 2U);
    begin();
    end();
    EXPECT_EQ(intake.elements(), 0U);
}

}  // namespace

}  // namespace pis::feed
