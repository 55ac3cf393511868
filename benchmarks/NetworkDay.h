// A network's day out of a small railway's: the railway several times side by side.
#ifndef BENCHMARKS_NETWORKDAY_H
#define BENCHMARKS_NETWORKDAY_H

#include <vector>

#include "feed/FeedRecord.h"

/// Every record once for each copy of the railway, in the order of the day. The ids of a copy's elements
/// are shifted past those of the copy before, and so is every field that refers to elements, by id or by
/// list; 0 for none stays 0. What concerns no table (server status, snapshot marks, deletion of all
/// elements) comes once.
std::vector<pis::feed::FeedRecord> multiplied(const std::vector<pis::feed::FeedRecord>& day, int copies);

#endif
