// What other binaries count on: the layout of lists, locks, records and store, the slots of the
// virtual operations, the numbers of the enumerations and the signatures of what crosses the border.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <sstream>
#include <tuple>
#include <type_traits>
#include <utility>

#include "FakeHost.h"

namespace {

template <typename One, typename Other>
constexpr bool same() {
    return std::is_same<One, Other>::value;
}

constexpr bool kIs32Bit = sizeof(void*) == 4;

/// Offsets, times and delays as records hold them: 32 bits wide, on the host of the type `unsigned long`.
using Time = std::conditional_t<kIs32Bit, unsigned long, std::uint32_t>;

// --- Members of the classes, reached by explicit instantiation, which may name private ones --------

template <typename Members, auto... Pointers>
struct Reveal {
    friend constexpr auto revealed(Members) { return std::make_tuple(Pointers...); }
};

#define REVEAL(members, ...)          \
    struct members {};                \
    constexpr auto revealed(members); \
    template struct Reveal<members, __VA_ARGS__>

REVEAL(OfNamedId, &NamedId::_id, &NamedId::_name, &NamedId::_abrv);
REVEAL(OfTripStop, &TripStop::_tripId, &TripStop::_platformId, &TripStop::_isStopping, &TripStop::_schArvOffset,
       &TripStop::_schDepOffset);
REVEAL(OfServiceStop, &ServiceStop::_serviceId, &ServiceStop::_tripStopId, &ServiceStop::_serviceStartTime,
       &ServiceStop::_arvDelay, &ServiceStop::_depDelay);
REVEAL(OfTrip, &Trip::_lineId, &Trip::_direction, &Trip::_priority, &Trip::_priorityText, &Trip::_stopsListAsString);
REVEAL(OfService, &Service::_tripId, &Service::_startTime, &Service::_vehicleId, &Service::_followingStopsListAsString,
       &Service::_state, &Service::_stateText, &Service::_serviceStops, &Service::_isLoading,
       &Service::_destinationSationId, &Service::_isLastTrain, &Service::_lineId);
REVEAL(OfVehicle, &Vehicle::_numCars, &Vehicle::_currentLocation, &Vehicle::_direction, &Vehicle::_state,
       &Vehicle::_stateText, &Vehicle::_currentServiceId, &Vehicle::_openingDoors, &Vehicle::_openingDoorsText,
       &Vehicle::_openedDoors, &Vehicle::_openedDoorsText, &Vehicle::_servicesListAsString, &Vehicle::_services);
REVEAL(OfStation, &Station::_isMajor, &Station::_isClosed, &Station::_platformsListAsString);
REVEAL(OfPlatform, &PlatformInfo::_stationId, &PlatformInfo::_location, &PlatformInfo::_state,
       &PlatformInfo::_stateText, &PlatformInfo::_passersListAsString);
REVEAL(OfStore, &PassengerInformationServer::_signallingServerOnline,
       &PassengerInformationServer::_automaticMessageGenerationEnabled, &PassengerInformationServer::_lines,
       &PassengerInformationServer::_vehicles, &PassengerInformationServer::_stations,
       &PassengerInformationServer::_platforms, &PassengerInformationServer::_trips,
       &PassengerInformationServer::_tripStops, &PassengerInformationServer::_services,
       &PassengerInformationServer::_serviceStops, &PassengerInformationServer::pisMtx,
       &PassengerInformationServer::_pisObserverList);

/// Types of members as a tuple: (int, string, string).
template <typename Class, typename... Type>
std::tuple<Type...> typesOf(std::tuple<Type Class::*...>);
template <typename Members>
using TypesOf = decltype(typesOf(revealed(Members())));

/// Where members stand in an object, each as "offset:size".
template <typename Class, typename... Pointer>
std::string placesOf(const Class& object, std::tuple<Pointer...> members) {
    std::ostringstream places;
    const auto add = [&](const auto& member) {
        places << reinterpret_cast<const char*>(&member) - reinterpret_cast<const char*>(&object) << ':'
               << sizeof member << ' ';
    };
    std::apply([&](auto... pointer) { (add(object.*pointer), ...); }, members);
    return places.str();
}

/// The same as it has to be: each member right behind the one before it, as far as its alignment
/// allows, and nothing in front of the first. `end` is the whole object's size.
template <typename Class, typename... Pointer>
std::string placesInOrder(const Class& object, std::tuple<Pointer...> members, std::size_t& end) {
    std::ostringstream places;
    end = 0;
    const auto add = [&](const auto& member) {
        const std::size_t alignment = alignof(std::remove_reference_t<decltype(member)>);
        const std::size_t place = (end + alignment - 1) / alignment * alignment;
        places << place << ':' << sizeof member << ' ';
        end = place + sizeof member;
    };
    std::apply([&](auto... pointer) { (add(object.*pointer), ...); }, members);
    end = (end + alignof(Class) - 1) / alignof(Class) * alignof(Class);
    return places.str();
}

/// Expects the members, those of the base first, in their order and nothing else in the object.
template <typename Class, typename... Members>
void expectNothingButInOrder(const Class& object, Members... members) {
    const auto all = std::tuple_cat(revealed(members)...);
    std::size_t size = 0;
    EXPECT_EQ(placesOf(object, all), placesInOrder(object, all, size));
    EXPECT_EQ(sizeof object, size);
    EXPECT_FALSE(std::is_polymorphic<Class>::value);
}

TEST(RecordLayout, LineIsIdNameAbbreviation) {
    EXPECT_TRUE((same<TypesOf<OfNamedId>, std::tuple<int, std::string, std::string>>()));
    expectNothingButInOrder(NamedId(7), OfNamedId());
}

TEST(RecordLayout, LineIsTheSameTypeAsNamedId) {
    EXPECT_TRUE((same<Line, NamedId>()));
}

TEST(RecordLayout, LocationIsAString) {
    EXPECT_TRUE((same<LocationId, std::string>()));
}

TEST(RecordLayout, TripStopExtendsNamedId) {
    EXPECT_TRUE((same<TypesOf<OfTripStop>, std::tuple<int, int, bool, Time, Time>>()));
    EXPECT_TRUE((std::is_base_of<NamedId, TripStop>::value));
    expectNothingButInOrder(TripStop(7), OfNamedId(), OfTripStop());
}

TEST(RecordLayout, ServiceStopExtendsTripStop) {
    EXPECT_TRUE((same<TypesOf<OfServiceStop>, std::tuple<int, int, Time, Time, Time>>()));
    EXPECT_TRUE((std::is_base_of<TripStop, ServiceStop>::value));
    expectNothingButInOrder(ServiceStop(7), OfNamedId(), OfTripStop(), OfServiceStop());
}

TEST(RecordLayout, TripExtendsNamedId) {
    EXPECT_TRUE((same<TypesOf<OfTrip>, std::tuple<int, Trip::Direction, Trip::Priority, std::string, std::string>>()));
    EXPECT_TRUE((std::is_base_of<NamedId, Trip>::value));
    expectNothingButInOrder(Trip(7), OfNamedId(), OfTrip());
}

TEST(RecordLayout, ServiceExtendsTripAndHasALineOfItsOwn) {
    EXPECT_TRUE((same<TypesOf<OfService>, std::tuple<int, Time, int, std::string, Service::State, std::string,
                                                     std::vector<ServiceStop>, bool, int, bool, int>>()));
    EXPECT_TRUE((std::is_base_of<Trip, Service>::value));
    expectNothingButInOrder(Service(7), OfNamedId(), OfTrip(), OfService());
}

TEST(RecordLayout, VehicleExtendsNamedId) {
    EXPECT_TRUE(
        (same<TypesOf<OfVehicle>,
              std::tuple<int, LocationId, Vehicle::Direction, Vehicle::State, std::string, int, Vehicle::DoorSide,
                         std::string, Vehicle::DoorSide, std::string, std::string, std::vector<Service>>>()));
    EXPECT_TRUE((std::is_base_of<NamedId, Vehicle>::value));
    expectNothingButInOrder(Vehicle(7), OfNamedId(), OfVehicle());
}

TEST(RecordLayout, StationExtendsNamedId) {
    EXPECT_TRUE((same<TypesOf<OfStation>, std::tuple<bool, bool, std::string>>()));
    EXPECT_TRUE((std::is_base_of<NamedId, Station>::value));
    expectNothingButInOrder(Station(7), OfNamedId(), OfStation());
}

TEST(RecordLayout, PlatformExtendsNamedId) {
    EXPECT_TRUE(
        (same<TypesOf<OfPlatform>, std::tuple<int, LocationId, PlatformInfo::State, std::string, std::string>>()));
    EXPECT_TRUE((std::is_base_of<NamedId, PlatformInfo>::value));
    expectNothingButInOrder(PlatformInfo(7), OfNamedId(), OfPlatform());
}

TEST(RecordLayout, SizesOnTheHostAndOnWiderMachines) {
    const std::size_t sizes[] = {sizeof(Line),    sizeof(TripStop), sizeof(ServiceStop), sizeof(Trip),
                                 sizeof(Service), sizeof(Vehicle),  sizeof(Station),     sizeof(PlatformInfo)};
    const std::size_t onTheHost[] = {52, 72, 92, 112, 204, 208, 80, 132};
    const std::size_t onWiderMachines[] = {72, 96, 112, 152, 280, 288, 112, 184};
    for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(sizes[i], (kIs32Bit ? onTheHost : onWiderMachines)[i]) << i;
    EXPECT_EQ(sizeof(PassengerInformationServer), kIs32Bit ? 128U : 256U);
}

// Derived records reach the members of their bases.
class OpenServiceStop : public ServiceStop {
public:
    using NamedId::_abrv;
    using NamedId::_id;
    using NamedId::_name;
    using ServiceStop::_arvDelay;
    using ServiceStop::_depDelay;
    using ServiceStop::_serviceId;
    using ServiceStop::_serviceStartTime;
    using ServiceStop::_tripStopId;
    using ServiceStop::ServiceStop;
    using TripStop::_isStopping;
    using TripStop::_platformId;
    using TripStop::_schArvOffset;
    using TripStop::_schDepOffset;
    using TripStop::_tripId;
};

class OpenTrip : public Trip {
public:
    using Trip::_direction;
    using Trip::_lineId;
    using Trip::_priority;
    using Trip::_priorityText;
    using Trip::_stopsListAsString;
    using Trip::Trip;
};

class OpenService : public Service {
public:
    using Service::_destinationSationId;
    using Service::_followingStopsListAsString;
    using Service::_isLastTrain;
    using Service::_isLoading;
    using Service::_lineId;
    using Service::_serviceStops;
    using Service::_startTime;
    using Service::_state;
    using Service::_stateText;
    using Service::_tripId;
    using Service::_vehicleId;
    using Service::Service;
};

class OpenPlatform : public PlatformInfo {
public:
    using PlatformInfo::_location;
    using PlatformInfo::_passersListAsString;
    using PlatformInfo::_state;
    using PlatformInfo::_stateText;
    using PlatformInfo::_stationId;
    using PlatformInfo::PlatformInfo;
};

/// Asks from within a derived record whether the members of its base can be reached.
template <typename Base>
class Reaches : public Base {
public:
    using Base::Base;
    template <typename Self>
    static auto cars(Self* self) -> decltype((void)self->_numCars, std::true_type());
    template <typename>
    static std::false_type cars(...);
    template <typename Self>
    static auto major(Self* self) -> decltype((void)self->_isMajor, std::true_type());
    template <typename>
    static std::false_type major(...);
    template <typename Self>
    static auto name(Self* self) -> decltype((void)self->_name, std::true_type());
    template <typename>
    static std::false_type name(...);
};

TEST(RecordMembers, AreProtectedButThoseOfVehicleAndStationArePrivate) {
    OpenServiceStop stop(5, 9, 11);
    stop._schDepOffset = 630;
    EXPECT_EQ(stop._id, 5);
    EXPECT_EQ(stop._serviceId, 9);
    EXPECT_EQ(stop.getSchDepOffset(), 630UL);
    EXPECT_EQ(OpenTrip(3)._priorityText, "ALL_STOPS");
    OpenService service(12, 40, 21600);
    service._destinationSationId = 33;
    service._lineId = 2;
    EXPECT_EQ(service._tripId, 40);
    EXPECT_EQ(service.getDestinationStationId(), 33);
    EXPECT_EQ(service.getLineId(), 2);
    EXPECT_EQ(OpenPlatform(6)._stateText, "NO_VEHICLE_SCHEDULED");

    EXPECT_TRUE(decltype(Reaches<Vehicle>::name<Reaches<Vehicle>>(nullptr))::value);
    EXPECT_FALSE(decltype(Reaches<Vehicle>::cars<Reaches<Vehicle>>(nullptr))::value);
    EXPECT_TRUE(decltype(Reaches<Station>::name<Reaches<Station>>(nullptr))::value);
    EXPECT_FALSE(decltype(Reaches<Station>::major<Reaches<Station>>(nullptr))::value);
}

// On the host a derived record hands its members to whatever wants an `unsigned long`.
TEST(RecordMembers, BindToReferencesAndPointersOfTheHostsTypes) {
    struct Open : OpenServiceStop {
        using OpenServiceStop::OpenServiceStop;
        static void set(Time& time) { time = 630; }
        void setAll() {
            set(_schArvOffset), set(_schDepOffset), set(_serviceStartTime), set(_arvDelay), set(_depDelay);
        }
    } stop(5);
    stop.setAll();
    Time OpenServiceStop::*const delay = &OpenServiceStop::_depDelay;
    Time OpenService::*const start = &OpenService::_startTime;
    EXPECT_EQ(stop.*delay, 630U);
    EXPECT_EQ(OpenService(12, 40, 21600).*start, 21600U);
    EXPECT_EQ(sizeof(Time), 4U);

    KEBlist list{};
    unsigned long& elements = list.elements;
    long& dataLen = list.dataLen;
    elements = 2;
    dataLen = 8;
    EXPECT_EQ(list.elements, 2U);
    EXPECT_EQ(list.dataLen, 8);
}

Line lineOfId(int id) {
    return {id};
}

Service serviceOnTrip(int id, int tripId) {
    return {id, tripId, 21600};
}

/// A record for which an id stands: whoever takes a record takes a number as well.
template <typename Record>
int idOfCopy(Record record) {
    return record.getId();
}

TEST(RecordConstructors, ConvertAsTheyAreDeclared) {
    const Line line = 3;
    EXPECT_EQ(line.getId(), 3);
    EXPECT_EQ(lineOfId(5).getId(), 5);
    EXPECT_EQ(serviceOnTrip(12, 40).getTripId(), 40);
    EXPECT_EQ(idOfCopy<NamedId>(3), 3);
    EXPECT_EQ(idOfCopy<TripStop>(3), 3);
    EXPECT_EQ(idOfCopy<TripStop>({3, 4, true, 5, 6}), 3);
    EXPECT_EQ(idOfCopy<ServiceStop>(3), 3);
    EXPECT_EQ(idOfCopy<ServiceStop>({3, 4, 5}), 3);
    EXPECT_EQ(idOfCopy<Trip>(3), 3);
    EXPECT_EQ(idOfCopy<Trip>({3, Trip::DESCENDING, Trip::EXPRESS}), 3);
    EXPECT_EQ(idOfCopy<Service>(3), 3);
    EXPECT_EQ(idOfCopy<Vehicle>(3), 3);
    EXPECT_EQ(idOfCopy<Station>(3), 3);
    EXPECT_EQ(idOfCopy<Station>({3, "Central", true, false}), 3);
    EXPECT_EQ(idOfCopy<PlatformInfo>(3), 3);
    EXPECT_EQ((std::vector<Line>{7, 8}).back().getId(), 8);
    EXPECT_TRUE((std::is_convertible<bool, qxLocalMutex>::value));
}

TEST(RecordMembers, KeepTheTypesOfTheirAccessors) {
    const ServiceStop stop(5);
    EXPECT_TRUE((same<decltype(stop.getId()), int>()));
    EXPECT_TRUE((same<decltype(stop.getName()), std::string>()));
    EXPECT_TRUE((same<decltype(stop.getAbrv()), std::string>()));
    EXPECT_TRUE((same<decltype(stop.getTripId()), int>()));
    EXPECT_TRUE((same<decltype(stop.getPlatformId()), int>()));
    EXPECT_TRUE((same<decltype(stop.isStopping()), bool>()));
    EXPECT_TRUE((same<decltype(stop.getSchArvOffset()), unsigned long>()));
    EXPECT_TRUE((same<decltype(stop.getSchDepOffset()), unsigned long>()));
    EXPECT_TRUE((same<decltype(stop.getServiceStartTime()), unsigned long>()));
    EXPECT_TRUE((same<decltype(stop.getArvDelay()), unsigned long>()));
    EXPECT_TRUE((same<decltype(stop.getDepDelay()), unsigned long>()));
    EXPECT_TRUE((same<decltype(&ServiceStop::setArvDelay), void (ServiceStop::*)(unsigned long)>()));
    EXPECT_TRUE((same<decltype(&TripStop::setSchArvOffset), void (TripStop::*)(unsigned long)>()));
    EXPECT_TRUE((same<decltype(&Service::setStartTime), void (Service::*)(unsigned long)>()));
    EXPECT_TRUE((same<decltype(std::declval<const Service&>().getStartTime()), unsigned long>()));
    EXPECT_TRUE((same<decltype(&Service::setDestinationStationId), void (Service::*)(const int&)>()));
    EXPECT_TRUE((same<decltype(&Service::setLineId), void (Service::*)(const int&)>()));
    EXPECT_TRUE((same<decltype(&Trip::setLineId), void (Trip::*)(int)>()));
    EXPECT_TRUE((same<decltype(&NamedId::setName), void (NamedId::*)(const std::string&)>()));
    EXPECT_TRUE((same<decltype(std::declval<const Vehicle&>().getCurrentLocation()), LocationId>()));
    EXPECT_TRUE((same<decltype(std::declval<const PlatformInfo&>().getLocation()), LocationId>()));
    EXPECT_TRUE((same<decltype(std::declval<Vehicle&>().getCurrentService()), Service>()));
    EXPECT_TRUE((same<decltype(std::declval<Vehicle&>().getServices()), std::vector<Service>>()));
    EXPECT_TRUE((same<decltype(std::declval<Service&>().getServiceStops()), std::vector<ServiceStop>>()));
    EXPECT_TRUE((same<decltype(std::declval<Station&>().getListOfPlatforms()), std::vector<PlatformInfo>>()));
    EXPECT_TRUE((same<decltype(std::declval<Station&>().getPlatform(1)), PlatformInfo>()));
    EXPECT_TRUE((same<decltype(std::declval<PlatformInfo&>().getPassers()), std::vector<ServiceStop>>()));
}

TEST(StoreLayout, HoldsFlagsTablesLockAndObserversInThisOrder) {
    const FakeHost host;
    expectNothingButInOrder(gPassengerInformationServer, OfStore());
}

TEST(StoreLayout, HoldsRecordsByValueAndObserversByPointer) {
    using Types = TypesOf<OfStore>;
    EXPECT_TRUE((same<std::tuple_element_t<2, Types>, std::vector<Line>>()));
    EXPECT_TRUE((same<std::tuple_element_t<3, Types>, std::vector<Vehicle>>()));
    EXPECT_TRUE((same<std::tuple_element_t<4, Types>, std::vector<Station>>()));
    EXPECT_TRUE((same<std::tuple_element_t<5, Types>, std::vector<PlatformInfo>>()));
    EXPECT_TRUE((same<std::tuple_element_t<6, Types>, std::vector<Trip>>()));
    EXPECT_TRUE((same<std::tuple_element_t<7, Types>, std::vector<TripStop>>()));
    EXPECT_TRUE((same<std::tuple_element_t<8, Types>, std::vector<Service>>()));
    EXPECT_TRUE((same<std::tuple_element_t<9, Types>, std::vector<ServiceStop>>()));
    EXPECT_TRUE((same<std::tuple_element_t<10, Types>, qxLocalMutex>()));
    EXPECT_TRUE((same<std::tuple_element_t<11, Types>, std::vector<PassengerInformationObserver*>>()));
}

TEST(StoreLayout, FlagsAreSingleBytesThatNeedNoLock) {
    using Types = TypesOf<OfStore>;
    EXPECT_EQ(sizeof(std::tuple_element_t<0, Types>), 1U);
    EXPECT_EQ(sizeof(std::tuple_element_t<1, Types>), 1U);
    EXPECT_TRUE((std::tuple_element_t<0, Types>::is_always_lock_free));
    EXPECT_TRUE((std::tuple_element_t<1, Types>::is_always_lock_free));
    EXPECT_TRUE((same<std::tuple_element_t<0, Types>::value_type, bool>()));
    EXPECT_TRUE((same<std::tuple_element_t<1, Types>::value_type, bool>()));
}

TEST(StoreLayout, ClientOperationsHaveTheirSignatures) {
    using Store = PassengerInformationServer;
    EXPECT_TRUE((same<decltype(&Store::updatePassengerInformation), void (Store::*)(int, int, int, KEBlist*)>()));
    EXPECT_TRUE((same<decltype(&Store::deletePassengerInformation), void (Store::*)(int, int)>()));
    EXPECT_TRUE((same<decltype(&Store::registerObserver), void (Store::*)(PassengerInformationObserver*)>()));
    EXPECT_TRUE((same<decltype(&Store::addLine), void (Store::*)(const Line&)>()));
    EXPECT_TRUE((same<decltype(&Store::addVehicle), void (Store::*)(const Vehicle&)>()));
    EXPECT_TRUE((same<decltype(&Store::addStation), void (Store::*)(const Station&)>()));
    EXPECT_TRUE((same<decltype(&Store::addService), void (Store::*)(const Service&)>()));
    EXPECT_TRUE((same<decltype(&Store::deleteLine), void (Store::*)(int)>()));
    EXPECT_TRUE((same<decltype(&Store::deleteVehicle), void (Store::*)(int)>()));
    EXPECT_TRUE((same<decltype(&Store::deleteStation), void (Store::*)(int)>()));
    EXPECT_TRUE((same<decltype(&Store::deleteService), void (Store::*)(int)>()));
    EXPECT_TRUE((same<decltype(&Store::setLines), void (Store::*)(const std::vector<Line>&)>()));
    EXPECT_TRUE((same<decltype(&Store::setVehicles), void (Store::*)(const std::vector<Vehicle>&)>()));
    EXPECT_TRUE((same<decltype(&Store::setStations), void (Store::*)(const std::vector<Station>&)>()));
    EXPECT_TRUE((same<decltype(&Store::setServices), void (Store::*)(const std::vector<Service>&)>()));
    EXPECT_TRUE((same<decltype(&Store::updatePlatformInfo), void (Store::*)(const std::string&)>()));
    EXPECT_TRUE((same<decltype(&Store::updateTrainState), void (Store::*)(int&, int&)>()));
    EXPECT_TRUE((same<decltype(&Store::enableAutomaticMessageGeneration), void (Store::*)()>()));
    EXPECT_TRUE((same<decltype(&Store::disableAutomaticMessageGeneration), void (Store::*)()>()));
    EXPECT_TRUE(
        (same<decltype(&Store::setLocationRetrievalMethod), void (Store::*)(Store::LocationRetrievalMethod)>()));
    EXPECT_TRUE((same<decltype(&Store::activatePositioningProtocol), void (Store::*)(PositioningProtocol, int)>()));
    EXPECT_TRUE((same<decltype(&Store::processPositioningUpdate), void (Store::*)(const std::string&)>()));
    EXPECT_TRUE((same<decltype(std::declval<Store&>().getServerStatus()), bool>()));
    EXPECT_TRUE((same<decltype(std::declval<Store&>().isAutomaticMessageGenerationEnabled()), bool>()));
    EXPECT_TRUE(
        (same<decltype(std::declval<Store&>().getLocationRetrievalMethod()), Store::LocationRetrievalMethod>()));
    EXPECT_TRUE((same<decltype(std::declval<Store&>().getLines()), std::vector<Line>>()));
    EXPECT_TRUE((same<decltype(std::declval<Store&>().getVehicles()), std::vector<Vehicle>>()));
    EXPECT_TRUE((same<decltype(std::declval<Store&>().getStations()), std::vector<Station>>()));
    EXPECT_TRUE((same<decltype(std::declval<Store&>().getPlatforms()), std::vector<PlatformInfo>>()));
    EXPECT_TRUE((same<decltype(std::declval<Store&>().getTrips()), std::vector<Trip>>()));
    EXPECT_TRUE((same<decltype(std::declval<Store&>().getTripStops()), std::vector<TripStop>>()));
    EXPECT_TRUE((same<decltype(std::declval<Store&>().getServices()), std::vector<Service>>()));
}

// --- Virtual operations ---------------------------------------------------------------------------

/// Slot of a virtual operation, counted from 0; -1 for an operation that is not virtual. In the
/// Itanium ABI the first word of a pointer to a virtual operation is its offset in the table plus 1.
template <typename Operation>
std::ptrdiff_t slotOf(Operation operation) {
    std::ptrdiff_t word = 0;
    static_assert(sizeof operation == 2 * sizeof word, "two words, as in the Itanium ABI");
    std::memcpy(&word, &operation, sizeof word);
    return word % 2 == 1 ? (word - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)) : -1;
}

