// Memory that runs out: every single allocation of a call fails in turn, alone and with all that follow it.
// No record may be left that the next identical update would not mend, the lock must be as promised, a
// request goes out whole or not at all, and nothing leaks.
#include <cstdlib>
#include <functional>
#include <new>
#include <ostream>
#include <tuple>

#include "StoreTest.h"

// --- The memory of this program -------------------------------------------------------------------

namespace {

/// Counts allocations down to one that fails.
struct Fuse {
    bool armed = false;
    bool burns = false;  // all that follow fail, too
    bool blown = false;
    long left = 0;
    long blocks = 0;  // held by the program, whether armed or not
};

Fuse fuse;

void* allocated(std::size_t size, std::size_t alignment = 0) noexcept {
    if (fuse.armed && (fuse.blown ? fuse.burns : fuse.left-- == 0)) {
        fuse.blown = true;
        return nullptr;
    }
    if (size == 0) size = 1;
    void* block = alignment == 0 ? std::malloc(size)
                                 : std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    if (block != nullptr) ++fuse.blocks;
    return block;
}

void* allocatedOrThrow(std::size_t size, std::size_t alignment = 0) {
    void* block = allocated(size, alignment);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void release(void* block) noexcept {
    if (block == nullptr) return;
    --fuse.blocks;
    std::free(block);
}

}  // namespace

// Not inlined, since the compiler would take the free() inside for a mistake.
#define NOT_INLINED __attribute__((noinline))

NOT_INLINED void* operator new(std::size_t size) {
    return allocatedOrThrow(size);
}
NOT_INLINED void* operator new[](std::size_t size) {
    return allocatedOrThrow(size);
}
NOT_INLINED void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocated(size);
}
NOT_INLINED void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocated(size);
}
NOT_INLINED void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocatedOrThrow(size, static_cast<std::size_t>(alignment));
}
NOT_INLINED void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocatedOrThrow(size, static_cast<std::size_t>(alignment));
}
NOT_INLINED void operator delete(void* block) noexcept {
    release(block);
}
NOT_INLINED void operator delete[](void* block) noexcept {
    release(block);
}
NOT_INLINED void operator delete(void* block, std::size_t) noexcept {
    release(block);
}
NOT_INLINED void operator delete[](void* block, std::size_t) noexcept {
    release(block);
}
NOT_INLINED void operator delete(void* block, const std::nothrow_t&) noexcept {
    release(block);
}
NOT_INLINED void operator delete[](void* block, const std::nothrow_t&) noexcept {
    release(block);
}
NOT_INLINED void operator delete(void* block, std::align_val_t) noexcept {
    release(block);
}
NOT_INLINED void operator delete[](void* block, std::align_val_t) noexcept {
    release(block);
}
NOT_INLINED void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    release(block);
}
NOT_INLINED void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
    release(block);
}

namespace {

enum class Failing { ALONE, WITH_ALL_THAT_FOLLOW };

std::ostream& operator<<(std::ostream& to, Failing failing) {
    return to << (failing == Failing::ALONE ? "Alone" : "WithAllThatFollow");
}

/// Makes the nth allocation of a call fail, counted from 0. False when the call asked for fewer.
bool failsAt(long nth, Failing failing, const std::function<void()>& call) {
    bool threw = false;
    fuse.left = nth;
    fuse.burns = failing == Failing::WITH_ALL_THAT_FOLLOW;
    fuse.blown = false;
    fuse.armed = true;
    try {
        call();
    } catch (const std::bad_alloc&) {
        threw = true;
    }
    fuse.armed = false;
    EXPECT_EQ(threw, fuse.blown) << "allocation " << nth;
    return fuse.blown;
}

/// Longer than a string keeps inside itself, and a number in front for fields that are one.
std::string longText(int number) {
    return std::to_string(number) + std::string(40, static_cast<char>('a' + number % 26));
}

/// An update whose every field holds the same text.
class Update {
public:
    Update(int code, int id, const std::string& text)
        : _code(code), _id(id), _fields(std::vector<FieldText>(9, text)) {}
    void operator()() { gPassengerInformationServer.updatePassengerInformation(1, _code, _id, _fields); }

private:
    int _code;
    int _id;
    FieldList _fields;
};

/// Takes what it is given and keeps nothing.
class Listener : public PassengerInformationObserver {
public:
    void onServerStatusUpdated(bool) override {}
    void onLineUpdated(Line) override {}
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
};

/// A host and a store of a few elements of every type, built anew for every failure.
class World {
public:
    explicit World(bool observed) {
        host.notesLock = false;  // entering and leaving cannot fail
        if (observed) {
            for (Listener& listener : listeners) store.registerObserver(&listener);
        }
        for (int code = 2; code <= 9; ++code) {
            for (const int number : {41, 42}) Update(code, number, longText(number))();
        }
        Update(8, 42, longText(7))();  // runs the trip that is tested
        host.clear();
    }

