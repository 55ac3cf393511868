// What the tests of the simulator share: the sample railway, and runs of it.
#ifndef TESTS_SIMULATOR_SIMULATIONTESTSUPPORT_H
#define TESTS_SIMULATOR_SIMULATIONTESTSUPPORT_H

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "feed/FeedWriter.h"
#include "simulator/Network.h"
#include "simulator/Simulation.h"

namespace pis::simulator {

inline const Network& harbourNetwork() {
    static const Network network = readNetwork(PIS_SAMPLES "/harbour-line.json");
    return network;
}

/// A shuttle between two stations with one platform each way; what a test wants otherwise it changes.
inline std::string shuttleText() {
    return R"({
  "name": "Shuttle", "signal_box": "Box", "day_begins": "04:00", "announced": 60, "turnaround": 300,
  "lines": [{"name": "Shuttle Line", "abbreviation": "S"}],
  "stations": [
    {"name": "West", "abbreviation": "W", "major": true, "platforms": [
      {"name": "West 1", "abbreviation": "W1", "location": "S/W/1", "doors": "side 1"},
      {"name": "West 2", "abbreviation": "W2", "location": "S/W/2", "doors": "side 2"}]},
    {"name": "Mid", "abbreviation": "M", "platforms": [
      {"name": "Mid 1", "abbreviation": "M1", "location": "S/M/1", "doors": "both"}]},
    {"name": "East", "abbreviation": "E", "platforms": [
      {"name": "East 1", "abbreviation": "E1", "location": "S/E/1", "doors": "none"},
      {"name": "East 2", "abbreviation": "E2", "location": "S/E/2", "doors": "side 1"}]}],
  "patterns": [
    {"name": "Eastward", "line": "S", "direction": "ascending", "priority": "all stops",
     "calls": [{"platform": "W1"}, {"platform": "M1", "running": 120, "dwell": 30}, {"platform": "E1", "running": 180}],
     "headways": [{"from": "05:00", "until": "23:00", "every": 60}]},
    {"name": "Westward", "line": "S", "direction": "descending", "priority": "express", "priority_text": "Fast",
     "calls": [{"platform": "E2"}, {"platform": "M1", "running": 170, "stopping": false},
               {"platform": "W2", "running": 120}],
     "headways": [{"from": "05:30", "until": "23:30", "every": 60}]}],
  "vehicles": [{"name": "Auk", "abbreviation": "1", "cars": 2, "depot": "W"}]
})";
}

inline Network shuttle() {
    return parseNetwork(shuttleText(), "shuttle.json");
}

/// A text with one part replaced; the part must be there.
inline std::string replaced(std::string text, const std::string& part, const std::string& by) {
    const std::size_t position = text.find(part);
    if (position == std::string::npos) throw std::logic_error("the text has no " + part);
    return text.replace(position, part.size(), by);
}

/// Records as lines, in order.
class Lines {
public:
    Simulation::Emit taker() {
        return [this](const feed::FeedRecord& record) { _lines.push_back(toJsonLine(record)); };
    }
    const std::vector<std::string>& all() const { return _lines; }
    std::vector<std::string> taken() { return std::exchange(_lines, {}); }

private:
    std::vector<std::string> _lines;
};

inline void nobody(const feed::FeedRecord&) {}

}  // namespace pis::simulator

#endif