// A virtual operation that is added by a derived class stands behind all of its base's, the
// destructor's two included.
class FurtherMutex : public qxMutexBase {
public:
    virtual void further() = 0;
};

class FurtherObserver : public PassengerInformationObserver {
public:
    virtual void further() = 0;
};

TEST(MutexInterface, HasItsOperationsInTheirSlots) {
    EXPECT_EQ(slotOf(&qxMutexBase::enter), 0);
    EXPECT_EQ(slotOf(&qxMutexBase::leave), 1);
    EXPECT_EQ(slotOf(&qxMutexBase::init), 2);
    EXPECT_EQ(slotOf(&qxMutexBase::assertLocked), 3);
    EXPECT_TRUE(std::has_virtual_destructor<qxMutexBase>::value);
    EXPECT_EQ(slotOf(&FurtherMutex::further), 6);  // the destructor has slots 4 and 5
}

TEST(MutexInterface, HasItsSignatures) {
    EXPECT_TRUE((same<decltype(&qxMutexBase::enter), void (qxMutexBase::*)()>()));
    EXPECT_TRUE((same<decltype(&qxMutexBase::leave), void (qxMutexBase::*)()>()));
    EXPECT_TRUE((same<decltype(&qxMutexBase::init), int (qxMutexBase::*)()>()));
    EXPECT_TRUE((same<decltype(&qxMutexBase::assertLocked), void (qxMutexBase::*)(const char*)>()));
}

