// Stations and platforms: what their constructors set, what a copy carries, and how a station's
// platforms are looked up in the host's store.
#include <stdexcept>
#include <typeinfo>

#include "BuiltOverOnes.h"
#include "StoreTest.h"

namespace {

TEST(StationRecord, FromAnIdHasItsDefaults) {
    EXPECT_EQ(builtOverOnes<Station>(2), R"(station 2 "Unknown Station" "" major=0 closed=0 platforms="")");
}

TEST(StationRecord, WithoutAnArgumentIsAsFromIdZero) {
    EXPECT_EQ(builtOverOnes<Station>(), R"(station 0 "Unknown Station" "" major=0 closed=0 platforms="")");
}

TEST(StationRecord, TakesNameAndFlags) {
    EXPECT_EQ(builtOverOnes<Station>(2, "Harbour", true, true),
              R"(station 2 "Harbour" "" major=1 closed=1 platforms="")");
    EXPECT_EQ(describe(Station(2, "", true, false)), R"(station 2 "" "" major=1 closed=0 platforms="")");
    EXPECT_EQ(describe(Station(2, "Harbour", false, true)), R"(station 2 "Harbour" "" major=0 closed=1 platforms="")");
}

TEST(StationRecord, EachSetterReachesItsMember) {
    Station station(2);
    station.setName("Harbour");
    station.setAbrv("HB");
    station.setIsMajor(true);
    EXPECT_EQ(describe(station), R"(station 2 "Harbour" "HB" major=1 closed=0 platforms="")");
    station.setIsMajor(false);
    station.setIsClosed(true);
    station.setPlatformsListAsString("11!12");
    EXPECT_EQ(describe(station), R"(station 2 "Harbour" "HB" major=0 closed=1 platforms="11!12")");
}

TEST(StationRecord, CopyAndAssignmentCarryEverything) {
    Station station(2, "Harbour", true, true);
    station.setAbrv("HB");
    station.setPlatformsListAsString("11!12");
    const std::string expected = describe(station);
    const Station copy(station);
    Station assigned(3);
    EXPECT_EQ(&(assigned = station), &assigned);
    station.setPlatformsListAsString("changed later");
    EXPECT_EQ(describe(copy), expected);
    EXPECT_EQ(describe(assigned), expected);
}

TEST(PlatformRecord, FromAnIdHasItsDefaults) {
    EXPECT_EQ(builtOverOnes<PlatformInfo>(6),
              R"(platform 6 "Unknown Platform" "" station=0 location="" state=0 stateText="NO_VEHICLE_SCHEDULED")"
              R"( passers="")");
}

TEST(PlatformRecord, WithoutAnArgumentIsAsFromIdZero) {
    EXPECT_EQ(builtOverOnes<PlatformInfo>(),
              R"(platform 0 "Unknown Platform" "" station=0 location="" state=0 stateText="NO_VEHICLE_SCHEDULED")"
              R"( passers="")");
}

PlatformInfo fullPlatform() {
    PlatformInfo platform(6);
    platform.setName("Track 1");
    platform.setAbrv("T1");
    platform.setStationId(2);
    platform.setLocation("km 3");
    platform.setState(PlatformInfo::VEHICLE_DEPARTED);
    platform.setStateText("gone");
    platform.setPassersListAsString("70!71");
    return platform;
}

const char* const kFullPlatform =
    R"(platform 6 "Track 1" "T1" station=2 location="km 3" state=7 stateText="gone" passers="70!71")";

TEST(PlatformRecord, EachSetterReachesItsMember) {
    EXPECT_EQ(describe(fullPlatform()), kFullPlatform);
}

TEST(PlatformRecord, StateAndItsTextAreIndependent) {
    PlatformInfo platform(6);
    platform.setState(PlatformInfo::VEHICLE_BOARDING);
    EXPECT_EQ(platform.getStateText(), "NO_VEHICLE_SCHEDULED");
    platform.setStateText("VEHICLE_DEPARTING");
    EXPECT_EQ(platform.getState(), PlatformInfo::VEHICLE_BOARDING);
}

TEST(PlatformRecord, KeepsAStateWithoutAnEnumerator) {
    PlatformInfo platform(6);
    platform.setState(static_cast<PlatformInfo::State>(42));
    EXPECT_EQ(static_cast<int>(platform.getState()), 42);
}

TEST(PlatformRecord, CopyAndAssignmentCarryEverything) {
    PlatformInfo platform = fullPlatform();
    const PlatformInfo copy(platform);
    PlatformInfo assigned(7);
    EXPECT_EQ(&(assigned = platform), &assigned);
    platform.setStateText("changed later");
    EXPECT_EQ(describe(copy), kFullPlatform);
    EXPECT_EQ(describe(assigned), kFullPlatform);
}

/// Platforms 12 and 11 are stored, in this order, at station 2.
class StationPlatforms : public StoreTest {
protected:
    StationPlatforms() {
        update(5, 12, "2", "", "Track 2", "km 2");
        update(5, 11, "2", "", "Track 1", "km 1");
        host.clear();
    }

