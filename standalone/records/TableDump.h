// Prints the store's tables as JSON, one record a line, and sums their contents up in a hash. Needs
// nothing but the unit, so that it can be built for every width.
#ifndef PIS_RECORDS_TABLEDUMP_H
#define PIS_RECORDS_TABLEDUMP_H

#include <cstdint>
#include <functional>
#include <string>

#include "SignallingController.h"

namespace pis::records {

// One record as a line of JSON, without the line end: {"table":"lines","id":7,...}. An enumerated
// member shows as its enumerator's name, a code without one as the number.
std::string dumpLine(const Line& line);
std::string dumpLine(const Vehicle& vehicle);
std::string dumpLine(const Station& station);
std::string dumpLine(const PlatformInfo& platform);
std::string dumpLine(const Trip& trip);
std::string dumpLine(const TripStop& stop);
std::string dumpLine(const ServiceStop& stop);  // without the names that no service stop has
std::string dumpLine(const Service& service);

// The enumerator's name, null for a code without one.
const char* enumeratorName(Vehicle::Direction direction);
const char* enumeratorName(Vehicle::State state);
const char* enumeratorName(Vehicle::DoorSide side);
const char* enumeratorName(PlatformInfo::State state);
const char* enumeratorName(Trip::Direction direction);
const char* enumeratorName(Trip::Priority priority);
const char* enumeratorName(Service::State state);

/// Hands out every table that the store has a getter for: lines, vehicles, stations, platforms, trips,
/// trip stops, services, each in table order. Takes the store's lock once per table.
void dumpTables(PassengerInformationServer& store, const std::function<void(const std::string&)>& take);

/// FNV-1a, 64 bits, over the lines of dumpTables(), each with its line end. The same contents give the
/// same hash on every machine.
std::uint64_t hashTables(PassengerInformationServer& store);

}  // namespace pis::records

#endif