TEST(MutexInterface, HoldsNothingButItsTable) {
    EXPECT_EQ(sizeof(qxMutexBase), sizeof(void*));
    EXPECT_TRUE(std::is_abstract<qxMutexBase>::value);
}

TEST(MutexInterface, AssertionDoesNothingByItself) {
    FakeHost host;
    class Plain : public qxMutexBase {
        void enter() override {}
        void leave() override {}
        int init() override { return 1; }
    } plain;
    qxMutexBase& mutex = plain;
    mutex.assertLocked("place");
    mutex.assertLocked(nullptr);
    EXPECT_EQ(host.transcript(), "");
}

TEST(LocalMutex, OverridesAllButTheAssertion) {
    EXPECT_TRUE((same<decltype(&qxLocalMutex::enter), void (qxLocalMutex::*)()>()));
    EXPECT_TRUE((same<decltype(&qxLocalMutex::leave), void (qxLocalMutex::*)()>()));
    EXPECT_TRUE((same<decltype(&qxLocalMutex::init), int (qxLocalMutex::*)()>()));
    EXPECT_TRUE((same<decltype(&qxLocalMutex::assertLocked), void (qxMutexBase::*)(const char*)>()));
    EXPECT_TRUE((std::is_base_of<qxMutexBase, qxLocalMutex>::value));
}