    /// Names of the platforms that a station with this list resolves to.
    static std::string namesOf(const std::string& list) {
        Station station(2);
        station.setPlatformsListAsString(list);
        std::string names;
        for (const PlatformInfo& platform : station.getListOfPlatforms()) names += "[" + platform.getName() + "]";
        return names;
    }

    /// Text of the fault that getPlatform throws by pointer; the fault is deleted.
    static std::string faultOf(const Station& station, int platformId) {
        try {
            station.getPlatform(platformId);
        } catch (const std::exception& fault) {
            return std::string("by reference: ") + fault.what();
        } catch (std::out_of_range* fault) {
            EXPECT_TRUE(typeid(*fault) == typeid(std::out_of_range));
            std::string text = fault->what();
            delete fault;
            return text;
        }
        return "nothing thrown";
    }
};

TEST_F(StationPlatforms, ComeInTheOrderOfTheList) {
    EXPECT_EQ(namesOf("11!12"), "[Track 1][Track 2]");
    EXPECT_EQ(namesOf("12!11"), "[Track 2][Track 1]");
}

TEST_F(StationPlatforms, ComeAsWholeRecords) {
    Station station(2);
    station.setPlatformsListAsString("11");
    EXPECT_EQ(describe(station.getListOfPlatforms()),
              "platform 11 \"Track 1\" \"\" station=2 location=\"km 1\" state=0"
              " stateText=\"NO_VEHICLE_SCHEDULED\" passers=\"\"\n");
}

TEST_F(StationPlatforms, NamedTwiceComeTwice) {
    EXPECT_EQ(namesOf("11!11"), "[Track 1][Track 1]");
    EXPECT_EQ(namesOf("11!12!11"), "[Track 1][Track 2][Track 1]");
}

TEST_F(StationPlatforms, OfAnEmptyListAreNone) {
    EXPECT_EQ(namesOf(""), "");
}

TEST_F(StationPlatforms, UnknownToTheStoreAreLeftOut) {
    EXPECT_EQ(namesOf("99"), "");
    EXPECT_EQ(namesOf("99!11"), "[Track 1]");
}

TEST_F(StationPlatforms, NotInTheListAreLeftOut) {
    EXPECT_EQ(namesOf("12"), "[Track 2]");
}

TEST_F(StationPlatforms, OfAnotherStationAreResolvedToo) {
    update(5, 13, "77", "", "Track 3", "km 3");
    EXPECT_EQ(namesOf("13"), "[Track 3]");
}

TEST_F(StationPlatforms, ListIsSplitAtExclamationMarksWithQuotesAndBlanks) {
    EXPECT_EQ(namesOf(" 11!\t12"), "[Track 1][Track 2]");
    EXPECT_EQ(namesOf("\"11\"!12 "), "[Track 1][Track 2]");
    EXPECT_EQ(namesOf("11,12"), "[Track 1]");
    EXPECT_EQ(namesOf("\"11!12\""), "[Track 1]");
}

TEST_F(StationPlatforms, ItemsAreReadUpToTheFirstOtherCharacter) {
    EXPECT_EQ(namesOf("11th!+12!0011"), "[Track 1][Track 2][Track 1]");
}

TEST_F(StationPlatforms, ItemThatIsNoNumberMatchesPlatformZero) {
    EXPECT_EQ(namesOf("x"), "");
    platformsOf(store).emplace_back(0);
    EXPECT_EQ(namesOf("x!11"), "[Unknown Platform][Track 1]");
}

TEST_F(StationPlatforms, EmptyItemsMatchPlatformZero) {
    platformsOf(store).emplace_back(0);
    EXPECT_EQ(namesOf("11!"), "[Track 1][Unknown Platform]");
    EXPECT_EQ(namesOf("!"), "[Unknown Platform][Unknown Platform]");
}

TEST_F(StationPlatforms, ItemBeyondThirtyTwoBitsMatchesNoSmallerNumber) {
    EXPECT_EQ(namesOf("4294967307!-4294967285!99999999999999999999"), "");
}

TEST_F(StationPlatforms, WalkDoesNotStopAtTheFirstMatch) {
    platformsOf(store).emplace_back(11);
    EXPECT_EQ(namesOf("11!12"), "[Track 1][Unknown Platform][Track 2]");
}

TEST_F(StationPlatforms, AreCopiedOnceUnderTheLockWhateverTheList) {
    EXPECT_EQ(host.during([] { namesOf("11!12!11"); }), "enter\nleave\n");
    EXPECT_EQ(host.during([] { namesOf(""); }), "enter\nleave\n");
}

TEST_F(StationPlatforms, AreSearchedInTheCopyWithTheLockFree) {
    host.at("leave", [this] { store.deletePassengerInformation(5, 0); });
    EXPECT_EQ(namesOf("11!12"), "[Track 1][Track 2]");
    EXPECT_TRUE(platformsOf(store).empty());
}

TEST_F(StationPlatforms, ComeFromTheHostsStoreNotFromAnother) {
    PassengerInformationServer other;
    FieldList list = fields("2", "", "Elsewhere", "km 9");
    other.updatePassengerInformation(1, 5, 13, list);
    EXPECT_EQ(namesOf("13!11"), "[Track 1]");
    EXPECT_EQ(faultOf(Station(2), 13), "platform not found");
}

TEST_F(StationPlatforms, OneIsFoundByItsId) {
    EXPECT_EQ(describe(Station(2).getPlatform(11)),
              "platform 11 \"Track 1\" \"\" station=2 location=\"km 1\" state=0"
              " stateText=\"NO_VEHICLE_SCHEDULED\" passers=\"\"");
}

TEST_F(StationPlatforms, OneIsFoundWhateverTheListSays) {
    Station station(2);
    station.setPlatformsListAsString("12");
    EXPECT_EQ(station.getPlatform(11).getName(), "Track 1");
}

TEST_F(StationPlatforms, OneIsFoundAlsoWhenItNamesAnotherStation) {
    const PlatformInfo platform = Station(77).getPlatform(11);
    EXPECT_EQ(platform.getName(), "Track 1");
    EXPECT_EQ(platform.getStationId(), 2);
}

TEST_F(StationPlatforms, OneIsTheFirstOfTwoWithTheSameId) {
    platformsOf(store).emplace_back(11);
    EXPECT_EQ(Station(2).getPlatform(11).getName(), "Track 1");
}

TEST_F(StationPlatforms, OneWithIdZeroCanBeFound) {
    platformsOf(store).emplace_back(0);
    EXPECT_EQ(Station(2).getPlatform(0).getName(), "Unknown Platform");
}

TEST_F(StationPlatforms, OneThatIsMissingFailsByPointer) {
    EXPECT_EQ(faultOf(Station(2), 99), "platform not found");
    EXPECT_EQ(faultOf(Station(2), 0), "platform not found");
}

TEST_F(StationPlatforms, OneIsSearchedWithTheLockTakenOnceAndFreeAfterwards) {
    EXPECT_EQ(host.during([] { Station(2).getPlatform(11); }), "enter\nleave\n");
    host.clear();
    EXPECT_EQ(faultOf(Station(2), 99), "platform not found");
    EXPECT_EQ(host.transcript(), "enter\nleave\n");
    EXPECT_TRUE(host.allLocksFree());
}

TEST_F(StationPlatforms, SettingThemDoesNothing) {
    Station station(2);
    station.setPlatformsListAsString("11");
    const std::string record = describe(station);
    const std::string stored = describe(store);
    EXPECT_EQ(host.during([&] {
        station.setListOfPlatforms({{12, PlatformInfo(12)}});
        station.setPlatform(12, PlatformInfo(12));
    }),
              "");
    EXPECT_EQ(describe(station), record);
    EXPECT_EQ(describe(store), stored);
}

class PlatformPassers : public StoreTest {};

TEST_F(PlatformPassers, AreAlwaysNone) {
    update(9, 70, "12", "1");
    for (const char* list : {"", "70", "70!71", "0", "x", "!", "\"70\""}) {
        PlatformInfo platform(6);
        platform.setPassersListAsString(list);
        const std::vector<ServiceStop> passers = platform.getPassers();
        EXPECT_TRUE(passers.empty()) << list;
    }
}

TEST_F(PlatformPassers, AreResolvedWithoutTheLock) {
    EXPECT_EQ(host.during([] { fullPlatform().getPassers(); }), "");
}

TEST_F(PlatformPassers, SettingThemDoesNothing) {
    PlatformInfo platform = fullPlatform();
    platform.setPassers(std::vector<ServiceStop>{ServiceStop(80)});
    platform.setPassers(std::vector<Service>{Service(12)});
    EXPECT_EQ(describe(platform), kFullPlatform);
}

}  // namespace
