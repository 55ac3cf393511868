// The records of the sample feed as the simulator makes them: what the command
// `pis simulate samples/harbour-line.json --start 05:00 --until 11:00` writes.
#ifndef TESTS_SIMULATOR_HARBOURMORNING_H
#define TESTS_SIMULATOR_HARBOURMORNING_H

#include <vector>

#include "feed/FeedRecord.h"
#include "simulator/Network.h"
#include "simulator/Simulation.h"

namespace pis::simulator {

/// PIS_SAMPLES names the folder of the samples.
inline std::vector<feed::FeedRecord> harbourMorning() {
    constexpr int kBegin = 5 * 3600;
    constexpr int kEnd = 11 * 3600;
    constexpr std::uint32_t kSeed = 1;
    Simulation simulation(readNetwork(PIS_SAMPLES "/harbour-line.json"), kSeed);
    simulation.advanceTo(kBegin, [](const feed::FeedRecord&) {});

    std::vector<feed::FeedRecord> records;
    const auto note = [&records](const feed::FeedRecord& record) { records.push_back(record); };
    simulation.reportWholeState(note);
    simulation.advanceTo(kEnd, note);
    return records;
}

}  // namespace pis::simulator

#endif