TEST(LocalMutex, AddsNoOperation) {
    class Further : public qxLocalMutex {
    public:
        using qxLocalMutex::qxLocalMutex;
        virtual void further() {}
    };
    EXPECT_EQ(slotOf(&Further::further), 6);
}

TEST(LocalMutex, HoldsTwoClearedWordsAndTheFlag) {
    struct Expected {
        void* table;
        void* words[2];
        bool flag;
    };
    EXPECT_EQ(sizeof(qxLocalMutex), sizeof(Expected));
    EXPECT_EQ(sizeof(qxLocalMutex), 4 * sizeof(void*));
    for (const bool flag : {true, false}) {
        alignas(qxLocalMutex) unsigned char memory[sizeof(qxLocalMutex)];
        std::memset(memory, 0xff, sizeof memory);
        auto* mutex = new (memory) qxLocalMutex(flag);
        Expected seen;
        std::memcpy(&seen, memory, sizeof seen);
        EXPECT_NE(seen.table, nullptr);
        EXPECT_EQ(seen.words[0], nullptr);
        EXPECT_EQ(seen.words[1], nullptr);
        EXPECT_EQ(seen.flag, flag);
        mutex->~qxLocalMutex();
    }
}

TEST(ObserverInterface, HasItsOperationsInTheirSlots) {
    using Observer = PassengerInformationObserver;
    EXPECT_EQ(slotOf(&Observer::onServerStatusUpdated), 0);
    EXPECT_EQ(slotOf(&Observer::onLineUpdated), 1);
    EXPECT_EQ(slotOf(&Observer::onLineRemoved), 2);
    EXPECT_EQ(slotOf(&Observer::onVehicleUpdated), 3);
    EXPECT_EQ(slotOf(&Observer::onVehicleRemoved), 4);
    EXPECT_EQ(slotOf(&Observer::onStationUpdated), 5);
    EXPECT_EQ(slotOf(&Observer::onStationRemoved), 6);
    EXPECT_EQ(slotOf(&Observer::onPlatformInfoUpdated), 7);
    EXPECT_EQ(slotOf(&Observer::onPlatformInfoRemoved), 8);
    EXPECT_EQ(slotOf(&Observer::onServiceUpdated), 9);
    EXPECT_EQ(slotOf(&Observer::onServiceRemoved), 10);
    EXPECT_EQ(slotOf(&Observer::onTripUpdated), 11);
    EXPECT_EQ(slotOf(&Observer::onTripRemoved), 12);
    EXPECT_TRUE(std::has_virtual_destructor<Observer>::value);
    EXPECT_EQ(slotOf(&FurtherObserver::further), 15);  // the destructor has slots 13 and 14
}

