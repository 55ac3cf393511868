// The store's tables by element type code, and what is done to them by hand.
#ifndef BENCHMARKS_STORETABLES_H
#define BENCHMARKS_STORETABLES_H

#include <cstdlib>

#include "KEBlist.h"
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

/// The yardstick of an unchanged record: what it takes at least, written out by hand for each type.
/// An update that changes nothing, as a loop written for the one type would: the record built
/// from its id, the store's lock, a bare loop over the ids of the store's table, each field's text
/// compared with the stored member, one event call where the type has one. A service and a service
/// stop add the gap in the lock and under it a bare loop over the trips or trip stops, which ends at
/// the match that counts, the last.
/// @return whether nothing differed. For every type with a table, but trips.
bool acceptUnchangedByHand(int type, int id, const KEBlist& list);

#endif