    std::string tables() { return describe(store); }

    /// What the tables hold besides the elements with an id.
    std::string tablesWithout(int id) {
        const std::string all = tables();
        std::string others;
        for (std::size_t begin = 0; begin < all.size();) {
            const std::size_t end = all.find('\n', begin) + 1;
            const std::string line = all.substr(begin, end - begin);
            if (line.find(" " + std::to_string(id) + " \"") == std::string::npos) others += line;
            begin = end;
        }
        return others;
    }

    /// Expects the lock to be free; if it is not, frees it so that the test can go on.
    void expectLockFree(const std::string& where) {
        EXPECT_TRUE(host.allLocksFree()) << "the lock stays taken behind " << where;
        if (!host.allLocksFree()) lockOf(store).leave();
    }

    FakeHost host;
    PassengerInformationServer& store = gPassengerInformationServer;
    Listener listeners[2];
};

/// Runs `trial` for the first allocation, the second and so on, until it says that none failed. Nothing of
/// it may stay behind.
/// @return how many failed.
long forEveryAllocation(const std::function<bool(long nth)>& trial) {
    constexpr long kMost = 10000;
    trial(0);  // whatever is made once is made here
    const long blocks = fuse.blocks;
    for (long nth = 0; nth < kMost; ++nth) {
        const bool failed = trial(nth);
        if (::testing::Test::HasFailure()) return nth;
        EXPECT_EQ(fuse.blocks, blocks) << "leaked when allocation " << nth << " failed";
        if (!failed) return nth;
    }
    ADD_FAILURE() << "there is no end of allocations";
    return kMost;
}

// --- Updates --------------------------------------------------------------------------------------

enum class Kind { NEW_IN_A_TABLE_THAT_GROWS, NEW_IN_A_TABLE_WITH_ROOM, CHANGED, CHANGED_TO_VERY_LONG_TEXTS, UNCHANGED };

const char* const kKinds[] = {"NewInATableThatGrows", "NewInATableWithRoom", "Changed", "ChangedToVeryLongTexts",
                              "Unchanged"};

const char* const kHandlers[] = {
    "",         "",        "Line",        "Vehicle",      "Station",       "Platform",    "Trip",
    "TripStop", "Service", "ServiceStop", "VehicleState", "PlatformState", "ServiceState"};

std::ostream& operator<<(std::ostream& to, Kind kind) {
    return to << kKinds[static_cast<int>(kind)];
}

using UpdateCase = std::tuple<int, Kind, bool, Failing>;

class AllocationFailureInUpdate : public ::testing::TestWithParam<UpdateCase> {
protected:
    static constexpr int kId = 7;

    AllocationFailureInUpdate() { std::tie(code, kind, observed, failing) = GetParam(); }

    /// What the table held of the element before.
    void prepare(World& world) const {
        switch (kind) {
            case Kind::NEW_IN_A_TABLE_THAT_GROWS: break;  // two elements fill it
            case Kind::NEW_IN_A_TABLE_WITH_ROOM: Update(code, 43, longText(43))(); break;
            case Kind::CHANGED:
            case Kind::CHANGED_TO_VERY_LONG_TEXTS: Update(code, kId, "9")(); break;  // every text must grow
            case Kind::UNCHANGED: Update(code, kId, longText(41))(); break;
        }
        world.host.clear();
    }