TEST(ObserverInterface, TakesEveryRecordByValue) {
    using Observer = PassengerInformationObserver;
    EXPECT_TRUE((same<decltype(&Observer::onServerStatusUpdated), void (Observer::*)(bool)>()));
    EXPECT_TRUE((same<decltype(&Observer::onLineUpdated), void (Observer::*)(Line)>()));
    EXPECT_TRUE((same<decltype(&Observer::onLineRemoved), void (Observer::*)(Line)>()));
    EXPECT_TRUE((same<decltype(&Observer::onVehicleUpdated), void (Observer::*)(Vehicle)>()));
    EXPECT_TRUE((same<decltype(&Observer::onVehicleRemoved), void (Observer::*)(Vehicle)>()));
    EXPECT_TRUE((same<decltype(&Observer::onStationUpdated), void (Observer::*)(Station)>()));
    EXPECT_TRUE((same<decltype(&Observer::onStationRemoved), void (Observer::*)(Station)>()));
    EXPECT_TRUE((same<decltype(&Observer::onPlatformInfoUpdated), void (Observer::*)(PlatformInfo)>()));
    EXPECT_TRUE((same<decltype(&Observer::onPlatformInfoRemoved), void (Observer::*)(PlatformInfo)>()));
    EXPECT_TRUE((same<decltype(&Observer::onServiceUpdated), void (Observer::*)(Service)>()));
    EXPECT_TRUE((same<decltype(&Observer::onServiceRemoved), void (Observer::*)(Service)>()));
    EXPECT_TRUE((same<decltype(&Observer::onTripUpdated), void (Observer::*)(Trip)>()));
    EXPECT_TRUE((same<decltype(&Observer::onTripRemoved), void (Observer::*)(Trip)>()));
}

