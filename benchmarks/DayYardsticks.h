// What a whole day is measured against: its bare loops alone, and what one would write instead of the
// store.
#ifndef BENCHMARKS_DAYYARDSTICKS_H
#define BENCHMARKS_DAYYARDSTICKS_H

#include "Day.h"
#include "Measure.h"

/// The day's bare loops and erases over vectors of the same records: for an update the loop over the ids
/// of its table to the match, or an append; for a service the loop over the trips from the last one to
/// the match, for a service stop that over the trip stops, for a trip one over all services; for a
/// deletion the loop over all ids with the erase of the match. Nothing is read from fields, compared,
/// copied or told.
/// @param withTripCopies also the bare copy of the services that a trip's update asks for.
Body bareDay(const Day& day, bool withTripCopies);

/// A map from id to fields for each type, behind a mutex.
Body mapDay(const Day& day);

#ifdef PIS_STANDALONE
/// A database in memory: a table with a primary key for each of the store's, prepared upserts and
/// deletions in transactions of 100.
Body sqliteDay(const Day& day);
#endif

#endif
