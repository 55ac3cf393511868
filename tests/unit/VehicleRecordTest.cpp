// Vehicles: what the constructor sets, what a copy carries, and the look-up of the current service.
#include <stdexcept>
#include <typeinfo>

#include "BuiltOverOnes.h"
#include "StoreTest.h"

namespace {

Vehicle fullVehicle() {
    Vehicle vehicle(4);
    vehicle.setName("Train 4");
    vehicle.setAbrv("T4");
    vehicle.setNumCars(6);
    vehicle.setCurrentLocation("km 12.4");
    vehicle.setDirection(Vehicle::DESCENDING);
    vehicle.setState(Vehicle::SWITCHING_SERVICE);
    vehicle.setStateText("switching");
    vehicle.setCurrentServiceId(8);
    vehicle.setOpeningDoors(Vehicle::SIDE_1);
    vehicle.setOpeningDoorsText("left");
    vehicle.setOpenedDoors(Vehicle::SIDE_2);
    vehicle.setOpenedDoorsText("right");
    vehicle.setServicesListAsString("3!8");
    return vehicle;
}

const char* const kFullVehicle =
    R"(vehicle 4 "Train 4" "T4" cars=6 location="km 12.4" direction=0 state=2 stateText="switching" service=8)"
    R"( opening=1 openingText="left" opened=2 openedText="right" services="3!8")";

/// A vehicle that runs one of the services that it carries.
Vehicle running(int currentServiceId, const std::vector<Service>& services) {
    Vehicle vehicle(4);
    vehicle.setCurrentServiceId(currentServiceId);
    servicesOf(vehicle) = services;
    return vehicle;
}

/// Text of the fault that getCurrentService throws by pointer; the fault is deleted.
std::string faultOf(const Vehicle& vehicle) {
    try {
        vehicle.getCurrentService();
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

TEST(VehicleRecord, FromAnIdHasItsDefaults) {
    EXPECT_EQ(builtOverOnes<Vehicle>(4),
              R"(vehicle 4 "Unknown Vehicle" "" cars=0 location="" direction=1 state=0 stateText="OUT_OF_SERVICE")"
              R"( service=0 opening=3 openingText="BOTH" opened=0 openedText="NONE" services="")");
    EXPECT_TRUE(Vehicle(4).getServices().empty());
}

TEST(VehicleRecord, WithoutAnArgumentIsAsFromIdZero) {
    EXPECT_EQ(builtOverOnes<Vehicle>(),
              R"(vehicle 0 "Unknown Vehicle" "" cars=0 location="" direction=1 state=0 stateText="OUT_OF_SERVICE")"
              R"( service=0 opening=3 openingText="BOTH" opened=0 openedText="NONE" services="")");
    EXPECT_TRUE(Vehicle().getServices().empty());
}

TEST(VehicleRecord, OpeningSideStartsAsBothAndOpenedSideAsNone) {
    EXPECT_EQ(Vehicle(4).getOpeningDoors(), Vehicle::BOTH);
    EXPECT_EQ(Vehicle(4).getOpenedDoors(), Vehicle::NONE);
}

TEST(VehicleRecord, EachSetterReachesItsMember) {
    EXPECT_EQ(describe(fullVehicle()), kFullVehicle);
}

TEST(VehicleRecord, StateAndItsTextAreIndependent) {
    Vehicle vehicle(4);
    vehicle.setState(Vehicle::IN_SERVICE);
    EXPECT_EQ(vehicle.getStateText(), "OUT_OF_SERVICE");
    vehicle.setStateText("SWITCHING_SERVICE");
    EXPECT_EQ(vehicle.getState(), Vehicle::IN_SERVICE);
}

TEST(VehicleRecord, DoorSidesAndTheirTextsAreIndependent) {
    Vehicle vehicle(4);
    vehicle.setOpeningDoors(Vehicle::SIDE_1);
    vehicle.setOpenedDoors(Vehicle::SIDE_2);
    EXPECT_EQ(vehicle.getOpeningDoorsText(), "BOTH");
    EXPECT_EQ(vehicle.getOpenedDoorsText(), "NONE");
    vehicle.setOpeningDoorsText("left");
    vehicle.setOpenedDoorsText("right");
    EXPECT_EQ(vehicle.getOpeningDoors(), Vehicle::SIDE_1);
    EXPECT_EQ(vehicle.getOpenedDoors(), Vehicle::SIDE_2);
}

TEST(VehicleRecord, KeepsCodesWithoutAnEnumerator) {
    Vehicle vehicle(4);
    vehicle.setDirection(static_cast<Vehicle::Direction>(2));
    vehicle.setState(static_cast<Vehicle::State>(42));
    vehicle.setOpeningDoors(static_cast<Vehicle::DoorSide>(4));
    vehicle.setOpenedDoors(static_cast<Vehicle::DoorSide>(-1));
    EXPECT_EQ(static_cast<int>(vehicle.getDirection()), 2);
    EXPECT_EQ(static_cast<int>(vehicle.getState()), 42);
    EXPECT_EQ(static_cast<int>(vehicle.getOpeningDoors()), 4);
    EXPECT_EQ(static_cast<int>(vehicle.getOpenedDoors()), -1);
}

TEST(VehicleRecord, CopyAndAssignmentCarryEverythingServicesIncluded) {
    Vehicle vehicle = fullVehicle();
    servicesOf(vehicle) = {Service(3), Service(8, 40, 21600)};
    const std::string services = describe(vehicle.getServices());
    const Vehicle copy(vehicle);
    Vehicle assigned(5);
    EXPECT_EQ(&(assigned = vehicle), &assigned);
    vehicle.setStateText("changed later");
    servicesOf(vehicle).clear();
    EXPECT_EQ(describe(copy), kFullVehicle);
    EXPECT_EQ(describe(copy.getServices()), services);
    EXPECT_EQ(describe(assigned), kFullVehicle);
    EXPECT_EQ(describe(assigned.getServices()), services);
}

TEST(VehicleRecord, HandsOutACopyOfItsServices) {
    const Vehicle vehicle = running(8, {Service(3), Service(8)});
    std::vector<Service> services = vehicle.getServices();
    ASSERT_EQ(services.size(), 2U);
    EXPECT_EQ(services[0].getId(), 3);
    EXPECT_EQ(services[1].getId(), 8);
    services.clear();
    EXPECT_EQ(vehicle.getServices().size(), 2U);
}

TEST(VehicleRecord, ServicesAreNotReadFromTheList) {
    Vehicle vehicle(4);
    vehicle.setServicesListAsString("3!8");
    EXPECT_TRUE(vehicle.getServices().empty());
}

TEST(CurrentService, IsTheServiceWithTheCurrentId) {
    const Vehicle vehicle = running(8, {Service(3, 30, 100), Service(8, 80, 200)});
    EXPECT_EQ(describe(vehicle.getCurrentService()), describe(Service(8, 80, 200)));
}

TEST(CurrentService, IsTheEarlierOfTwoWithTheSameId) {
    const Vehicle vehicle = running(8, {Service(3), Service(8, 80, 200), Service(8, 81, 300)});
    EXPECT_EQ(vehicle.getCurrentService().getTripId(), 80);
}

TEST(CurrentService, MayHaveANegativeId) {
    EXPECT_EQ(running(-8, {Service(8), Service(-8)}).getCurrentService().getId(), -8);
}

TEST(CurrentService, IsACopy) {
    const Vehicle vehicle = running(8, {Service(8, 80, 200)});
    Service service = vehicle.getCurrentService();
    service.setTripId(81);
    EXPECT_EQ(vehicle.getCurrentService().getTripId(), 80);
}

TEST(CurrentService, FailsByPointerWhenNoServiceHasTheCurrentId) {
    EXPECT_EQ(faultOf(running(5, {Service(3), Service(8)})), "No Service");
    EXPECT_EQ(faultOf(running(5, {})), "No Service");
}

TEST(CurrentService, FailsByPointerForIdZeroWhateverTheServicesHold) {
    EXPECT_EQ(faultOf(running(0, {})), "No Service");
    EXPECT_EQ(faultOf(running(0, {Service(3), Service(0)})), "No Service");
}

TEST(CurrentService, EveryFaultIsAnObjectOfItsOwn) {
    const Vehicle vehicle(4);
    std::out_of_range* faults[2] = {};
    for (std::out_of_range*& caught : faults) {
        try {
            vehicle.getCurrentService();
        } catch (std::out_of_range* fault) {
            caught = fault;
        }
    }
    EXPECT_NE(faults[0], nullptr);
    EXPECT_NE(faults[1], nullptr);
    EXPECT_NE(faults[0], faults[1]);
    delete faults[0];
    delete faults[1];
}

class CurrentServiceOfAStoredVehicle : public StoreTest {};

TEST_F(CurrentServiceOfAStoredVehicle, AlwaysFails) {
    update(8, 8, "40");
    update(3, 4, "Train 4", "T4", "6", "8");
    update(10, 4, "Y", "km 12.4", "1", "in service", "8");
    const Vehicle vehicle = store.getVehicles().at(0);
    EXPECT_EQ(vehicle.getCurrentServiceId(), 8);
    EXPECT_EQ(faultOf(vehicle), "No Service");
}

TEST_F(CurrentServiceOfAStoredVehicle, IsFoundOnceTheVehicleWasAssignedOneThatCarriesServices) {
    update(10, 4, "Y", "km 12.4", "1", "in service", "8");
    Vehicle vehicle = store.getVehicles().at(0);
    vehicle = running(8, {Service(8)});
    EXPECT_EQ(vehicle.getCurrentService().getId(), 8);
}

TEST_F(CurrentServiceOfAStoredVehicle, IsSearchedWithoutTheLockOrTheStore) {
    EXPECT_EQ(running(8, {Service(8)}).getCurrentService().getId(), 8);
    EXPECT_EQ(running(8, {Service(8)}).getServices().size(), 1U);
    EXPECT_EQ(faultOf(running(9, {Service(8)})), "No Service");
    EXPECT_EQ(host.transcript(), "");
}

}  // namespace
