// What a replay did, for people and as JSON.
#ifndef PIS_REPLAY_REPLAYSUMMARY_H
#define PIS_REPLAY_REPLAYSUMMARY_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "feed/Outcomes.h"
#include "replay/ReplayObserver.h"

namespace pis::replay {

struct ReplaySummary {
    std::vector<std::string> files;
    std::uint64_t records = 0;       ///< Taken in, snapshot marks included.
    std::uint64_t skippedLines = 0;  ///< Lines that were no records.
    std::uint64_t snapshots = 0;
    double seconds = 0;
    bool partial = false;               ///< The run was interrupted: the feeds were not taken to their end.
    feed::IntakeCounts counts;          ///< What became of the records.
    std::map<int, std::uint64_t> told;  ///< Updates told to observers, by element type code.
    std::vector<std::pair<std::string, std::size_t>> tables;  ///< Elements by table.
    std::map<int, std::uint64_t> events;                      ///< Event items by code.
    ReplayObserver::Calls observerCalls{};
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