TEST(ObserverInterface, IsAbstractAndHoldsNothingButItsTable) {
    EXPECT_TRUE(std::is_abstract<PassengerInformationObserver>::value);
    EXPECT_EQ(sizeof(PassengerInformationObserver), sizeof(void*));
}

// --- Lists and nodes ------------------------------------------------------------------------------

REVEAL(OfList, &KEBlist::listTop, &KEBlist::listBot, &KEBlist::elements, &KEBlist::sortFunction,
       &KEBlist::defaultDeleteNodeFn, &KEBlist::dataLen, &KEBlist::bufId, &KEBlist::duplicates,
       &KEBlist::defaultAddNodePos, &KEBlist::magic);
REVEAL(OfNode, &KEBnode::ourList, &KEBnode::nextNode, &KEBnode::prevNode, &KEBnode::dataPtr);

TEST(FieldListLayout, ListHasItsMembersInOrder) {
    EXPECT_TRUE((same<TypesOf<OfList>, std::tuple<KEBnode*, KEBnode*, unsigned long, int (*)(const void*, const void*),
                                                  void (*)(void*), long, char, char, char, char>>()));
    expectNothingButInOrder(KEBlist(), OfList());
}

TEST(FieldListLayout, NodeHasItsMembersInOrder) {
    EXPECT_TRUE((same<TypesOf<OfNode>, std::tuple<KEBlist*, KEBnode*, KEBnode*, void*>>()));
    expectNothingButInOrder(KEBnode(), OfNode());
}

