// Observers that misbehave or go far: that throw among others, that register observers while they are told,
// that read the tables from inside a callback where the lock lets a thread enter twice.
#include <gtest/gtest-spi.h>

#include <functional>
#include <map>
#include <stdexcept>

#include "StoreTest.h"

namespace {

const char* const kNames[] = {
    "",         "",        "Line",        "Vehicle",      "Station",       "Platform",    "Trip",
    "TripStop", "Service", "ServiceStop", "VehicleState", "PlatformState", "ServiceState"};

/// Types of which observers hear, by the code of their updates.
class ToldType : public StoreTest, public ::testing::WithParamInterface<int> {
protected:
    ToldType() {
        for (RecordingObserver* observer : {&first, &second, &third}) store.registerObserver(observer);
    }

    void updateIt(const char* text) { update(GetParam(), 7, text, text, text); }
    void deleteIt() { store.deletePassengerInformation(tableCode(), 7); }

    /// State records go into the table of their element.
    int tableCode() const {
        static const std::map<int, int> tables{{10, 3}, {11, 5}, {12, 8}};
        const auto found = tables.find(GetParam());
        return found == tables.end() ? GetParam() : found->second;
    }

    /// Who heard something, in order: "first second ".
    std::string heard() const {
        std::string names;
        const std::string all = host.transcript();
        for (std::size_t begin = 0; begin < all.size(); begin = all.find('\n', begin) + 1) {
            const std::string name = all.substr(begin, all.find(' ', begin) - begin);
            if (name == "first" || name == "second" || name == "third" || name == "late") names += name + " ";
        }
        return names;
    }

    RecordingObserver first{"first"};
    RecordingObserver second{"second"};
    RecordingObserver third{"third"};
    RecordingObserver late{"late"};
};

INSTANTIATE_TEST_SUITE_P(Types, ToldType, ::testing::Values(2, 3, 4, 5, 6, 8, 10, 11, 12),
                         [](const ::testing::TestParamInfo<int>& type) { return std::string(kNames[type.param]); });

// --- Observers that throw -------------------------------------------------------------------------

TEST_P(ToldType, IsMergedThoughTheSecondOfThreeObserversThrows) {
    updateIt("1");
    const std::string before = describe(store);
    host.at("second", [] { throw std::runtime_error("observer"); });
    host.clear();
    EXPECT_THROW(updateIt("2"), std::runtime_error);
    EXPECT_EQ(heard(), "first second ");
    EXPECT_TRUE(host.events().empty());
    EXPECT_TRUE(host.allLocksFree());
    EXPECT_NE(describe(store), before);

    // The same record again is no news, so those who were left out hear of it with the next change.
    host.clear();
    updateIt("2");
    EXPECT_EQ(heard(), "");
    EXPECT_EQ(host.events().size(), 1U);
    host.clear();
    updateIt("3");
    EXPECT_EQ(heard(), "first second third ");
}

TEST_P(ToldType, PassesOnWhateverAnObserverThrows) {
    host.at("first", [] { throw 42; });
    EXPECT_THROW(updateIt("1"), int);
    EXPECT_TRUE(host.allLocksFree());
    host.at("third", [] { throw "a text"; });
    EXPECT_THROW(updateIt("2"), const char*);
    EXPECT_TRUE(host.allLocksFree());
}

TEST_P(ToldType, IsStillThereWhenAnObserverThrewDuringItsDeletionAndGoesWithTheNext) {
    updateIt("1");
    const std::string before = describe(store);
    host.at("second", [] { throw std::runtime_error("observer"); });
    host.clear();
    EXPECT_THROW(deleteIt(), std::runtime_error);
    EXPECT_EQ(heard(), "first second ");
    EXPECT_TRUE(host.events().empty());
    EXPECT_TRUE(host.allLocksFree());
    EXPECT_EQ(describe(store), before);

    host.clear();
    deleteIt();
    EXPECT_EQ(heard(), "first second third ");
    EXPECT_EQ(describe(store), "");
}

TEST_P(ToldType, IsToldAgainWhenADeletionOfAllIsRepeatedFromTheElementThatFailed) {
    for (const int id : {5, 7, 9}) update(GetParam(), id, "1");
    host.at(
        "third", [] { throw std::runtime_error("observer"); }, 2);
    host.clear();
    EXPECT_THROW(store.deletePassengerInformation(0, 0), std::runtime_error);
    EXPECT_EQ(heard(), "first second third first second third ");
    EXPECT_EQ(host.events().size(), 1U);
    EXPECT_EQ(host.events().back().id, 5);

    host.clear();
    store.deletePassengerInformation(0, 0);
    ASSERT_EQ(host.events().size(), 2U);
    EXPECT_EQ(host.events()[0].id, 7);
    EXPECT_EQ(host.events()[1].id, 9);
    EXPECT_EQ(describe(store), "");
}

// --- Observers that register others ---------------------------------------------------------------

TEST_P(ToldType, IsToldToOneThatIsRegisteredJustBeforeTheNextThrows) {
    host.at("first", [this] { store.registerObserver(&late); });
    host.at("second", [] { throw std::runtime_error("observer"); });
    host.clear();
    EXPECT_THROW(updateIt("1"), std::runtime_error);
    EXPECT_EQ(heard(), "first second ");
    EXPECT_TRUE(host.allLocksFree());
    host.clear();
    updateIt("2");
    EXPECT_EQ(heard(), "first second third late ");
}

TEST_P(ToldType, IsToldOnceToAnObserverThatRegistersItselfAgain) {
    host.at("third", [this] { store.registerObserver(&third); });
    host.clear();
    updateIt("1");
    EXPECT_EQ(heard(), "first second third ");
    EXPECT_NE(host.transcript().find("error 3 registerObserver: Observer already part of list. Not adding to list\n"),
              std::string::npos);
}

TEST_P(ToldType, IsToldToOneRegisteredInADeletionForAllThatFollow) {
    for (const int id : {5, 7, 9}) update(GetParam(), id, "1");
    host.at("third", [this] { store.registerObserver(&late); });
    host.clear();
    store.deletePassengerInformation(0, 0);
    EXPECT_EQ(heard(), "first second third late first second third late first second third late ");
}

// --- Observers that read the tables ---------------------------------------------------------------

/// Lets the lock of the fake host be entered twice by one thread: what it reports of that, and nothing
/// else, is taken as expected.
class ReentrantLock {
public:
    ReentrantLock()
        : _reporter(::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &_results) {}

