// The store's tables by element type code, and what is done to them by hand.
#ifndef BENCHMARKS_STORETABLES_H
#define BENCHMARKS_STORETABLES_H

#include <cstdlib>

#include "SignallingCodes.h"
#include "StoreAccess.h"

/// Calls the visitor with the table of this type, which must be one with a table of its own.
template <typename Visitor>
decltype(auto) withTable(int type, Visitor&& visit) {
    PassengerInformationServer& store = gPassengerInformationServer;
    switch (type) {
        case SignallingCodes::LINE: return visit(linesOf(store));
        case SignallingCodes::VEHICLE: return visit(vehiclesOf(store));
        case SignallingCodes::STATION: return visit(stationsOf(store));
        case SignallingCodes::PLATFORM: return visit(platformsOf(store));
        case SignallingCodes::TRIP: return visit(tripsOf(store));
        case SignallingCodes::TRIP_STOP: return visit(tripStopsOf(store));
        case SignallingCodes::SERVICE: return visit(servicesOf(store));
        case SignallingCodes::SERVICE_STOP: return visit(serviceStopsOf(store));
        default: std::abort();
    }
}

/// Calls the visitor with each of the eight tables.
template <typename Visitor>
void withEveryTable(Visitor&& visit) {
    for (int type = SignallingCodes::LINE; type <= SignallingCodes::SERVICE_STOP; ++type) withTable(type, visit);
}

/// The bare loop over all ids with the bare erase.
template <typename Table>
void eraseBare(Table& table, int id) {
    for (auto record = table.begin(); record != table.end();) {
        if (record->getId() == id) {
            record = table.erase(record);
        } else {
            ++record;
        }
    }
}

#endif
