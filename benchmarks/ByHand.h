// The yardstick of an unchanged record: what it takes at least, written out by hand for each type.
#ifndef BENCHMARKS_BYHAND_H
#define BENCHMARKS_BYHAND_H

#include "KEBlist.h"

/// Takes in an update that changes nothing, as a loop written for the one type would: the record built
/// from its id, the store's lock, a bare loop over the ids of the store's table, each field's text
/// compared with the stored member, one event call where the type has one. A service and a service
/// stop add the gap in the lock and under it a bare loop over the trips or trip stops, which ends at
/// the match that counts, the last.
/// @return whether nothing differed. For every type with a table, but trips.
bool takeUnchangedByHand(int type, int id, const KEBlist& list);

#endif