    /// How often the lock was entered by a thread that held it.
    int secondEntries() const { return _results.size(); }

    std::string otherFaults() const {
        std::string faults;
        for (int i = 0; i < _results.size(); ++i) {
            const std::string message = _results.GetTestPartResult(i).message();
            if (message.find("second enter by the same thread") == std::string::npos) faults += message + "\n";
        }
        return faults;
    }

private:
    ::testing::TestPartResultArray _results;
    ::testing::ScopedFakeTestPartResultReporter _reporter;
};

class ReadFromACallback : public ToldType {
protected:
    /// What all getters show.
    std::string snapshots() {
        return describe(store.getLines()) + describe(store.getVehicles()) + describe(store.getStations()) +
               describe(store.getPlatforms()) + describe(store.getTrips()) + describe(store.getTripStops()) +
               describe(store.getServices());
    }

    /// What the getters show while the second observer is told of what `call` does.
    template <typename Call>
    std::string seenDuring(Call call) {
        std::string seen;
        std::string faults;
        int entries = 0;
        host.at("second", [&] { seen = snapshots(); });
        host.clear();
        {
            const ReentrantLock lock;
            call();
            entries = lock.secondEntries();
            faults = lock.otherFaults();
        }
        EXPECT_EQ(entries, 7);
        EXPECT_EQ(faults, "");
        EXPECT_TRUE(host.allLocksFree());
        return seen;
    }
};

INSTANTIATE_TEST_SUITE_P(Types, ReadFromACallback, ::testing::Values(2, 3, 4, 5, 6, 8, 10, 11, 12),
                         [](const ::testing::TestParamInfo<int>& type) { return std::string(kNames[type.param]); });

TEST_P(ReadFromACallback, OfAnUpdateShowsTheElementAsItIsTold) {
    for (const char* text : {"1", "2"}) {  // added, then changed
        const std::string seen = seenDuring([&] { updateIt(text); });
        EXPECT_EQ(seen, describe(store));
        EXPECT_EQ(heard(), "first second third ");
        EXPECT_EQ(host.events().size(), 1U);
    }
}

TEST_P(ReadFromACallback, OfADeletionShowsTheElementThatGoesAndThoseBehindIt) {
    for (const int id : {5, 7, 9}) update(GetParam(), id, "1");
    const std::string before = describe(store);
    EXPECT_EQ(seenDuring([&] { store.deletePassengerInformation(0, 0); }), before);
    EXPECT_EQ(host.events().size(), 3U);
    EXPECT_EQ(describe(store), "");
}

TEST_P(ReadFromACallback, LeavesTheRestOfTheUpdateAsItIs) {
    host.notesLock = false;
    updateIt("1");
    const std::string without = host.during([&] { updateIt("2"); });
    updateIt("1");
    seenDuring([&] { updateIt("2"); });
    std::string with = host.transcript();
    const std::string fault = "FAULT second enter by the same thread\n";
    for (std::size_t at = 0; (at = with.find(fault)) != std::string::npos;) with.erase(at, fault.size());
    EXPECT_EQ(with, without);
}

class StationsFromACallback : public StoreTest {};

/// Notes the names of a station's platforms as soon as it hears of the station.
class PlatformReader : public RecordingObserver {
public:
    void onStationUpdated(Station station) override {
        for (const PlatformInfo& platform : station.getListOfPlatforms()) names += platform.getName() + " ";
    }
    std::string names;
};

TEST_F(StationsFromACallback, ResolveTheirPlatforms) {
    update(5, 11, "1", null, "Track1");
    update(5, 12, "1", null, "Track2");
    PlatformReader reader;
    store.registerObserver(&reader);
    EXPECT_NONFATAL_FAILURE(update(4, 1, "Harbour", "HB", "Y", "12!11"), "second enter by the same thread");
    EXPECT_EQ(reader.names, "Track2 Track1 ");
    EXPECT_TRUE(host.allLocksFree());
}

}  // namespace
