// Trips and services: what their constructors set, what a copy carries, and the requests that a
// service makes of the signalling server.
#include <climits>

#include "BuiltOverOnes.h"
#include "StoreTest.h"

namespace {

/// A service whose stops a test may fill.
class ServiceWithStops : public Service {
public:
    using Service::_serviceStops;
    using Service::Service;
};

ServiceWithStops fullService() {
    ServiceWithStops service(12);
    service.setName("Early");
    service.setAbrv("E");
    service.setTripId(40);
    service.setStartTime(21600);
    service.setVehicleId(9);
    service.setFollowingStopsListAsString("71!72");
    service.setState(Service::BOARDING);
    service.setStateText("boarding");
    service.setIsLoading(true);
    service.setDestinationStationId(33);
    service.setIsLastTrain(true);
    service.setLineId(2);
    service.Trip::setLineId(3);
    service.setDirection(Trip::DESCENDING);
    service.setPriority(Trip::EXPRESS);
    service.setPriorityText("fast");
    service.setStopsListAsString("70!71!72");
    service._serviceStops = {ServiceStop(70, 12, 1), ServiceStop(71, 12, 2)};
    return service;
}

const char* const kFullService =
    R"(service 12 "Early" "E" trip=40 start=21600 vehicle=9 following="71!72" state=4 stateText="boarding")"
    R"( loading=1 destination=33 last=1 line=2 lineOfTripPart=3 serviceStops=2)"
    R"( direction=0 priority=2 priorityText="fast" stops="70!71!72")";

TEST(TripRecord, FromAnIdHasItsDefaults) {
    EXPECT_EQ(builtOverOnes<Trip>(3),
              R"(trip 3 "Unknown Trip" "" line=0 direction=1 priority=0 priorityText="ALL_STOPS" stops="")");
}

TEST(TripRecord, WithoutAnArgumentIsAsFromIdZero) {
    EXPECT_EQ(builtOverOnes<Trip>(),
              R"(trip 0 "Unknown Trip" "" line=0 direction=1 priority=0 priorityText="ALL_STOPS" stops="")");
}

TEST(TripRecord, FromDirectionAndPriorityHasAnEmptyPriorityText) {
    EXPECT_EQ(builtOverOnes<Trip>(3, Trip::DESCENDING, Trip::EXPRESS),
              R"(trip 3 "Unknown Trip" "" line=0 direction=0 priority=2 priorityText="" stops="")");
    EXPECT_EQ(describe(Trip(3, Trip::ASCENDING, Trip::ALL_STOPS)),
              R"(trip 3 "Unknown Trip" "" line=0 direction=1 priority=0 priorityText="" stops="")");
}

TEST(TripRecord, EachSetterReachesItsMember) {
    Trip trip(3);
    trip.setName("Down express");
    trip.setAbrv("DX");
    trip.setLineId(-2);
    trip.setDirection(Trip::DESCENDING);
    trip.setPriority(Trip::LIMITED_STOPS);
    trip.setPriorityText("limited");
    trip.setStopsListAsString("70!71");
    EXPECT_EQ(describe(trip),
              R"(trip 3 "Down express" "DX" line=-2 direction=0 priority=1 priorityText="limited" stops="70!71")");
}

TEST(TripRecord, PriorityAndItsTextAreIndependent) {
    Trip trip(3);
    trip.setPriority(Trip::EXPRESS);
    EXPECT_EQ(trip.getPriorityText(), "ALL_STOPS");
    trip.setPriorityText("LIMITED_STOPS");
    EXPECT_EQ(trip.getPriority(), Trip::EXPRESS);
}

TEST(TripRecord, KeepsCodesWithoutAnEnumerator) {
    Trip trip(3, static_cast<Trip::Direction>(7), static_cast<Trip::Priority>(-1));
    EXPECT_EQ(static_cast<int>(trip.getDirection()), 7);
    EXPECT_EQ(static_cast<int>(trip.getPriority()), -1);
}

TEST(TripRecord, KeepsItsListAsItCame) {
    Trip trip(3);
    trip.setStopsListAsString(" 70!!\"x\" ");
    EXPECT_EQ(trip.getStopsListAsString(), " 70!!\"x\" ");
}

TEST(TripRecord, SetStopsDoesNothing) {
    Trip trip(3);
    trip.setStopsListAsString("70!71");
    const std::string before = describe(trip);
    trip.setStops({1, 2, 3});
    EXPECT_EQ(describe(trip), before);
}

TEST(TripRecord, CopyAndAssignmentCarryEverything) {
    Trip trip(3, Trip::DESCENDING, Trip::EXPRESS);
    trip.setName("Down express");
    trip.setAbrv("DX");
    trip.setLineId(2);
    trip.setPriorityText("fast");
    trip.setStopsListAsString("70!71");
    const std::string expected = describe(trip);
    const Trip copy(trip);
    Trip assigned(4);
    EXPECT_EQ(&(assigned = trip), &assigned);
    trip.setStopsListAsString("changed later");
    EXPECT_EQ(describe(copy), expected);
    EXPECT_EQ(describe(assigned), expected);
}

TEST(ServiceRecord, FromAnIdHasItsDefaultsAndThoseOfATrip) {
    EXPECT_EQ(builtOverOnes<Service>(5),
              R"(service 5 "Unknown Service" "" trip=0 start=0 vehicle=0 following="" state=0)"
              R"( stateText="NOT_STARTED" loading=0 destination=0 last=0 line=0 lineOfTripPart=0 serviceStops=0)"
              R"( direction=1 priority=0 priorityText="ALL_STOPS" stops="")");
}

TEST(ServiceRecord, WithoutAnArgumentIsAsFromIdZero) {
    EXPECT_EQ(builtOverOnes<Service>(),
              R"(service 0 "Unknown Service" "" trip=0 start=0 vehicle=0 following="" state=0)"
              R"( stateText="NOT_STARTED" loading=0 destination=0 last=0 line=0 lineOfTripPart=0 serviceStops=0)"
              R"( direction=1 priority=0 priorityText="ALL_STOPS" stops="")");
}

TEST(ServiceRecord, TakesTripAndStartTime) {
    EXPECT_EQ(builtOverOnes<Service>(5, 40, 21600L),
              R"(service 5 "Unknown Service" "" trip=40 start=21600 vehicle=0 following="" state=0)"
              R"( stateText="NOT_STARTED" loading=0 destination=0 last=0 line=0 lineOfTripPart=0 serviceStops=0)"
              R"( direction=1 priority=0 priorityText="ALL_STOPS" stops="")");
}

TEST(ServiceRecord, KeepsANegativeStartTimeAsUnsigned) {
    EXPECT_EQ(Service(5, 40, -1L).getStartTime(), 4294967295UL);
}

TEST(ServiceRecord, KeepsThirtyTwoBitsOfItsStartTime) {
    Service service(5);
    service.setStartTime(static_cast<unsigned long>(0x100000007ULL));
    EXPECT_EQ(service.getStartTime(), 7UL);
}

TEST(ServiceRecord, EachSetterReachesItsMember) {
    EXPECT_EQ(describe(fullService()), kFullService);
}

TEST(ServiceRecord, OwnLineHidesThatOfItsTripPart) {
    Service service(5);
    service.setLineId(9);
    EXPECT_EQ(service.getLineId(), 9);
    EXPECT_EQ(service.Trip::getLineId(), 0);
    service.Trip::setLineId(4);
    EXPECT_EQ(service.getLineId(), 9);
    const Trip& tripPart = service;
    EXPECT_EQ(tripPart.getLineId(), 4);
}

TEST(ServiceRecord, StateAndItsTextAreIndependent) {
    Service service(5);
    service.setState(Service::RUNNING);
    EXPECT_EQ(service.getStateText(), "NOT_STARTED");
    service.setStateText("CANCELLED");
    EXPECT_EQ(service.getState(), Service::RUNNING);
}

TEST(ServiceRecord, AnyStateMayFollowAnyOther) {
    Service service(5);
    for (const int state : {8, 0, 7, 1, 6, 2, 5, 3, 4, 42, -1}) {
        service.setState(static_cast<Service::State>(state));
        EXPECT_EQ(static_cast<int>(service.getState()), state);
    }
}

TEST(ServiceRecord, HandsOutACopyOfItsStops) {
    const ServiceWithStops service = fullService();
    std::vector<ServiceStop> stops = service.getServiceStops();
    EXPECT_EQ(describe(stops),
              "serviceStop 70 \"\" \"\" trip=0 platform=0 stopping=0 arv=0 dep=0"
              " service=12 tripStop=1 start=0 arvDelay=0 depDelay=0\n"
              "serviceStop 71 \"\" \"\" trip=0 platform=0 stopping=0 arv=0 dep=0"
              " service=12 tripStop=2 start=0 arvDelay=0 depDelay=0\n");
    stops.clear();
    EXPECT_EQ(service.getServiceStops().size(), 2U);
}

TEST(ServiceRecord, CopyAndAssignmentCarryEverything) {
    ServiceWithStops service = fullService();
    const std::string stops = describe(service.getServiceStops());
    const Service copy(service);
    Service assigned(13);
    EXPECT_EQ(&(assigned = service), &assigned);
    service.setStateText("changed later");
    service._serviceStops.clear();
    EXPECT_EQ(describe(copy), kFullService);
    EXPECT_EQ(describe(copy.getServiceStops()), stops);
    EXPECT_EQ(describe(assigned), kFullService);
    EXPECT_EQ(describe(assigned.getServiceStops()), stops);
}

class ServiceRequests : public StoreTest {
protected:
    ServiceWithStops service = fullService();
};

TEST_F(ServiceRequests, AddingAStopNamesServiceAndTrip) {
    EXPECT_EQ(host.during([&] { service.addServiceStop(ServiceStop(99)); }), "operation 62 12,40\n");
}

TEST_F(ServiceRequests, AddingAStopDoesNotReadTheStop) {
    ServiceStop stop(99, 77, 88);
    stop.setTripId(66);
    EXPECT_EQ(host.during([&] { service.addServiceStop(stop); }), "operation 62 12,40\n");
}

TEST_F(ServiceRequests, DeletingAStopNamesServiceAndStop) {
    EXPECT_EQ(host.during([&] { service.deleteServiceStop(7); }), "operation 63 12,7\n");
    EXPECT_EQ(host.during([&] { service.deleteServiceStop(1); }), "operation 63 12,1\n");
    EXPECT_EQ(host.during([&] { service.deleteServiceStop(INT_MAX); }), "operation 63 12,2147483647\n");
}

TEST_F(ServiceRequests, DeletingAStopBelowOneNamesAllStops) {
    for (const int stopId : {0, -1, -5, INT_MIN}) {
        EXPECT_EQ(host.during([&] { service.deleteServiceStop(stopId); }), "operation 63 12,*\n");
    }
}

TEST_F(ServiceRequests, DeletingAllStops) {
    EXPECT_EQ(host.during([&] { service.deleteAllServiceStops(); }), "operation 63 12,*\n");
}

TEST_F(ServiceRequests, SettingStopsDeletesAllThenAddsOnceForEach) {
    const std::vector<ServiceStop> stops = {ServiceStop(70, 1, 1), ServiceStop(71, 2, 2), ServiceStop(72, 3, 3)};
    EXPECT_EQ(host.during([&] { service.setServiceStops(stops); }),
              "operation 63 12,*\n"
              "operation 62 12,40\n"
              "operation 62 12,40\n"
              "operation 62 12,40\n");
}

TEST_F(ServiceRequests, SettingNoStopsSendsTheDeletionAlone) {
    EXPECT_EQ(host.during([&] { service.setServiceStops({}); }), "operation 63 12,*\n");
}

TEST_F(ServiceRequests, StateGoesOutAsItsNumber) {
    const char* const expected[] = {"12,0", "12,1", "12,2", "12,3", "12,4", "12,5", "12,6", "12,7", "12,8"};
    for (int state = Service::NOT_STARTED; state <= Service::CANCELLED; ++state) {
        EXPECT_EQ(host.during([&] { service.updateServiceState(static_cast<Service::State>(state)); }),
                  std::string("operation 65 ") + expected[state] + "\n");
    }
    EXPECT_EQ(host.during([&] { service.updateServiceState(static_cast<Service::State>(-42)); }),
              "operation 65 12,-42\n");
}

TEST_F(ServiceRequests, RequestingAStateLeavesTheStateAsItIs) {
    service.updateServiceState(Service::CANCELLED);
    EXPECT_EQ(service.getState(), Service::BOARDING);
    EXPECT_EQ(service.getStateText(), "boarding");
}

TEST_F(ServiceRequests, NegativeNumbersHaveALeadingMinus) {
    const Service negative(-12, -40, 0);
    EXPECT_EQ(host.during([&] {
        Service request(negative);
        request.addServiceStop(ServiceStop(1));
        request.deleteServiceStop(7);
        request.updateServiceState(Service::BOARDING);
    }),
              "operation 62 -12,-40\n"
              "operation 63 -12,7\n"
              "operation 65 -12,4\n");
}

TEST_F(ServiceRequests, ChangeNeitherTheServiceNorTheStore) {
    update(8, 12, "40", "21600", "9", "70!71", "1", "33", "0", "2");
    const std::string stored = describe(store);
    service.addServiceStop(ServiceStop(99));
    service.deleteServiceStop(70);
    service.deleteAllServiceStops();
    service.setServiceStops({ServiceStop(99)});
    service.updateServiceState(Service::TERMINATED);
    EXPECT_EQ(describe(service), kFullService);
    EXPECT_EQ(describe(store), stored);
}

TEST_F(ServiceRequests, GoOutWhileTheLockIsTaken) {
    lockOf(store).enter();
    EXPECT_EQ(host.during([&] {
        service.addServiceStop(ServiceStop(1));
        service.setServiceStops({});
        service.updateServiceState(Service::RUNNING);
    }),
              "operation 62 12,40\n"
              "operation 63 12,*\n"
              "operation 65 12,1\n");
    lockOf(store).leave();
}

}  // namespace
