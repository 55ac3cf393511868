// Whole days of records, as the store meets them.
#ifndef BENCHMARKS_DAY_H
#define BENCHMARKS_DAY_H

#include <string>
#include <vector>

#include "feed/FeedRecord.h"

/// A day's updates and deletions.
struct Day {
    std::string name;
    std::vector<FeedRecord> records;
};

/// The sample day's records, snapshots included.
std::vector<FeedRecord> harbourRecords();

/// A day without snapshots: at the end of each stand the deletions that it led to.
Day dayOf(std::string name, const std::vector<FeedRecord>& records);

/// Delivers the day to the store, making each record's field list as the host does.
void deliver(const Day& day);

/// How long the lock was held for each record, in nanoseconds, by kind.
struct LockHolds {
    std::vector<double> updates;
    std::vector<double> deletions;
};

/// Delivers the day from an empty store, with one observer and the lock timed.
LockHolds lockHoldsFromEmpty(const Day& day);

#endif
