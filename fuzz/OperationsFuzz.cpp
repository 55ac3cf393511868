// In go operations, a line each: a code, a blank, a text. A simulated signalling side answers them one after
// the other; each is taken or refused with words, and the railway runs on whatever was asked of it.
#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "FuzzCheck.h"
#include "simulator/Simulation.h"

namespace {

/// The first trains of a sample's morning: a whole day's timetable takes too long to plan for every input.
pis::simulator::Network firstTrains() {
    pis::simulator::Network network = pis::simulator::readNetwork(PIS_SAMPLES "/harbour-line.json");
    for (pis::simulator::Network::Pattern& pattern : network.patterns) {
        if (pattern.headways.empty()) continue;
        pattern.headways.resize(1);
        pis::simulator::Network::Headway& headway = pattern.headways.front();
        headway.until = std::min(headway.until, headway.from + headway.every);
    }
    network.incidents.clear();
    return network;
}

int firstStartIn(const pis::simulator::Network& network) {
    int first = network.dayEnds();
    for (const pis::simulator::Network::Pattern& pattern : network.patterns) {
        for (const auto& headway : pattern.headways) first = std::min(first, headway.from);
    }
    return first;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int kStep = 60;
    constexpr int kMostOperations = 40;
    static const pis::simulator::Network network = firstTrains();
    static const int begin = firstStartIn(network) + kStep;  // some are under way, others to come
    pis::simulator::Simulation railway(network, 1);
    const auto pass = [](const pis::feed::FeedRecord&) {};
    railway.advanceTo(begin, pass);

    std::istringstream lines(textOf(data, size));
    int number = 0;
    for (std::string line; number < kMostOperations && std::getline(lines, line); ++number) {
        char* text = nullptr;
        const int operation = static_cast<int>(std::strtol(line.c_str(), &text, 10) % 1000);
        const pis::simulator::OperationReport report = railway.answer(operation, *text == ' ' ? text + 1 : text, pass);
        require(!report.text.empty(), "nothing is said of: " + line);
        railway.advanceTo(railway.now() + kStep, pass);
    }
    railway.reportWholeState(pass);
    return 0;
}