    /// Very long texts are more than an update keeps by itself until the lock is taken.
    std::string text() const {
        return longText(41) + (kind == Kind::CHANGED_TO_VERY_LONG_TEXTS ? std::string(2000, 'x') : "");
    }

    int code = 0;
    Kind kind = Kind::UNCHANGED;
    bool observed = false;
    Failing failing = Failing::ALONE;
};

std::string nameOfUpdate(const ::testing::TestParamInfo<UpdateCase>& tested) {
    const auto& [code, kind, observed, failing] = tested.param;
    return std::string(kHandlers[code]) + ::testing::PrintToString(kind) + (observed ? "Observed" : "") +
           ::testing::PrintToString(failing);
}

INSTANTIATE_TEST_SUITE_P(Handlers, AllocationFailureInUpdate,
                         ::testing::Combine(::testing::Range(2, 13),
                                            ::testing::Values(Kind::NEW_IN_A_TABLE_THAT_GROWS,
                                                              Kind::NEW_IN_A_TABLE_WITH_ROOM, Kind::CHANGED,
                                                              Kind::CHANGED_TO_VERY_LONG_TEXTS, Kind::UNCHANGED),
                                            ::testing::Bool(),
                                            ::testing::Values(Failing::ALONE, Failing::WITH_ALL_THAT_FOLLOW)),
                         nameOfUpdate);

TEST_P(AllocationFailureInUpdate, IsMendedByTheSameUpdateAndLeavesTheLockFree) {
    std::string expected;
    std::string others;
    {
        World world(observed);
        prepare(world);
        others = world.tablesWithout(kId);
        Update(code, kId, text())();
        expected = world.tables();
        EXPECT_EQ(world.tablesWithout(kId), others);
    }
    const long failures = forEveryAllocation([&](long nth) {
        World world(observed);
        prepare(world);
        Update update(code, kId, text());
        const bool failed = failsAt(nth, failing, [&] { update(); });

        const std::string where = "allocation " + std::to_string(nth);
        world.expectLockFree(where);
        EXPECT_EQ(world.tablesWithout(kId), others) << where;
        update();
        EXPECT_EQ(world.tables(), expected) << "not mended: " << where;
        world.expectLockFree("the update after " + where);
        return failed;
    });
    // An update that changes nothing may well ask for nothing.
    EXPECT_TRUE(failures > 0 || kind == Kind::UNCHANGED);
}

// Lines, vehicles, stations and trip stops: the other records' own defaults are longer than a string keeps inside
// itself, or a second table is looked at.
TEST(AllocationInUpdate, IsNotNeededWhereNothingChanges) {
    for (const int code : {2, 3, 4, 7, 10}) {
        World world(true);
        Update update(code, 7, longText(41));
        update();
        EXPECT_FALSE(failsAt(0, Failing::ALONE, [&] { update(); })) << code;
    }
}

// --- Deletions ------------------------------------------------------------------------------------

using DeletionCase = std::tuple<int, int, bool, Failing>;

class AllocationFailureInDeletion : public ::testing::TestWithParam<DeletionCase> {};

std::string nameOfDeletion(const ::testing::TestParamInfo<DeletionCase>& tested) {
    const auto& [code, id, observed, failing] = tested.param;
    return std::string(code == 0 ? "Everything" : kHandlers[code]) + (id == 0 ? "All" : "One") +
           (observed ? "Observed" : "") + ::testing::PrintToString(failing);
}

INSTANTIATE_TEST_SUITE_P(Deletions, AllocationFailureInDeletion,
                         ::testing::Combine(::testing::Values(0, 2, 3, 4, 5, 6, 7, 8, 9), ::testing::Values(0, 41),
                                            ::testing::Bool(),
                                            ::testing::Values(Failing::ALONE, Failing::WITH_ALL_THAT_FOLLOW)),
                         nameOfDeletion);

/// True when every line of `part` stands in `whole`, in the same order.
bool isWhatIsLeftOf(const std::string& whole, const std::string& part) {
    std::size_t from = 0;
    for (std::size_t begin = 0; begin < part.size();) {
        const std::size_t end = part.find('\n', begin) + 1;
        from = whole.find(part.substr(begin, end - begin), from);
        if (from == std::string::npos) return false;
        begin = end;
    }
    return true;
}

TEST_P(AllocationFailureInDeletion, LeavesWholeElementsAndTheLockFreeAndCanBeRepeated) {
    const auto [code, id, observed, failing] = GetParam();
    std::string expected;
    {
        World world(observed);
        world.store.deletePassengerInformation(code, id);
        expected = world.tables();
    }
    // As a lambda's own: the names of a structured binding cannot be captured.
    const long failures =
        forEveryAllocation([&, code = code, id = id, observed = observed, failing = failing](long nth) {
            World world(observed);
            const std::string before = world.tables();
            const auto deletion = [&] { world.store.deletePassengerInformation(code, id); };
            const bool failed = failsAt(nth, failing, deletion);

            const std::string where = "allocation " + std::to_string(nth);
            world.expectLockFree(where);
            EXPECT_TRUE(isWhatIsLeftOf(before, world.tables())) << where << ":\n" << world.tables();
            deletion();
            EXPECT_EQ(world.tables(), expected) << where;
            return failed;
        });
    EXPECT_GT(failures, 0);
}

// --- Registration ---------------------------------------------------------------------------------

TEST(AllocationFailureInRegistration, LeavesTheObserverOnceAtMost) {
    const long failures = forEveryAllocation([&](long nth) {
        World world(true);
        Listener late;
        const auto registration = [&] { world.store.registerObserver(&late); };
        const bool failed = failsAt(nth, Failing::ALONE, registration);
        registration();
        const std::vector<PassengerInformationObserver*> expected{&world.listeners[0], &world.listeners[1], &late};
        EXPECT_EQ(observersOf(world.store), expected) << "allocation " << nth;
        return failed;
    });
    EXPECT_GT(failures, 0);
}

// --- Getters --------------------------------------------------------------------------------------

struct Getter {
    const char* name;
    std::string (*shown)(PassengerInformationServer&);
    void (*call)(PassengerInformationServer&);
};

std::ostream& operator<<(std::ostream& to, const Getter& getter) {
    return to << getter.name;
}

const Getter kGetters[] = {
#define GETTER(NAME)                                                                                                  \
    {                                                                                                                 \
#NAME, [](PassengerInformationServer &                                                                        \
                  store) { return describe(store.NAME()); }, [](PassengerInformationServer & store) { store.NAME(); } \
    }
    GETTER(getLines), GETTER(getVehicles),  GETTER(getStations), GETTER(getPlatforms),
    GETTER(getTrips), GETTER(getTripStops), GETTER(getServices),
#undef GETTER
};