TEST(FieldListLayout, IsThatOfTheHost) {
    EXPECT_EQ(placesOf(KEBlist(), revealed(OfList())), kIs32Bit ? "0:4 4:4 8:4 12:4 16:4 20:4 24:1 25:1 26:1 27:1 "
                                                                : "0:8 8:8 16:8 24:8 32:8 40:8 48:1 49:1 50:1 51:1 ");
    EXPECT_EQ(sizeof(KEBlist), kIs32Bit ? 28U : 56U);
    EXPECT_EQ(placesOf(KEBnode(), revealed(OfNode())), kIs32Bit ? "0:4 4:4 8:4 12:4 " : "0:8 8:8 16:8 24:8 ");
    EXPECT_EQ(sizeof(KEBnode), kIs32Bit ? 16U : 32U);
}

// --- Enumerations ---------------------------------------------------------------------------------

template <typename Enumeration>
constexpr bool isOfTypeInt() {
    return same<std::underlying_type_t<Enumeration>, int>();
}

TEST(Enumerations, HaveTheUnderlyingTypeInt) {
    EXPECT_TRUE(isOfTypeInt<Trip::Direction>());
    EXPECT_TRUE(isOfTypeInt<Trip::Priority>());
    EXPECT_TRUE(isOfTypeInt<Service::State>());
    EXPECT_TRUE(isOfTypeInt<Vehicle::Direction>());
    EXPECT_TRUE(isOfTypeInt<Vehicle::State>());
    EXPECT_TRUE(isOfTypeInt<Vehicle::DoorSide>());
    EXPECT_TRUE(isOfTypeInt<PlatformInfo::State>());
    EXPECT_TRUE(isOfTypeInt<PassengerInformationServer::LocationRetrievalMethod>());
    EXPECT_TRUE(isOfTypeInt<PositioningProtocol>());
    EXPECT_TRUE(isOfTypeInt<EventItem::EVENT_TYPE>());
}

