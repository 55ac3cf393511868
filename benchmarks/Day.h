// Whole days of records: as the store meets them, and as what they are measured against does.
#ifndef BENCHMARKS_DAY_H
#define BENCHMARKS_DAY_H

#include <string>
#include <vector>

#include "Measure.h"
#include "feed/FeedRecord.h"

/// A day's updates and deletions.
struct Day {
    std::string name;
    std::vector<pis::feed::FeedRecord> records;
};

/// The sample day's records, snapshots included.
std::vector<pis::feed::FeedRecord> harbourRecords();

/// A network's day out of a small railway's, the railway several times side by side.
/// Every record once for each copy of the railway, in the order of the day. The ids of a copy's elements
/// are shifted past those of the copy before, and so is every field that refers to elements, by id or by
/// list; 0 for none stays 0. What concerns no table (server status, snapshot marks, deletion of all
/// elements) comes once.
std::vector<pis::feed::FeedRecord> multiplied(const std::vector<pis::feed::FeedRecord>& day, int copies);

/// A day without snapshots: at the end of each stand the deletions that it led to.
Day dayOf(std::string name, const std::vector<pis::feed::FeedRecord>& records);

/// The days in feed files, named after them.
/// @throws std::runtime_error "FILE:LINE: what" at the first line that is no record; where the build reads no feeds.
std::vector<Day> daysIn(const std::vector<std::string>& paths);

/// Delivers the day to the store, making each record's field list as the host does.
Body storeDay(const Day& day);

/// How long the lock was held for each record, in nanoseconds: the day from an empty store, with one observer.
std::vector<double> lockHoldsFromEmpty(const Day& day);

// --- What a day is measured against

/// The day's bare loops and erases over the store's own tables: for an update the loop over the ids of its table to
/// the match, or an append; for a service the loop over the trips from the last one to the match, for a service stop
/// that over the trip stops, for a trip one over all services; for a deletion the loop over all ids with the erase of
/// the match. Nothing is read from fields, compared, copied or told.
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