class AllocationFailureInGetter : public ::testing::TestWithParam<Getter> {};

INSTANTIATE_TEST_SUITE_P(Getters, AllocationFailureInGetter, ::testing::ValuesIn(kGetters),
                         [](const ::testing::TestParamInfo<Getter>& tested) { return std::string(tested.param.name); });

TEST_P(AllocationFailureInGetter, LeavesTheLockTakenAndTheTablesAsTheyAre) {
    const long failures = forEveryAllocation([&](long nth) {
        World world(false);
        const std::string before = world.tables();
        const std::string shown = GetParam().shown(world.store);
        const bool failed = failsAt(nth, Failing::ALONE, [&] { GetParam().call(world.store); });

        EXPECT_EQ(world.host.allLocksFree(), !failed) << "allocation " << nth;
        if (failed) lockOf(world.store).leave();
        EXPECT_EQ(world.tables(), before) << "allocation " << nth;
        EXPECT_EQ(GetParam().shown(world.store), shown) << "allocation " << nth;
        return failed;
    });
    EXPECT_GT(failures, 0);
}

// --- Requests -------------------------------------------------------------------------------------

struct Request {
    const char* name;
    std::function<void(PassengerInformationServer&)> send;
};

std::ostream& operator<<(std::ostream& to, const Request& request) {
    return to << request.name;
}