TEST(Enumerations, OfTrips) {
    EXPECT_EQ(static_cast<int>(Trip::DESCENDING), 0);
    EXPECT_EQ(static_cast<int>(Trip::ASCENDING), 1);
    EXPECT_EQ(static_cast<int>(Trip::ALL_STOPS), 0);
    EXPECT_EQ(static_cast<int>(Trip::LIMITED_STOPS), 1);
    EXPECT_EQ(static_cast<int>(Trip::EXPRESS), 2);
}

TEST(Enumerations, OfServices) {
    EXPECT_EQ(static_cast<int>(Service::NOT_STARTED), 0);
    EXPECT_EQ(static_cast<int>(Service::RUNNING), 1);
    EXPECT_EQ(static_cast<int>(Service::APPROACHING_STATION), 2);
    EXPECT_EQ(static_cast<int>(Service::IN_STATION), 3);
    EXPECT_EQ(static_cast<int>(Service::BOARDING), 4);
    EXPECT_EQ(static_cast<int>(Service::DEPARTING_STATION), 5);
    EXPECT_EQ(static_cast<int>(Service::DEPARTED_STATION), 6);
    EXPECT_EQ(static_cast<int>(Service::TERMINATED), 7);
    EXPECT_EQ(static_cast<int>(Service::CANCELLED), 8);
}

TEST(Enumerations, OfVehicles) {
    EXPECT_EQ(static_cast<int>(Vehicle::DESCENDING), 0);
    EXPECT_EQ(static_cast<int>(Vehicle::ASCENDING), 1);
    EXPECT_EQ(static_cast<int>(Vehicle::OUT_OF_SERVICE), 0);
    EXPECT_EQ(static_cast<int>(Vehicle::IN_SERVICE), 1);
    EXPECT_EQ(static_cast<int>(Vehicle::SWITCHING_SERVICE), 2);
    EXPECT_EQ(static_cast<int>(Vehicle::NONE), 0);
    EXPECT_EQ(static_cast<int>(Vehicle::SIDE_1), 1);
    EXPECT_EQ(static_cast<int>(Vehicle::SIDE_2), 2);
    EXPECT_EQ(static_cast<int>(Vehicle::BOTH), 3);
}

TEST(Enumerations, OfPlatforms) {
    EXPECT_EQ(static_cast<int>(PlatformInfo::NO_VEHICLE_SCHEDULED), 0);
    EXPECT_EQ(static_cast<int>(PlatformInfo::VEHICLE_APPROACHING), 1);
    EXPECT_EQ(static_cast<int>(PlatformInfo::VEHICLE_ON_PLATFORM), 2);
    EXPECT_EQ(static_cast<int>(PlatformInfo::VEHICLE_DOES_NOT_STOP), 3);
    EXPECT_EQ(static_cast<int>(PlatformInfo::VEHICLE_TERMINATED), 4);
    EXPECT_EQ(static_cast<int>(PlatformInfo::VEHICLE_BOARDING), 5);
    EXPECT_EQ(static_cast<int>(PlatformInfo::VEHICLE_DEPARTING), 6);
    EXPECT_EQ(static_cast<int>(PlatformInfo::VEHICLE_DEPARTED), 7);
}

TEST(Enumerations, OfTheStore) {
    EXPECT_EQ(static_cast<int>(PassengerInformationServer::SIGNALLING), 0);
    EXPECT_EQ(static_cast<int>(PassengerInformationServer::API_TC), 1);
    EXPECT_EQ(static_cast<int>(PassengerInformationServer::API_PLAT), 2);
    EXPECT_EQ(static_cast<int>(PassengerInformationServer::API_GPS), 3);
}

TEST(Enumerations, OfPositioningStandFree) {
    EXPECT_EQ(static_cast<int>(::PP_NONE), 0);
    EXPECT_EQ(static_cast<int>(::PP_KELT_CBTC), 1);
}

// --- Functions of the host ------------------------------------------------------------------------

TEST(HostFunctions, HaveTheirSignatures) {
    EXPECT_TRUE((same<decltype(&addNewEventItem), void (*)(EventItem::EVENT_TYPE, int, void*)>()));
    EXPECT_TRUE((same<decltype(&QXReceiver::addOperationToSendQueue),
                      void (QXReceiver::*)(int, int, int, int, const std::string&)>()));
    EXPECT_TRUE((same<decltype(gQXReceiver), QXReceiver>()));
    EXPECT_TRUE((same<decltype(&debug), void (*)(int, const char*, ...)>()));
    EXPECT_TRUE((same<decltype(debugLevel), long>()));
    EXPECT_TRUE((same<decltype(&handleError), void (*)(int, const char*, ...)>()));
    EXPECT_TRUE((same<decltype(&prepareElemStringFieldForSvr), void (*)(std::string&)>()));
    EXPECT_TRUE((same<decltype(&base64_encode), std::string (*)(const unsigned char*, unsigned int)>()));
}

}  // namespace
