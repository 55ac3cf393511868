// Prints the store's tables as JSON, one record a line, and sums their contents up in a hash. Needs
// nothing but the unit, so that it can be built for every width.
#ifndef PIS_RECORDS_TABLEDUMP_H
#define PIS_RECORDS_TABLEDUMP_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "SignallingController.h"

namespace pis::records {

/// How times, offsets and delays are written.
enum class Times {
    AS_STORED,  ///< Their 32 bits without a sign, as the store's getters say them: a dump and its hash.
    SIGNED      ///< What they mean: an early train's delay is below 0.
};

/// One record of a table as a line of JSON, without the line end: {"table":"lines","id":7,...}. An enumerated
/// member shows as its enumerator's name, a code without one as the number.
template <typename Record>
std::string dumpLine(const Record& record, Times times = Times::AS_STORED);

/// Takes one line after the other, without their ends.
using LineSink = std::function<void(const std::string& line)>;

/// Hands out every table: lines, vehicles, stations, platforms, trips, trip stops, services, service stops, each
/// in table order. Takes the store's lock once per table that it has a getter for.
/// @param serviceStops what the store holds of these, which it hands out to nobody: see feed::StopTables.
void dumpTables(PassengerInformationServer& store, const std::vector<ServiceStop>& serviceStops, const LineSink& sink);

/// FNV-1a, 64 bits, over the lines of dumpTables(), each with its line end. The same contents give the
/// same hash on every machine.
std::uint64_t hashTables(PassengerInformationServer& store, const std::vector<ServiceStop>& serviceStops);

}  // namespace pis::records

#endif
