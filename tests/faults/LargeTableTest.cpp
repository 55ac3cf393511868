// Tables of 50,000 elements: updates and deletions find the right one among them and leave the others as
// they are. How long it takes is not asked.
#include <algorithm>
#include <vector>

#include "StoreTest.h"

namespace {

constexpr int kMany = 50000;
constexpr int kFewer = 3000;  // where an erasure moves all the elements behind it, one element after the other

std::string nameOf(int id) {
    return "element number " + std::to_string(id);
}

/// Puts elements 1 to `count` into a table.
template <typename Record>
void fill(std::vector<Record>& table, int count) {
    table.reserve(static_cast<std::size_t>(count));
    for (int id = 1; id <= count; ++id) {
        table.emplace_back(id);
        table.back().setName(nameOf(id));
    }
}

/// Expects a table to hold these elements in this order, each with its own name but for those renamed.
template <typename Record>
void expectElements(const std::vector<Record>& table, const std::vector<int>& ids,
                    const std::vector<int>& renamed = {}) {
    ASSERT_EQ(table.size(), ids.size());
    for (std::size_t i = 0; i < ids.size(); ++i) {
        ASSERT_EQ(table[i].getId(), ids[i]) << "at position " << i;
        if (std::find(renamed.begin(), renamed.end(), ids[i]) != renamed.end()) continue;
        ASSERT_EQ(table[i].getName(), nameOf(ids[i])) << "at position " << i;
    }
}

std::vector<int> idsUpTo(int count) {
    std::vector<int> ids;
    for (int id = 1; id <= count; ++id) ids.push_back(id);
    return ids;
}

/// A type of element: its table, the code of its updates, and what a record of it shows when its first
/// field, and every other, is "9".
template <typename Record, int code, std::vector<Record>& (*tableOf)(PassengerInformationServer&)>
struct Type {
    using Element = Record;
    static constexpr int kCode = code;
    static std::vector<Record>& table() { return tableOf(gPassengerInformationServer); }
};

template <typename Tested>
class LargeTable : public StoreTest {
protected:
    using Table = std::vector<typename Tested::Element>;

    LargeTable() {
        host.setDebugLevel(-1);
        host.notesLock = false;
    }

    Table& table() { return Tested::table(); }

    /// An update of the tested type that changes something.
    void change(int id) { update(Tested::kCode, id, "9", "9", "9", "9", "9"); }

