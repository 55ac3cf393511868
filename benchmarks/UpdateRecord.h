// Updates as the feed has them.
#ifndef BENCHMARKS_UPDATERECORD_H
#define BENCHMARKS_UPDATERECORD_H

#include <string>
#include <vector>

#include "feed/FeedRecord.h"

/// An update of an element with all its fields.
inline pis::feed::FeedRecord update(int type, int id, const std::vector<std::string>& fields) {
    pis::feed::FeedRecord record;
    record.type = type;
    record.id = id;
    for (const std::string& field : fields) record.fields.append(field);
    return record;
}

#endif
