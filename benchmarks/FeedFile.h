// Feed files as records.
#ifndef BENCHMARKS_FEEDFILE_H
#define BENCHMARKS_FEEDFILE_H

#include <stdexcept>
#include <string>
#include <vector>

#include "feed/FeedReader.h"

/// @throws std::runtime_error "FILE:LINE: what" at the first line that is no record.
inline std::vector<pis::feed::FeedRecord> recordsIn(const std::string& path) {
    using pis::feed::FeedReader;
    std::vector<pis::feed::FeedRecord> records;
    FeedReader reader(path);
    for (pis::feed::FeedRecord record;;) {
        switch (reader.next(record)) {
            case FeedReader::Next::RECORD: records.push_back(record); break;
            case FeedReader::Next::END: return records;
            default: throw std::runtime_error(reader.fault());
        }
    }
}

#endif
