// What a replay did, for people and as JSON.
#ifndef PIS_REPLAY_REPLAYSUMMARY_H
#define PIS_REPLAY_REPLAYSUMMARY_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "feed/FeedDelivery.h"

namespace pis::replay {

struct ReplaySummary {
    std::vector<std::string> files;
    std::uint64_t records = 0;       ///< Delivered, snapshot marks included.
    std::uint64_t skippedLines = 0;  ///< Lines that were no records.
    std::uint64_t snapshots = 0;
    double seconds = 0;
    std::map<int, feed::FeedDelivery::Count> counts;          ///< By element type code.
    std::map<int, std::uint64_t> told;                        ///< Updates told to observers, by element type code.
    std::vector<std::pair<std::string, std::size_t>> tables;  ///< Elements by table.
    std::map<int, std::uint64_t> events;                      ///< Event items by code.
    std::vector<std::pair<const char*, std::uint64_t>> observerCalls;
    bool serverOnline = false;
    bool automaticMessages = false;
    std::uint64_t hash = 0;  ///< hashTables() at the end.

    double recordsPerSecond() const { return seconds > 0 ? static_cast<double>(records) / seconds : 0; }
};

/// Several lines, each with its line end.
std::string forPeople(const ReplaySummary& summary);

/// One JSON object, without a line end.
std::string asJson(const ReplaySummary& summary);

}  // namespace pis::replay

#endif