template <typename Record>
Record named(int id) {
    Record record(id);
    record.setName(longText(id));
    record.setAbrv(longText(id + 1));
    return record;
}

template <typename Record>
std::vector<Record> twoNamed() {
    return {named<Record>(1234567), named<Record>(2345678)};
}

/// All but those without a text, which ask for no memory.
std::vector<Request> requests() {
    const auto service = named<Service>(1234567890);
    const auto line = named<Line>(1);
    const auto station = named<Station>(1);
    return {
        {"AddLine", [=](auto& store) { store.addLine(line); }},
        {"AddVehicle", [](auto& store) { store.addVehicle(Vehicle(1234567890)); }},
        {"AddStation", [=](auto& store) { store.addStation(station); }},
        {"AddService", [=](auto& store) { store.addService(service); }},
        {"DeleteLine", [](auto& store) { store.deleteLine(1234567890); }},
        {"DeleteVehicle", [](auto& store) { store.deleteVehicle(1234567890); }},
        {"DeleteStation", [](auto& store) { store.deleteStation(1234567890); }},
        {"DeleteService", [](auto& store) { store.deleteService(1234567890); }},
        {"SetLines", [](auto& store) { store.setLines(twoNamed<Line>()); }},
        {"SetVehicles", [](auto& store) { store.setVehicles(twoNamed<Vehicle>()); }},
        {"SetStations", [](auto& store) { store.setStations(twoNamed<Station>()); }},
        {"SetServices", [](auto& store) { store.setServices(twoNamed<Service>()); }},
        {"AddServiceStop", [=](auto&) { service.addServiceStop(ServiceStop(1)); }},
        {"DeleteServiceStop", [=](auto&) { service.deleteServiceStop(1234567890); }},
        {"DeleteAllServiceStops", [=](auto&) { service.deleteAllServiceStops(); }},
        {"SetServiceStops", [=](auto&) { service.setServiceStops(std::vector<ServiceStop>(2)); }},
        {"UpdateServiceState", [=](auto&) { service.updateServiceState(Service::CANCELLED); }},
        {"UpdatePlatformInfo", [](auto& store) { store.updatePlatformInfo(longText(3)); }},
        {"UpdateTrainState",
         [](auto& store) {
             int trainId = 1234567890;
             int state = 1234567890;
             store.updateTrainState(trainId, state);
         }},
        {"ActivatePositioningProtocol",
         [](auto& store) { store.activatePositioningProtocol(PP_KELT_CBTC, 1234567890); }},
        {"ProcessPositioningUpdate", [](auto& store) { store.processPositioningUpdate(longText(4)); }},
    };
}

class AllocationFailureInRequest : public ::testing::TestWithParam<std::tuple<Request, Failing>> {};

INSTANTIATE_TEST_SUITE_P(Requests, AllocationFailureInRequest,
                         ::testing::Combine(::testing::ValuesIn(requests()),
                                            ::testing::Values(Failing::ALONE, Failing::WITH_ALL_THAT_FOLLOW)),
                         [](const auto& tested) {
                             return std::get<0>(tested.param).name +
                                    ::testing::PrintToString(std::get<1>(tested.param));
                         });

TEST_P(AllocationFailureInRequest, SendsWholeTextsOrNothing) {
    const auto& [request, failing] = GetParam();
    const long failures = forEveryAllocation([&, &send = request.send, failing = failing](long nth) {
        World world(false);
        world.host.encodedInstead = std::string(2500, 'a');  // three pieces of a positioning update
        send(world.store);
        const std::string whole = world.host.transcript();
        const std::string tables = world.tables();
        world.host.clear();
        const bool failed = failsAt(nth, failing, [&] { send(world.store); });

        const std::string sent = world.host.transcript();
        EXPECT_EQ(sent, whole.substr(0, sent.size())) << "allocation " << nth;
        EXPECT_EQ(sent.size() == whole.size(), !failed) << "allocation " << nth << ":\n" << sent;
        EXPECT_TRUE(world.host.allLocksFree());
        EXPECT_EQ(world.tables(), tables);
        return failed;
    });
    EXPECT_GT(failures, 0);
}

}  // namespace
