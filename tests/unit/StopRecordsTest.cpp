// Lines, trip stops and service stops: what their constructors set, what a copy carries and what
// the accessors reach.
#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

#include "BuiltOverOnes.h"
#include "Describe.h"

namespace {

ServiceStop fullServiceStop() {
    ServiceStop stop(5, 9, 11);
    stop.setName("Call");
    stop.setAbrv("C");
    stop.setTripId(40);
    stop.setPlatformId(12);
    stop.setIsStopping(true);
    stop.setSchArvOffset(600);
    stop.setSchDepOffset(630);
    stop.setServiceStartTime(21600);
    stop.setArvDelay(45);
    stop.setDepDelay(50);
    return stop;
}

const char* const kFullServiceStop = R"(serviceStop 5 "Call" "C" trip=40 platform=12 stopping=1 arv=600 dep=630)"
                                     R"( service=9 tripStop=11 start=21600 arvDelay=45 depDelay=50)";

TEST(LineRecord, HasItsIdAndEmptyNames) {
    EXPECT_EQ(describe(NamedId(7)), R"(line 7 "" "")");
    EXPECT_EQ(describe(Line(-7)), R"(line -7 "" "")");
}

TEST(LineRecord, WithoutAnArgumentHasIdZero) {
    EXPECT_EQ(builtOverOnes<Line>(), R"(line 0 "" "")");
}

TEST(LineRecord, IsANamedIdByAnotherName) {
    EXPECT_TRUE((std::is_same<Line, NamedId>::value));
}

TEST(LineRecord, KeepsItsNames) {
    Line line(7);
    line.setName("North");
    line.setAbrv("N");
    EXPECT_EQ(describe(line), R"(line 7 "North" "N")");
}

TEST(LineRecord, HandsOutCopiesOfItsNames) {
    Line line(7);
    line.setName("North");
    std::string name = line.getName();
    name += " and South";
    EXPECT_EQ(line.getName(), "North");
}

TEST(LineRecord, CopyAndAssignmentCarryEverything) {
    Line line(7);
    line.setName("North");
    line.setAbrv("N");
    const Line copy(line);
    Line assigned(8);
    EXPECT_EQ(&(assigned = line), &assigned);
    line.setName("changed later");
    EXPECT_EQ(describe(copy), R"(line 7 "North" "N")");
    EXPECT_EQ(describe(assigned), R"(line 7 "North" "N")");
}

TEST(TripStopRecord, FromAnIdIsEmpty) {
    EXPECT_EQ(builtOverOnes<TripStop>(3), R"(tripStop 3 "" "" trip=0 platform=0 stopping=0 arv=0 dep=0)");
}

TEST(TripStopRecord, WithoutAnArgumentIsAsFromIdZero) {
    EXPECT_EQ(builtOverOnes<TripStop>(), R"(tripStop 0 "" "" trip=0 platform=0 stopping=0 arv=0 dep=0)");
}

TEST(TripStopRecord, TakesPlatformStoppingAndOffsets) {
    EXPECT_EQ(builtOverOnes<TripStop>(3, 12, true, 600L, 630L),
              R"(tripStop 3 "" "" trip=0 platform=12 stopping=1 arv=600 dep=630)");
}

TEST(TripStopRecord, KeepsNegativeOffsetsAsUnsigned) {
    EXPECT_EQ(describe(TripStop(3, 12, false, -1L, -60L)),
              R"(tripStop 3 "" "" trip=0 platform=12 stopping=0 arv=4294967295 dep=4294967236)");
}

TEST(TripStopRecord, HasItsTripIdFromItsSetter) {
    TripStop stop(3);
    stop.setTripId(40);
    EXPECT_EQ(describe(stop), R"(tripStop 3 "" "" trip=40 platform=0 stopping=0 arv=0 dep=0)");
}

TEST(TripStopRecord, EachSetterReachesItsMember) {
    TripStop stop(3);
    stop.setName("Call");
    stop.setAbrv("C");
    stop.setTripId(40);
    stop.setPlatformId(-12);
    stop.setIsStopping(true);
    stop.setSchArvOffset(600);
    stop.setSchDepOffset(4294967295UL);
    EXPECT_EQ(describe(stop), R"(tripStop 3 "Call" "C" trip=40 platform=-12 stopping=1 arv=600 dep=4294967295)");
}

TEST(TripStopRecord, KeepsThirtyTwoBitsOfItsOffsets) {
    TripStop stop(3);
    stop.setSchArvOffset(static_cast<unsigned long>(0x100000258ULL));
    stop.setSchDepOffset(static_cast<unsigned long>(0x7000000000000276ULL));
    EXPECT_EQ(describe(stop), R"(tripStop 3 "" "" trip=0 platform=0 stopping=0 arv=600 dep=630)");
}

TEST(TripStopRecord, CopyAndAssignmentCarryEverything) {
    TripStop stop(3, 12, true, 600, 630);
    stop.setName("Call");
    stop.setAbrv("C");
    stop.setTripId(40);
    const TripStop copy(stop);
    TripStop assigned(4);
    EXPECT_EQ(&(assigned = stop), &assigned);
    stop.setTripId(41);
    const char* const expected = R"(tripStop 3 "Call" "C" trip=40 platform=12 stopping=1 arv=600 dep=630)";
    EXPECT_EQ(describe(copy), expected);
    EXPECT_EQ(describe(assigned), expected);
}

TEST(ServiceStopRecord, FromAnIdIsEmpty) {
    EXPECT_EQ(builtOverOnes<ServiceStop>(5), R"(serviceStop 5 "" "" trip=0 platform=0 stopping=0 arv=0 dep=0)"
                                             R"( service=0 tripStop=0 start=0 arvDelay=0 depDelay=0)");
}

TEST(ServiceStopRecord, WithoutAnArgumentIsAsFromIdZero) {
    EXPECT_EQ(builtOverOnes<ServiceStop>(), R"(serviceStop 0 "" "" trip=0 platform=0 stopping=0 arv=0 dep=0)"
                                            R"( service=0 tripStop=0 start=0 arvDelay=0 depDelay=0)");
}

TEST(ServiceStopRecord, TakesServiceAndTripStop) {
    EXPECT_EQ(builtOverOnes<ServiceStop>(5, 9, 11), R"(serviceStop 5 "" "" trip=0 platform=0 stopping=0 arv=0 dep=0)"
                                                    R"( service=9 tripStop=11 start=0 arvDelay=0 depDelay=0)");
}

TEST(ServiceStopRecord, EachSetterReachesItsMember) {
    ServiceStop stop = fullServiceStop();
    EXPECT_EQ(describe(stop), kFullServiceStop);
    stop.setServiceId(-9);
    stop.setTripStopId(-11);
    stop.setServiceStartTime(4294967295UL);
    stop.setArvDelay(4294967294UL);
    stop.setDepDelay(4294967293UL);
    EXPECT_EQ(describe(stop), R"(serviceStop 5 "Call" "C" trip=40 platform=12 stopping=1 arv=600 dep=630)"
                              R"( service=-9 tripStop=-11 start=4294967295 arvDelay=4294967294 depDelay=4294967293)");
}

TEST(ServiceStopRecord, KeepsThirtyTwoBitsOfItsTimes) {
    ServiceStop stop(5);
    stop.setServiceStartTime(static_cast<unsigned long>(0x100000001ULL));
    stop.setArvDelay(static_cast<unsigned long>(0x200000002ULL));
    stop.setDepDelay(static_cast<unsigned long>(0x300000003ULL));
    EXPECT_EQ(describe(stop), R"(serviceStop 5 "" "" trip=0 platform=0 stopping=0 arv=0 dep=0)"
                              R"( service=0 tripStop=0 start=1 arvDelay=2 depDelay=3)");
}

TEST(ServiceStopRecord, AssignmentCarriesAllThirteenValues) {
    const ServiceStop stop = fullServiceStop();
    ServiceStop assigned(6);
    EXPECT_EQ(&(assigned = stop), &assigned);
    EXPECT_EQ(describe(assigned), kFullServiceStop);
}

TEST(ServiceStopRecord, CopyCarriesAllThirteenValuesAndStandsAlone) {
    ServiceStop stop = fullServiceStop();
    const ServiceStop copy(stop);
    stop.setName("changed later");
    stop.setDepDelay(0);
    EXPECT_EQ(describe(copy), kFullServiceStop);
}

TEST(ServiceStopRecord, AssignmentToItselfChangesNothing) {
    ServiceStop stop = fullServiceStop();
    const ServiceStop& same = stop;
    stop = same;
    EXPECT_EQ(describe(stop), kFullServiceStop);
}

TEST(ServiceStopRecord, DeclaresTheTimesThatNothingCalls) {
    EXPECT_TRUE((std::is_same<decltype(std::declval<ServiceStop&>().getArvTime()), unsigned long>::value));
    EXPECT_TRUE((std::is_same<decltype(std::declval<ServiceStop&>().getDepTime()), unsigned long>::value));
    EXPECT_TRUE((std::is_same<decltype(std::declval<ServiceStop&>().setArvTime(1UL)), void>::value));
    EXPECT_TRUE((std::is_same<decltype(std::declval<ServiceStop&>().setDepTime(1UL)), void>::value));
    EXPECT_TRUE((std::is_same<decltype(std::declval<ServiceStop&>().setDelay(1UL)), void>::value));
}

}  // namespace
