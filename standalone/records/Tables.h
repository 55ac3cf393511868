// The eight tables of the store: one list of the types of their records, from which whoever goes through all
// tables goes. Everything that is said once for each table hangs on a type of that list.
#ifndef PIS_RECORDS_TABLES_H
#define PIS_RECORDS_TABLES_H

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

#include "SignallingCodes.h"
#include "SignallingController.h"

namespace pis::records {

/// The tables in the order in which they are handed out.
enum class Table : std::size_t { LINES, VEHICLES, STATIONS, PLATFORMS, TRIPS, TRIP_STOPS, SERVICES, SERVICE_STOPS };

/// A type as a value, for generic lambdas: `typename decltype(of)::Record`.
template <typename Type>
struct Of {
    using Record = Type;
};

/// What the records of one table have in common with those of no other: the getter that copies it, and the events by
/// which the store tells of them; null and 0 where there is none.
template <Table table, auto getter = nullptr, int updated = 0, int deleted = 0>
struct TableTraits {
    static constexpr Table kTable = table;
    static constexpr auto kGetter = getter;
    static constexpr int kUpdated = updated;
    static constexpr int kDeleted = deleted;
};

template <typename Record>
struct TraitsOf;
template <>
struct TraitsOf<Line> : TableTraits<Table::LINES, &PassengerInformationServer::getLines, SignallingCodes::LINE_UPDATED,
                                    SignallingCodes::LINE_DELETED> {};
template <>
struct TraitsOf<Vehicle> : TableTraits<Table::VEHICLES, &PassengerInformationServer::getVehicles,
                                       SignallingCodes::VEHICLE_UPDATED, SignallingCodes::VEHICLE_DELETED> {};
template <>
struct TraitsOf<Station> : TableTraits<Table::STATIONS, &PassengerInformationServer::getStations,
                                       SignallingCodes::STATION_UPDATED, SignallingCodes::STATION_DELETED> {};
template <>
struct TraitsOf<PlatformInfo> : TableTraits<Table::PLATFORMS, &PassengerInformationServer::getPlatforms,
                                            SignallingCodes::PLATFORM_UPDATED, SignallingCodes::PLATFORM_DELETED> {};
template <>
struct TraitsOf<Trip> : TableTraits<Table::TRIPS, &PassengerInformationServer::getTrips, SignallingCodes::TRIP_UPDATED,
                                    SignallingCodes::TRIP_DELETED> {};
template <>
struct TraitsOf<TripStop> : TableTraits<Table::TRIP_STOPS, &PassengerInformationServer::getTripStops> {};
template <>
struct TraitsOf<Service> : TableTraits<Table::SERVICES, &PassengerInformationServer::getServices,
                                       SignallingCodes::SERVICE_UPDATED, SignallingCodes::SERVICE_DELETED> {};
template <>
struct TraitsOf<ServiceStop> : TableTraits<Table::SERVICE_STOPS> {};

/// The types of the records, in the order of the tables.
template <template <typename...> class List>
using EveryRecord = List<Line, Vehicle, Station, PlatformInfo, Trip, TripStop, Service, ServiceStop>;

constexpr std::size_t kTables = std::tuple_size_v<EveryRecord<std::tuple>>;

/// One `Slot<Record>` for each table.
template <template <typename> class Slot>
struct PerTable {
    template <typename... Records>
    using Slots = std::tuple<Slot<Records>...>;
    using Tuple = EveryRecord<Slots>;
};

template <typename... Records>
using EachOf = std::tuple<Of<Records>...>;

/// Calls visit(Of<Record>()) for each table in their order.
template <typename Visit>
constexpr void forEachTable(Visit visit) {
    std::apply([&visit](auto... each) { (visit(each), ...); }, EveryRecord<EachOf>());
}

/// A copy of each table of the store, as visit(rows); takes its lock once per table that it has a getter for.
/// @param serviceStops what the store holds of these, which it hands out to nobody: see feed::StopTables.
template <typename Visit>
void forEachTableOf(PassengerInformationServer& store, const std::vector<ServiceStop>& serviceStops, Visit visit) {
    forEachTable([&](auto of) {
        constexpr auto getter = TraitsOf<typename decltype(of)::Record>::kGetter;
        if constexpr (std::is_null_pointer_v<std::decay_t<decltype(getter)>>) {
            visit(serviceStops);
        } else {
            visit((store.*getter)());
        }
    });
}

constexpr std::size_t indexOf(Table table) {
    return static_cast<std::size_t>(table);
}

/// Every table, in their order.
constexpr std::array<Table, kTables> kEveryTable = [] {
    std::array<Table, kTables> tables{};
    for (std::size_t i = 0; i < kTables; ++i) tables[i] = static_cast<Table>(i);
    return tables;
}();

/// Calls visit(Of<Record>()) for one table, and returns what it returns.
template <typename Visit>
auto withTable(Table table, Visit visit) {
    using Result = decltype(visit(Of<Line>()));
    constexpr std::size_t kNone = kTables;
    std::size_t wanted = table <= Table::SERVICE_STOPS ? indexOf(table) : kNone;
    std::optional<Result> result;
    forEachTable([&](auto of) {
        if (indexOf(TraitsOf<typename decltype(of)::Record>::kTable) == wanted) result.emplace(visit(of));
    });
    return *std::move(result);
}

/// "trip_stops", as in a dump.
constexpr std::string_view tableName(Table table) {
    constexpr std::array<std::string_view, kTables> names{"lines", "vehicles",   "stations", "platforms",
                                                          "trips", "trip_stops", "services", "service_stops"};
    return names[indexOf(table)];
}

/// The table with this name, if there is one.
constexpr std::optional<Table> tableNamed(std::string_view name) {
    for (const Table table : kEveryTable) {
        if (tableName(table) == name) return table;
    }
    return std::nullopt;
}

}  // namespace pis::records

#endif
