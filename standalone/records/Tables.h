// The tables of the picture by name, as clients of the service know them.
#ifndef PIS_RECORDS_TABLES_H
#define PIS_RECORDS_TABLES_H

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace pis::records {

/// The eight tables, in the order in which they are handed out.
enum class Table : std::size_t { LINES, VEHICLES, STATIONS, PLATFORMS, TRIPS, TRIP_STOPS, SERVICES, SERVICE_STOPS };

constexpr std::size_t kTables = 8;

constexpr std::array<Table, kTables> kEveryTable{Table::LINES,     Table::VEHICLES,     Table::STATIONS,
                                                 Table::PLATFORMS, Table::TRIPS,        Table::TRIP_STOPS,
                                                 Table::SERVICES,  Table::SERVICE_STOPS};

constexpr std::size_t indexOf(Table table) {
    return static_cast<std::size_t>(table);
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