    /// What a table holds of an element that only this update made, and what becomes of `former` by it.
    typename Tested::Element changed(const typename Tested::Element& former) {
        Table kept;
        kept.swap(table());
        table().push_back(former);
        change(former.getId());
        typename Tested::Element made = table().at(0);
        kept.swap(table());
        return made;
    }
};

using AllTypes =
    ::testing::Types<Type<Line, 2, linesOf>, Type<Vehicle, 3, vehiclesOf>, Type<Station, 4, stationsOf>,
                     Type<PlatformInfo, 5, platformsOf>, Type<Trip, 6, tripsOf>, Type<TripStop, 7, tripStopsOf>,
                     Type<Service, 8, servicesOf>, Type<ServiceStop, 9, serviceStopsOf>>;

struct TypeNames {
    template <typename Tested>
    static std::string GetName(int) {
        static const char* const kNames[] = {"Line", "Vehicle",  "Station", "Platform",
                                             "Trip", "TripStop", "Service", "ServiceStop"};
        return kNames[Tested::kCode - 2];
    }
};

TYPED_TEST_SUITE(LargeTable, AllTypes, TypeNames);

TYPED_TEST(LargeTable, IsUpdatedInPlaceAtItsFrontMiddleAndBack) {
    fill(this->table(), kMany);
    for (const int id : {1, kMany / 2, kMany}) {
        auto& element = this->table()[static_cast<std::size_t>(id) - 1];
        const std::string expected = describe(this->changed(element));
        EXPECT_NE(describe(element), expected);
        this->host.clear();
        this->change(id);
        EXPECT_EQ(describe(element), expected);
        for (const FakeHost::Event& event : this->host.events()) {
            EXPECT_EQ(event.id, id);
            EXPECT_EQ(event.record, &element);
        }
    }
    expectElements(this->table(), idsUpTo(kMany), {1, kMany / 2, kMany});
}

TYPED_TEST(LargeTable, TakesANewElementAtItsEnd) {
    fill(this->table(), kMany);
    this->change(kMany + 1);
    this->change(kMany + 1);
    this->change(-1);
    std::vector<int> ids = idsUpTo(kMany);
    ids.insert(ids.end(), {kMany + 1, -1});
    expectElements(this->table(), ids, {kMany + 1, -1});
}

TYPED_TEST(LargeTable, LosesSingleElementsFromItsFrontMiddleAndBack) {
    fill(this->table(), kMany);
    for (const int id : {kMany, 1, kMany / 2, 2, kMany - 1, kMany + 1}) {
        this->store.deletePassengerInformation(TypeParam::kCode, id);
    }
    std::vector<int> ids = idsUpTo(kMany);
    for (const int id : {kMany, 1, kMany / 2, 2, kMany - 1}) ids.erase(std::find(ids.begin(), ids.end(), id));
    expectElements(this->table(), ids);
}

TYPED_TEST(LargeTable, LosesEveryElementWithAnIdWhereverItStands) {
    fill(this->table(), kMany);
    std::vector<int> ids = idsUpTo(kMany);
    for (const std::size_t position : {std::size_t{0}, std::size_t{1}, ids.size() / 2, ids.size() - 1}) {
        this->table()[position] = typename TypeParam::Element(-5);
        ids[position] = -5;
    }
    this->store.deletePassengerInformation(TypeParam::kCode, -5);
    ids.erase(std::remove(ids.begin(), ids.end(), -5), ids.end());
    expectElements(this->table(), ids);
}

TYPED_TEST(LargeTable, IsEmptiedByADeletionOfAllInItsOrder) {
    const bool isTold = TypeParam::kCode != 7 && TypeParam::kCode != 9;
    const int count = isTold ? kFewer : kMany;
    fill(this->table(), count);
    this->host.clear();
    this->store.deletePassengerInformation(TypeParam::kCode, 0);
    EXPECT_TRUE(this->table().empty());

    const std::vector<FakeHost::Event> events = this->host.events();
    ASSERT_EQ(events.size(), isTold ? idsUpTo(count).size() : 0U);
    for (std::size_t i = 0; i < events.size(); ++i) ASSERT_EQ(events[i].id, static_cast<int>(i) + 1);
}

TYPED_TEST(LargeTable, IsShownWholeByItsGetter) {
    fill(this->table(), kMany);
    const std::vector<int> ids = idsUpTo(kMany);
    switch (TypeParam::kCode) {
        case 2: expectElements(this->store.getLines(), ids); break;
        case 3: expectElements(this->store.getVehicles(), ids); break;
        case 4: expectElements(this->store.getStations(), ids); break;
        case 5: expectElements(this->store.getPlatforms(), ids); break;
        case 6: expectElements(this->store.getTrips(), ids); break;
        case 7: expectElements(this->store.getTripStops(), ids); break;
        case 8: expectElements(this->store.getServices(), ids); break;
        default: break;  // service stops have none
    }
}

/// The three updates that look into another table find there what they need, too.
using LargeTables = StoreTest;

TEST_F(LargeTables, GiveAServiceItsTripAndAStopItsTripStop) {
    host.notesLock = false;
    fill(tripsOf(store), kMany);
    fill(tripStopsOf(store), kMany);
    for (const int id : {1, kMany / 2, kMany}) {
        update(8, id, std::to_string(id));
        EXPECT_EQ(servicesOf(store).back().getName(), nameOf(id));
        tripStopsOf(store)[static_cast<std::size_t>(id) - 1].setPlatformId(id + 7);
        update(9, id, "1", std::to_string(id));
        EXPECT_EQ(serviceStopsOf(store).back().getPlatformId(), id + 7);
    }
    update(8, 99, std::to_string(kMany + 1));
    EXPECT_EQ(servicesOf(store).back().getName(), "Unknown Service");
}

}  // namespace
