// In go operations, a line each: a code, a blank, a text. A simulated signalling side answers them one after
// the other; each is taken or refused with words, and the railway runs on whatever was asked of it.
#include <cstdlib>
#include <sstream>

#include "FuzzCheck.h"
#include "simulator/Simulation.h"

namespace {

/// Three stations and three trains: a day of a larger railway takes too long to plan for every input.
const pis::simulator::Network& smallRailway() {
    static const pis::simulator::Network network = pis::simulator::readNetwork(PIS_SMALL_RAILWAY);
    return network;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int kStep = 60;
    constexpr int kMostOperations = 40;
    constexpr int kFirstTrain = 180;  // is under way by then, and others are to come
    pis::simulator::Simulation railway(smallRailway(), 1);
    const auto pass = [](const pis::feed::FeedRecord&) {};
    railway.advanceTo(railway.now() + kFirstTrain, pass);

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
