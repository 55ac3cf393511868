// What the unit's records consist of, written down once: whoever prints, compares or sends records visits their
// members here.
#ifndef PIS_RECORDS_MEMBERS_H
#define PIS_RECORDS_MEMBERS_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "SignallingController.h"

namespace pis::records {

/// A time, an offset or a delay in seconds. The store keeps its 32 bits without their sign: 4294967236 is -60.
inline std::int32_t secondsOf(unsigned long stored) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(stored));
}

/// One member: its key in dumps and answers, and the getter that reads it.
template <auto get>
struct Member {
    std::string_view key;
    bool joined = false;  ///< Taken over from the trip stop, not said by the record itself.

    template <typename Record>
    static auto of(const Record& record) {
        return std::invoke(get, record);
    }
};

/// The members of a type of record, in the order of a dump. No service stop has names.
template <typename Record>
constexpr auto kMembers = nullptr;

/// What every other record begins with.
constexpr auto kNames = std::make_tuple(Member<&NamedId::getId>{"id"}, Member<&NamedId::getName>{"name"},
                                        Member<&NamedId::getAbrv>{"abrv"});

template <>
inline constexpr auto kMembers<Line> = kNames;

template <>
inline constexpr auto kMembers<Vehicle> = std::tuple_cat(
    kNames,
    std::make_tuple(
        Member<&Vehicle::getNumCars>{"num_cars"}, Member<&Vehicle::getCurrentLocation>{"current_location"},
        Member<&Vehicle::getDirection>{"direction"}, Member<&Vehicle::getState>{"state"},
        Member<&Vehicle::getStateText>{"state_text"}, Member<&Vehicle::getCurrentServiceId>{"current_service_id"},
        Member<&Vehicle::getOpeningDoors>{"opening_doors"}, Member<&Vehicle::getOpeningDoorsText>{"opening_doors_text"},
        Member<&Vehicle::getOpenedDoors>{"opened_doors"}, Member<&Vehicle::getOpenedDoorsText>{"opened_doors_text"},
        Member<&Vehicle::getServicesListAsString>{"services"}));

template <>
inline constexpr auto kMembers<Station> =
    std::tuple_cat(kNames, std::make_tuple(Member<&Station::isMajor>{"is_major"},
                                           Member<&Station::getPlatformsListAsString>{"platforms"}));

template <>
inline constexpr auto kMembers<PlatformInfo> = std::tuple_cat(
    kNames,
    std::make_tuple(Member<&PlatformInfo::getStationId>{"station_id"}, Member<&PlatformInfo::getLocation>{"location"},
                    Member<&PlatformInfo::getState>{"state"}, Member<&PlatformInfo::getStateText>{"state_text"},
                    Member<&PlatformInfo::getPassersListAsString>{"passers"}));

template <>
inline constexpr auto kMembers<Trip> = std::tuple_cat(
    kNames, std::make_tuple(Member<&Trip::getLineId>{"line_id"}, Member<&Trip::getDirection>{"direction"},
                            Member<&Trip::getPriority>{"priority"}, Member<&Trip::getPriorityText>{"priority_text"},
                            Member<&Trip::getStopsListAsString>{"stops"}));

template <>
inline constexpr auto kMembers<TripStop> = std::tuple_cat(
    kNames,
    std::make_tuple(Member<&TripStop::getTripId>{"trip_id"}, Member<&TripStop::getPlatformId>{"platform_id"},
                    Member<&TripStop::isStopping>{"is_stopping"}, Member<&TripStop::getSchArvOffset>{"sch_arv_offset"},
                    Member<&TripStop::getSchDepOffset>{"sch_dep_offset"}));

template <>
inline constexpr auto kMembers<Service> = std::tuple_cat(
    kNames, std::make_tuple(Member<&Service::getTripId>{"trip_id"}, Member<&Service::getStartTime>{"start_time"},
                            Member<&Service::getVehicleId>{"vehicle_id"},
                            Member<&Service::getFollowingStopsListAsString>{"following_stops"},
                            Member<&Service::getState>{"state"}, Member<&Service::getStateText>{"state_text"},
                            Member<&Service::getIsLoading>{"is_loading"},
                            Member<&Service::getDestinationStationId>{"destination_station_id"},
                            Member<&Service::getIsLastTrain>{"is_last_train"}, Member<&Service::getLineId>{"line_id"},
                            Member<&Service::getDirection>{"direction"}, Member<&Service::getPriority>{"priority"},
                            Member<&Service::getPriorityText>{"priority_text"},
                            Member<&Service::getStopsListAsString>{"stops"}));

template <>
inline constexpr auto kMembers<ServiceStop> = std::make_tuple(
    Member<&ServiceStop::getId>{"id"}, Member<&ServiceStop::getServiceId>{"service_id"},
    Member<&ServiceStop::getTripStopId>{"trip_stop_id"},
    Member<&ServiceStop::getServiceStartTime>{"service_start_time"}, Member<&ServiceStop::getArvDelay>{"arv_delay"},
    Member<&ServiceStop::getDepDelay>{"dep_delay"}, Member<&ServiceStop::getTripId>{"trip_id", true},
    Member<&ServiceStop::getPlatformId>{"platform_id", true}, Member<&ServiceStop::isStopping>{"is_stopping", true},
    Member<&ServiceStop::getSchArvOffset>{"sch_arv_offset", true},
    Member<&ServiceStop::getSchDepOffset>{"sch_dep_offset", true});

/// Calls visit(key, value) for each member of a record in the order of a dump. A value is an int, a bool, a text, one
/// of the unit's enumerations or, for times, offsets and delays alone, an unsigned long: see secondsOf().
template <typename Record, typename Visit>
void describe(const Record& record, Visit visit) {
    std::apply([&](const auto&... member) { (visit(member.key, member.of(record)), ...); }, kMembers<Record>);
}

/// Which members a comparison looks at.
enum class Extent {
    EVERYTHING,  ///< All that a dump prints.
    ITS_OWN      ///< What the record says itself, without what it took over from its trip stop.
};

/// Whether two records would be printed alike: what a reader cannot see makes no change. Numbers are compared
/// before texts, since they cost nothing.
template <typename Record>
bool sameRecord(const Record& one, const Record& other, Extent extent = Extent::EVERYTHING) {
    const auto same = [&](const auto& member, bool texts) {
        if (std::is_same_v<decltype(member.of(one)), std::string> != texts) return true;
        return (member.joined && extent == Extent::ITS_OWN) || member.of(one) == member.of(other);
    };
    return std::apply(
        [&same](const auto&... member) { return (same(member, false) && ...) && (same(member, true) && ...); },
        kMembers<Record>);
}

}  // namespace pis::records

#endif
